#pragma once

// Compressed streams read piece by piece through the filters of Boost.Iostreams. The filters are
// asked directly: a chain of them that runs out of memory while it is built takes the process with
// it.

#include <libDataIO/dataiocommon.h>

#include <cstddef>
#include <ios>
#include <memory>

namespace mz {

class StreamReader {
public:
    StreamReader() = default;
    StreamReader(const StreamReader&) = delete;
    StreamReader& operator=(const StreamReader&) = delete;
    virtual ~StreamReader() = default;

    /// Reads the next bytes that the stream holds.
    /// @return how many, at most `size`; -1 behind the last
    /// @throws the exception of the compression library for a damaged stream, std::bad_alloc
    virtual std::streamsize read(char* out, std::streamsize size) = 0;
};

/// Begins to read a payload of that compression, which must outlive the reader.
/// @throws std::logic_error when `type` is no compression, std::bad_alloc
std::unique_ptr<StreamReader> streamReader(CompressionType::e type, const void* payload,
                                           std::size_t size);

}  // namespace mz
