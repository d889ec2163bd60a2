#include <libDataIO/payloads/framecodec.h>

#include <boost/iostreams/copy.hpp>
#include <boost/iostreams/device/array.hpp>
#include <boost/iostreams/filter/bzip2.hpp>
#include <boost/iostreams/filter/gzip.hpp>
#include <boost/iostreams/filter/zlib.hpp>
#include <boost/iostreams/filtering_streambuf.hpp>
#include <boost/range/iterator_range.hpp>

#include <algorithm>
#include <ios>
#include <new>
#include <stdexcept>

namespace io = boost::iostreams;

namespace mz {

namespace {

constexpr std::streamsize filterBuffer = 4096;
constexpr std::streamsize copyBuffer = 4096;

/// The buffer between a filter and its neighbour. Left alone, it is 128 bytes and costs a third of
/// the decoding speed of zlib and gzip frames.
constexpr std::streamsize chainBuffer = 65536;

io::zlib_params zlibParams(int level) {
    return {level, io::zlib::deflated, 15, 8, io::zlib::default_strategy, false, false};
}

io::gzip_params gzipParams(int level) {
    return {level, io::gzip::deflated, 15, 8, io::gzip::default_strategy, "", "", 0};
}

/// The two directions of a compression. The level is zlib's.
struct Filters {
    void (*pushCompressor)(io::filtering_ostreambuf& chain, int level);
    void (*pushDecompressor)(io::filtering_istreambuf& chain);
};

Filters filtersOf(CompressionType::e type) {
    switch (type) {
        case CompressionType::None:
            break;
        case CompressionType::ZLib:
            return {[](io::filtering_ostreambuf& chain, int level) {
                        chain.push(io::zlib_compressor(zlibParams(level), filterBuffer),
                                   chainBuffer);
                    },
                    [](io::filtering_istreambuf& chain) {
                        chain.push(io::zlib_decompressor(15, filterBuffer), chainBuffer);
                    }};
        case CompressionType::GZip:
            return {[](io::filtering_ostreambuf& chain, int level) {
                        chain.push(io::gzip_compressor(gzipParams(level), filterBuffer),
                                   chainBuffer);
                    },
                    [](io::filtering_istreambuf& chain) {
                        chain.push(io::gzip_decompressor(15, filterBuffer), chainBuffer);
                    }};
        case CompressionType::BZip2:
            return {[](io::filtering_ostreambuf& chain, int /*level*/) {
                        chain.push(io::bzip2_compressor(io::bzip2_params(9, 30), filterBuffer),
                                   chainBuffer);
                    },
                    [](io::filtering_istreambuf& chain) {
                        chain.push(io::bzip2_decompressor(false, filterBuffer), chainBuffer);
                    }};
    }
    // A chain without a filter would record the frame as it is and call it compressed.
    throw std::logic_error("no compression");
}

/// Takes a stream into a buffer of fixed size and tells how long it is, even when it is longer than
/// the buffer. It never throws: what a chain holds back reaches it when the chain is closed, and
/// exceptions are dropped then.
class BoundedSink {
public:
    using char_type = char;
    using category = io::sink_tag;

    BoundedSink(std::vector<char>& buffer, size_t& length) : _buffer(&buffer), _length(&length) {}

    std::streamsize write(const char* bytes, std::streamsize count) {
        const size_t at = std::min(*_length, _buffer->size());
        std::copy_n(bytes, std::min(static_cast<size_t>(count), _buffer->size() - at),
                    _buffer->data() + at);
        *_length += static_cast<size_t>(count);
        return count;
    }

private:
    std::vector<char>* _buffer;
    size_t* _length;
};

/// @return the length of the stream
size_t encodeThroughChain(CompressionType::e type, int level, const void* data, size_t size,
                          std::vector<char>& buffer) {
    size_t length = 0;
    io::filtering_ostreambuf chain;
    filtersOf(type).pushCompressor(chain, level);
    chain.push(BoundedSink(buffer, length), chainBuffer);
    io::copy(io::array_source(static_cast<const char*>(data), size), chain, copyBuffer);
    if (length > buffer.size()) throw std::ios_base::failure("write area exhausted");
    return length;
}

template <class Sink>
void decodeThroughChain(CompressionType::e type, const void* payload, size_t size,
                        const Sink& sink) {
    io::filtering_istreambuf chain;
    filtersOf(type).pushDecompressor(chain);
    chain.push(io::array_source(static_cast<const char*>(payload), size));
    io::copy(chain, sink, copyBuffer);
}

void decodeThroughChain(CompressionType::e type, const void* payload, size_t size,
                        std::vector<uint16_t>& samples) {
    // Into a range, not an array_sink: a copy into the latter stops without a word when it is full
    // and may never come to the checksum at the end of the stream.
    auto* bytes = reinterpret_cast<char*>(samples.data());
    decodeThroughChain(
        type, payload, size,
        boost::iterator_range<char*>(bytes, bytes + samples.size() * sizeof(uint16_t)));
}

/// Only counts, up to a limit.
class CountingSink {
public:
    using char_type = char;
    using category = io::sink_tag;

    CountingSink(uint64_t& count, uint64_t limit) : _count(&count), _limit(limit) {}

    std::streamsize write(const char* /*bytes*/, std::streamsize count) {
        *_count += static_cast<uint64_t>(count);
        if (*_count > _limit) throw std::ios_base::failure("write area exhausted");
        return count;
    }

private:
    uint64_t* _count;
    uint64_t _limit;
};

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
    return encodeThroughChain(type, io::zlib::default_compression, data, size, _buffer);
}

size_t FrameEncoder::_encodeFast(const CompressionTraits& compression, const void* data,
                                 size_t size) {
    if (!compression.deflate) return 0;
    if (isFastDeflateBuiltIn) {
        return _fast.encode(*compression.deflate, data, size, _buffer.data(), _buffer.size());
    }
    try {
        return encodeThroughChain(compression.type, io::zlib::best_speed, data, size, _buffer);
    } catch (const std::ios_base::failure&) {
        return 0;  // did not fit
    }
}

uint64_t plausibleDecodedSize(CompressionType::e type, uint64_t size) {
    return size * compressionOf(type).plausibleRatio;
}

std::optional<uint64_t> decodedSize(CompressionType::e type, const void* payload, size_t size,
                                    uint64_t limit) {
    uint64_t count = 0;
    try {
        decodeThroughChain(type, payload, size, CountingSink(count, limit));
    } catch (const std::exception&) {
        return std::nullopt;
    }
    return count;
}

void FrameDecoder::decode(CompressionType::e type, const void* payload, size_t size,
                          std::vector<uint16_t>& samples) {
    const std::optional<DeflateFormat> deflate = compressionOf(type).deflate;
    if (deflate && _decodeFast(*deflate, payload, size, samples)) return;
    decodeThroughChain(type, payload, size, samples);
}

bool FrameDecoder::_decodeFast(DeflateFormat format, const void* payload, size_t size,
                               std::vector<uint16_t>& samples) {
    if (!isFastDeflateBuiltIn) return false;
    // The fast way scribbles over its output even when it gives up, and a short stream must leave
    // the earlier samples standing: so it gets a buffer of its own.
    try {
        _spare.resize(samples.size());
    } catch (const std::bad_alloc&) {
        return false;  // the chain decodes into the samples themselves
    }
    if (!_fast.decode(format, payload, size, _spare.data(), _spare.size() * sizeof(uint16_t))) {
        return false;
    }
    _spare.swap(samples);
    return true;
}

}  // namespace mz
