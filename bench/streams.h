#pragma once

// The compression libraries called directly, with the settings of the library's frames.

#include <libDataIO/dataiocommon.h>

#include <cstddef>
#include <vector>

namespace bench {

/// Fills `out` with what the stream is worth.
void decodeBare(mz::CompressionType::e type, const char* stream, size_t size, void* out,
                size_t outSize);

/// The same of a zlib or gzip stream with libdeflate, the fastest that there is for them.
void decodeLibdeflate(mz::CompressionType::e type, const char* stream, size_t size, void* out,
                      size_t outSize);

/// Puts the stream of `data` at the start of `stream`, which grows as needed. @return its length
size_t encodeBare(mz::CompressionType::e type, const void* data, size_t size,
                  std::vector<char>& stream);

}  // namespace bench
