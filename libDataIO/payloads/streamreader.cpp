#include <libDataIO/payloads/streamreader.h>

#include <boost/iostreams/categories.hpp>
#include <boost/iostreams/filter/bzip2.hpp>
#include <boost/iostreams/filter/gzip.hpp>
#include <boost/iostreams/filter/zlib.hpp>

#include <algorithm>
#include <cstdint>
#include <stdexcept>

namespace io = boost::iostreams;

namespace mz {

namespace {

constexpr int windowBits = 15;
constexpr std::streamsize filterBuffer = 4096;

/// The bytes of a payload, as filters want to be given them.
class PayloadSource {
public:
    using char_type = char;
    using category = io::source_tag;

    PayloadSource(const void* payload, size_t size)
        : _at(static_cast<const char*>(payload)), _end(_at + size) {}

    std::streamsize read(char* out, std::streamsize size) {
        const std::streamsize count = std::min<std::streamsize>(size, _end - _at);
        if (count == 0) return -1;
        std::copy_n(_at, count, out);
        _at += count;
        return count;
    }

    bool isAtEnd() const { return _at == _end; }
    /// @return false at the end
    bool next(uint8_t& byte) {
        if (isAtEnd()) return false;
        byte = static_cast<uint8_t>(*_at++);
        return true;
    }
    /// Takes back bytes that a filter has read too far.
    void putBack(size_t count) { _at -= count; }

private:
    const char* _at;
    const char* _end;
};

template <class Filter>
class FilterReader : public StreamReader {
public:
    template <class Parameter>
    FilterReader(const Parameter& parameter, PayloadSource source)
        : _filter(parameter, filterBuffer), _source(source) {}

    std::streamsize read(char* out, std::streamsize size) override {
        return _filter.read(_source, out, size);
    }

private:
    Filter _filter;
    PayloadSource _source;
};

/// What stands around the deflated bytes of gzip, read here and not by the filter for gzip: that
/// one takes an empty extra field for one without end. Everything else is as there: neither the
/// checksum of the header nor the size behind the data is looked at, and members follow each other
/// until the payload ends.
class GzipReader : public StreamReader {
public:
    explicit GzipReader(PayloadSource source)
        : _inflater(bareDeflate(), filterBuffer), _source(source) {}

    std::streamsize read(char* out, std::streamsize size) override {
        while (!_isAtEnd) {
            if (!_isInBody) _skipHeader();
            _isInBody = true;
            const std::streamsize count = _readBody(out, size);
            if (count != -1) return count;
            _endMember();
        }
        return -1;
    }

private:
    static io::zlib_params bareDeflate() {
        io::zlib_params params;
        params.window_bits = windowBits;
        params.noheader = true;
        params.calculate_crc = true;
        return params;
    }

    std::streamsize _readBody(char* out, std::streamsize size) {
        try {
            return _inflater.read(_source, out, size);
        } catch (const io::zlib_error& failure) {
            throw io::gzip_error(failure);
        }
    }

    void _endMember() {
        _source.putBack(_inflater.unconsumed_input().size());
        if (_number(4, io::gzip::bad_footer) != _inflater.crc())
            throw io::gzip_error(io::gzip::bad_crc);
        _number(4, io::gzip::bad_footer);
        _inflater.close(_source, std::ios_base::in);
        _isInBody = false;
        _isAtEnd = _source.isAtEnd();
    }

    void _skipHeader() {
        if (_headerNumber(1) != io::gzip::magic::id1 || _headerNumber(1) != io::gzip::magic::id2)
            throw io::gzip_error(io::gzip::bad_header);
        if (_headerNumber(1) != io::gzip::method::deflate)
            throw io::gzip_error(io::gzip::bad_method);
        const uint32_t flags = _headerNumber(1);
        _headerNumber(4);  // time
        _headerNumber(2);  // effort, system
        if ((flags & io::gzip::flags::extra) != 0) {
            for (uint32_t left = _headerNumber(2); left > 0; --left)
                _headerNumber(1);
        }
        if ((flags & io::gzip::flags::name) != 0) _skipText();
        if ((flags & io::gzip::flags::comment) != 0) _skipText();
        if ((flags & io::gzip::flags::header_crc) != 0) _headerNumber(2);
    }

    void _skipText() {
        while (_headerNumber(1) != 0) {
        }
    }

    uint32_t _headerNumber(int bytes) { return _number(bytes, io::gzip::bad_header); }

    uint32_t _number(int bytes, int errorAtEnd) {
        uint32_t number = 0;
        for (int i = 0; i < bytes; ++i) {
            uint8_t byte = 0;
            if (!_source.next(byte)) throw io::gzip_error(errorAtEnd);
            number |= uint32_t{byte} << (8 * i);
        }
        return number;
    }

    io::zlib_decompressor _inflater;
    PayloadSource _source;
    bool _isInBody = false;
    bool _isAtEnd = false;
};

}  // namespace

std::unique_ptr<StreamReader> streamReader(CompressionType::e type, const void* payload,
                                           size_t size) {
    const PayloadSource source(payload, size);
    switch (type) {
        case CompressionType::None:
            break;
        case CompressionType::ZLib:
            return std::make_unique<FilterReader<io::zlib_decompressor>>(windowBits, source);
        case CompressionType::GZip:
            return std::make_unique<GzipReader>(source);
        case CompressionType::BZip2: {
            constexpr bool savesMemory = false;
            return std::make_unique<FilterReader<io::bzip2_decompressor>>(savesMemory, source);
        }
    }
    // Without a filter the stream itself would be taken for samples.
    throw std::logic_error("no compression");
}

}  // namespace mz
