#include <libDataIO/payloads/framecodec.h>
#include <libDataIO/payloads/streamreader.h>

#include <boost/iostreams/categories.hpp>
#include <boost/iostreams/filter/bzip2.hpp>
#include <boost/iostreams/filter/gzip.hpp>
#include <boost/iostreams/filter/zlib.hpp>

#include <algorithm>
#include <ios>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

namespace io = boost::iostreams;

namespace mz {

namespace {

constexpr std::streamsize filterBuffer = 4096;

/// What a filter is given or asked for at once; small pieces cost a third of the speed of zlib and
/// gzip frames.
constexpr size_t pieceSize = 65536;

io::zlib_params zlibParams(int level) {
    return {level, io::zlib::deflated, 15, 8, io::zlib::default_strategy, false, false};
}

io::gzip_params gzipParams(int level) {
    return {level, io::gzip::deflated, 15, 8, io::gzip::default_strategy, "", "", 0};
}

/// Takes a stream into a buffer of fixed size and tells how long it is, even when it is longer than
/// the buffer.
class BoundedSink {
public:
    using char_type = char;
    using category = io::sink_tag;

    explicit BoundedSink(std::vector<char>& buffer) : _buffer(buffer) {}

    std::streamsize write(const char* bytes, std::streamsize count) {
        const size_t at = std::min(_length, _buffer.size());
        std::copy_n(bytes, std::min(static_cast<size_t>(count), _buffer.size() - at),
                    _buffer.data() + at);
        _length += static_cast<size_t>(count);
        return count;
    }

    size_t length() const { return _length; }

private:
    std::vector<char>& _buffer;
    size_t _length = 0;
};

/// Asks the filter itself: a chain that runs out of memory while it is built takes the process with
/// it.
template <class Filter>
void encodeWith(Filter filter, const char* bytes, size_t size, BoundedSink& sink) {
    for (size_t at = 0; at < size; at += pieceSize) {
        // All of it is taken, since the sink takes everything.
        filter.write(sink, bytes + at,
                     static_cast<std::streamsize>(std::min(pieceSize, size - at)));
    }
    filter.close(sink, std::ios_base::out);
}

/// The level is zlib's.
void encodeInto(BoundedSink& sink, CompressionType::e type, int level, const char* bytes,
                size_t size) {
    switch (type) {
        case CompressionType::None:
            break;
        case CompressionType::ZLib:
            return encodeWith(io::zlib_compressor(zlibParams(level), filterBuffer), bytes, size,
                              sink);
        case CompressionType::GZip:
            return encodeWith(io::gzip_compressor(gzipParams(level), filterBuffer), bytes, size,
                              sink);
        case CompressionType::BZip2:
            return encodeWith(io::bzip2_compressor(io::bzip2_params(9, 30), filterBuffer), bytes,
                              size, sink);
    }
    // Without a filter the frame would be recorded as it is and called compressed.
    throw std::logic_error("no compression");
}

/// @return the length of the stream
size_t encodeThroughFilter(CompressionType::e type, int level, const void* data, size_t size,
                           std::vector<char>& buffer) {
    BoundedSink sink(buffer);
    encodeInto(sink, type, level, static_cast<const char*>(data), size);
    if (sink.length() > buffer.size()) throw std::ios_base::failure("write area exhausted");
    return sink.length();
}

/// Gives what a stream holds to `take`, piece by piece, until that returns false.
template <class Take>
void decodeThroughFilter(CompressionType::e type, const void* payload, size_t size, Take take) {
    const auto reader = streamReader(type, payload, size);
    const std::unique_ptr<char[]> piece(new char[pieceSize]);
    for (;;) {
        const std::streamsize count = reader->read(piece.get(), pieceSize);
        if (count <= 0 || !take(piece.get(), static_cast<size_t>(count))) return;
    }
}

/// How far a stream that is longer than `limit` is read on: damage up to there is what it fails
/// for.
constexpr uint64_t endOfLook(uint64_t limit) {
    constexpr uint64_t page = 4096;
    return (limit / page + 1) * page;
}

void decodeThroughFilter(CompressionType::e type, const void* payload, size_t size,
                         SampleBuffer& samples) {
    const size_t room = samples.size() * sizeof(uint16_t);
    size_t length = 0;
    decodeThroughFilter(type, payload, size, [&](const char* bytes, size_t count) {
        const size_t fitting = std::min(count, room - std::min(length, room));
        if (fitting > 0) {
            auto* out = samples.writable((length + fitting + 1) / sizeof(uint16_t));
            std::copy_n(bytes, fitting, reinterpret_cast<char*>(out) + length);
        }
        length += count;
        return length < endOfLook(room);
    });
    if (length > room) throw std::ios_base::failure("write area exhausted");
}

}  // namespace

void FrameEncoder::_reserveFor(size_t size) {
    const auto needed = static_cast<size_t>(static_cast<double>(size) * 1.5);
    if (_buffer.size() < needed) _buffer.resize(needed);
}

size_t FrameEncoder::encode(CompressionType::e type, CompressionEffort::e effort, const void* data,
                            size_t size) {
    _reserveFor(size);
    if (effort == CompressionEffort::Fast) {
        const size_t length = _encodeFast(compressionOf(type), data, size);
        if (length > 0) return length;
    }
    return encodeThroughFilter(type, io::zlib::default_compression, data, size, _buffer);
}

size_t FrameEncoder::_encodeFast(const CompressionTraits& compression, const void* data,
                                 size_t size) {
    if (!compression.deflate) return 0;
    if (isFastDeflateBuiltIn) {
        return _fast.encode(*compression.deflate, data, size, _buffer.data(), _buffer.size());
    }
    try {
        return encodeThroughFilter(compression.type, io::zlib::best_speed, data, size, _buffer);
    } catch (const std::ios_base::failure&) {
        return 0;  // did not fit
    }
}

uint64_t plausibleDecodedSize(CompressionType::e type, uint64_t size) {
    return size * compressionOf(type).plausibleRatio;
}

std::optional<uint64_t> decodedSize(CompressionType::e type, const void* payload, size_t size,
                                    uint64_t limit) {
    uint64_t length = 0;
    try {
        decodeThroughFilter(type, payload, size, [&](const char* /*bytes*/, size_t count) {
            length += count;
            return length <= limit;
        });
    } catch (const std::ios_base::failure&) {
        return std::nullopt;
    }
    if (length > limit) return std::nullopt;
    return length;
}

void FrameDecoder::decode(CompressionType::e type, const void* payload, size_t size,
                          SampleBuffer& samples) {
    const std::optional<DeflateFormat> deflate = compressionOf(type).deflate;
    if (isFastDeflateBuiltIn && deflate && _decodeFast(*deflate, payload, size, samples)) return;
    decodeThroughFilter(type, payload, size, samples);
}

/// The fast way scribbles over its output even when it gives up, and a short stream must leave the
/// earlier samples standing.
bool FrameDecoder::_decodeFast(DeflateFormat format, const void* payload, size_t size,
                               SampleBuffer& samples) {
    return samples.written() == 0 ? _decodeIntoFresh(format, payload, size, samples)
                                  : _decodeIntoSpare(format, payload, size, samples);
}

/// Where nothing stands but zeros, those can be had again.
bool FrameDecoder::_decodeIntoFresh(DeflateFormat format, const void* payload, size_t size,
                                    SampleBuffer& samples) {
    const size_t count = samples.size();
    if (_fast.decode(format, payload, size, samples.writable(count), count * sizeof(uint16_t)))
        return true;
    samples.renew();
    return false;
}

bool FrameDecoder::_decodeIntoSpare(DeflateFormat format, const void* payload, size_t size,
                                    SampleBuffer& samples) {
    const size_t count = samples.size();
    if (_spare.size() != count) {
        forget();
        try {
            _spare = SampleBuffer(count);
        } catch (const std::bad_alloc&) {
            return false;  // the filter decodes into the samples themselves
        }
    }
    if (!_fast.decode(format, payload, size, _spare.writable(count), count * sizeof(uint16_t)))
        return false;
    std::swap(_spare, samples);
    return true;
}

}  // namespace mz
