#pragma once

// The compressed forms of a frame payload, encoding and decoding side by side: one stream a frame.

#include <libDataIO/dataiocommon.h>
#include <libDataIO/payloads/compressions.h>
#include <libDataIO/payloads/fastdeflate.h>
#include <libDataIO/payloads/samplebuffer.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace mz {

/// Turns frames into streams. Keeps its buffer and working memory from frame to frame.
class FrameEncoder {
public:
    /// One stream of `size` bytes of `data`.
    /// @return its length; it stands in stream() until the next call
    /// @throws std::ios_base::failure "write area exhausted" when the stream is longer than the
    ///        buffer, which holds one and a half times the largest frame so far; what the
    ///        compression library throws; std::logic_error when `type` is no compression;
    ///        std::bad_alloc
    size_t encode(CompressionType::e type, CompressionEffort::e effort, const void* data,
                  size_t size);

    const char* stream() const { return _buffer.data(); }

private:
    void _reserveFor(size_t size);
    size_t _encodeFast(const CompressionTraits& compression, const void* data, size_t size);

    std::vector<char> _buffer;  // only ever grows
    FastDeflater _fast;
};

/// The most bytes that a stream of `size` bytes may claim to decode to.
uint64_t plausibleDecodedSize(CompressionType::e type, uint64_t size);

/// How many bytes a stream of `type`, not None, decodes to; empty when it is damaged or when they
/// are more than `limit`.
/// @throws std::bad_alloc, which says nothing about the stream
std::optional<uint64_t> decodedSize(CompressionType::e type, const void* payload, size_t size,
                                    uint64_t limit);

/// Turns streams into 16-bit samples. Keeps its working memory from frame to frame.
class FrameDecoder {
public:
    /// Decodes a stream into `samples`, whose size stays. A stream that is too short leaves the
    /// rest of them as they were. The samples may change their place: a stream that was decoded the
    /// fast way may stand in a spare buffer, which is swapped with them.
    /// @throws the exception of the compression library for a damaged stream,
    ///        std::ios_base::failure for one that is longer than the samples, std::logic_error when
    ///        `type` is no compression, std::bad_alloc; the samples may be empty after the last
    void decode(CompressionType::e type, const void* payload, size_t size, SampleBuffer& samples);

    /// Gives the spare buffer back.
    void forget() { _spare = SampleBuffer(); }

private:
    bool _decodeFast(DeflateFormat format, const void* payload, size_t size, SampleBuffer& samples);
    bool _decodeIntoFresh(DeflateFormat format, const void* payload, size_t size,
                          SampleBuffer& samples);
    bool _decodeIntoSpare(DeflateFormat format, const void* payload, size_t size,
                          SampleBuffer& samples);

    SampleBuffer _spare;
    FastInflater _fast;
};

}  // namespace mz
