#pragma once

// The compressed forms of a frame payload, encoding and decoding side by side: one zlib, gzip or
// bzip2 stream a frame.

#include <libDataIO/dataiocommon.h>
#include <libDataIO/payloads/fastdeflate.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

class QString;

namespace mz {

/// "none", "z", "gz" or "bz2", as the attribute "compression_type" says it; "none" for values
/// outside the enumeration.
QString compressionName(CompressionType::e type);

/// The type of such a text, None for every other one. Case matters.
CompressionType::e compressionOfName(QString const& name);

/// Turns frames into streams. Keeps its buffer and working memory from frame to frame.
class FrameEncoder {
public:
    /// One stream of `size` bytes of `data`, `type` not None.
    /// @return its length; it stands in stream() until the next call
    /// @throws std::ios_base::failure "write area exhausted" when the stream is longer than the
    ///        buffer, which holds one and a half times the largest frame so far; and what the
    ///        compression library throws
    size_t encode(CompressionType::e type, CompressionEffort::e effort, void const* data,
                  size_t size);

    char const* stream() const { return _buffer.data(); }

private:
    void _reserveFor(size_t size);
    size_t _encodeFast(CompressionType::e type, void const* data, size_t size);

    std::vector<char> _buffer;  // only ever grows
    FastDeflater _fast;
};

/// The most bytes that a stream of `size` bytes is believed to be worth. zlib and gzip reach a
/// ratio of 1,032. bzip2 passes 50,000 only on frames of a single value throughout, which no
/// acquisition gives; such a stream is taken for an attack on the memory of the reader.
uint64_t plausibleDecodedSize(CompressionType::e type, uint64_t size);

/// How many bytes a stream of `type`, not None, is worth; empty when it is damaged or worth more
/// than `limit`.
std::optional<uint64_t> decodedSize(CompressionType::e type, void const* payload, size_t size,
                                      uint64_t limit);

/// Turns streams into 16-bit samples. Keeps its working memory from frame to frame.
class FrameDecoder {
public:
    /// Decodes a stream of `type`, not None, into `samples`, whose size stays. A stream that is too
    /// short leaves the rest of them as they were. The samples may change their place: a stream
    /// that was decoded the fast way stands in a spare buffer, which is swapped with them.
    /// @throws the exception of the compression library for a damaged stream, and
    ///        std::ios_base::failure for one that is longer than the samples
    void decode(CompressionType::e type, void const* payload, size_t size,
                std::vector<uint16_t>& samples);

private:
    bool _decodeFast(CompressionType::e type, void const* payload, size_t size,
                     std::vector<uint16_t>& samples);

    std::vector<uint16_t> _spare;
    FastInflater _fast;
};

}  // namespace mz
