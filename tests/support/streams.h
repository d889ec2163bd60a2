#pragma once

// Compressed streams made and undone by zlib and bzip2 themselves, without the library.

#include <libDataIO/payloads/compressions.h>

#include <QByteArray>
#include <gtest/gtest.h>

#include <bzlib.h>
#include <zlib.h>

#include <vector>

namespace mz::test {

/// Every compression that makes streams.
inline std::vector<CompressionType::e> streamTypes() {
    std::vector<CompressionType::e> types;
    for (const CompressionTraits& row : compressions)
        if (row.type != CompressionType::None) types.push_back(row.type);
    return types;
}

/// zlib's window bits; 16 more ask for the gzip format.
constexpr int zlibFormat = 15;
constexpr int gzipFormat = 15 + 16;

inline QByteArray deflated(const QByteArray& plain, int format) {
    z_stream stream{};
    EXPECT_EQ(
        deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, format, 8, Z_DEFAULT_STRATEGY),
        Z_OK);
    QByteArray out(static_cast<qsizetype>(deflateBound(&stream, static_cast<uLong>(plain.size()))),
                   '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(plain.constData()));
    stream.avail_in = static_cast<uInt>(plain.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    out.resize(static_cast<qsizetype>(stream.total_out));
    deflateEnd(&stream);
    return out;
}

inline QByteArray bzipped(const QByteArray& plain) {
    auto size = static_cast<unsigned int>(plain.size() + plain.size() / 100 + 600);
    QByteArray out(static_cast<qsizetype>(size), '\0');
    EXPECT_EQ(BZ2_bzBuffToBuffCompress(out.data(), &size, const_cast<char*>(plain.constData()),
                                       static_cast<unsigned int>(plain.size()), 9, 0, 30),
              BZ_OK);
    out.resize(static_cast<qsizetype>(size));
    return out;
}

/// The payload of a frame; a switch, so that the compiler asks for a new compression's stream.
inline QByteArray compressed(CompressionType::e type, const QByteArray& plain) {
    switch (type) {
        case CompressionType::None:
            return plain;
        case CompressionType::ZLib:
            return deflated(plain, zlibFormat);
        case CompressionType::GZip:
            return deflated(plain, gzipFormat);
        case CompressionType::BZip2:
            return bzipped(plain);
    }
    ADD_FAILURE() << "no compression: " << type;
    return {};
}

inline QByteArray inflated(const QByteArray& stream, int format, qsizetype size) {
    QByteArray out(size, '\0');
    z_stream state{};
    EXPECT_EQ(inflateInit2(&state, format), Z_OK);
    state.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(stream.constData()));
    state.avail_in = static_cast<uInt>(stream.size());
    state.next_out = reinterpret_cast<Bytef*>(out.data());
    state.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(inflate(&state, Z_FINISH), Z_STREAM_END);
    EXPECT_EQ(state.avail_in, 0U);
    out.resize(static_cast<qsizetype>(state.total_out));
    inflateEnd(&state);
    return out;
}

inline QByteArray unbzipped(const QByteArray& stream, qsizetype size) {
    QByteArray out(size, '\0');
    auto length = static_cast<unsigned int>(size);
    EXPECT_EQ(BZ2_bzBuffToBuffDecompress(out.data(), &length, const_cast<char*>(stream.constData()),
                                         static_cast<unsigned int>(stream.size()), 0, 0),
              BZ_OK);
    out.resize(static_cast<qsizetype>(length));
    return out;
}

/// What the whole payload of a frame holds, at most `size` bytes.
inline QByteArray decompressed(CompressionType::e type, const QByteArray& stream, qsizetype size) {
    switch (type) {
        case CompressionType::None:
            EXPECT_LE(stream.size(), size);
            return stream;
        case CompressionType::ZLib:
            return inflated(stream, zlibFormat, size);
        case CompressionType::GZip:
            return inflated(stream, gzipFormat, size);
        case CompressionType::BZip2:
            return unbzipped(stream, size);
    }
    ADD_FAILURE() << "no compression: " << type;
    return {};
}

/// What "compression_type" says of such frames.
inline const char* attributeOf(CompressionType::e type) {
    switch (type) {
        case CompressionType::None:
            return "none";
        case CompressionType::ZLib:
            return "z";
        case CompressionType::GZip:
            return "gz";
        case CompressionType::BZip2:
            return "bz2";
    }
    ADD_FAILURE() << "no compression: " << type;
    return "";
}

}  // namespace mz::test
