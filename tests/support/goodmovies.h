#pragma once

// A small movie of each kind, from which tests make damaged ones.

#include <QList>

#include <string>
#include <vector>

#include <tests/support/moviebytes.h>
#include <tests/support/streams.h>

namespace mz::test {

struct GoodMovie {
    std::string name;
    MovieBytes chunks;
    QByteArray text;  ///< the attributes
    unsigned int frames;

    QByteArray bytes() const { return MovieBytes(chunks).text(text).bytes(); }
    /// With another value of an attribute.
    QByteArray with(const QByteArray& key, const QByteArray& value) const {
        QByteArray changed;
        for (const QByteArray& line : text.split('\n'))
            if (!line.startsWith(key + '=') && !line.isEmpty()) changed += line + '\n';
        return MovieBytes(chunks).text(changed + key + '=' + value + '\n').bytes();
    }
};

inline std::ostream& operator<<(std::ostream& out, const GoodMovie& movie) {
    return out << movie.name;
}

constexpr int goodWidth = 4;
constexpr int goodHeight = 3;

inline QByteArray goodFrame(int number, int bytes) {
    QByteArray out;
    for (int i = 0; i < bytes; ++i)
        out.append(static_cast<char>(number * 31 + i * 7));
    return out;
}

inline QByteArray goodHeader(MZImagePixelType type, int bits, int endian = 2) {
    return "comment=two\alines\ndatadimension=2\nendian=" + QByteArray::number(endian) +
           "\nheight=3\npixbits=" + QByteArray::number(bits) +
           "\npixtype=" + QByteArray::number(static_cast<int>(type)) + "\nwidth=4\n";
}

/// Two nodes, whose number stands under `countKey`.
inline QByteArray goodPalette(const QByteArray& countKey) {
    return "pal_cropMax=200\npal_cropMin=10\npal_n0_b=0\npal_n0_g=0\npal_n0_r=0\npal_n0_val=0\n"
           "pal_n1_b=1\npal_n1_g=0.5\npal_n1_r=0\npal_n1_val=1\npal_name=blue\n" +
           countKey + "=2\n";
}

inline GoodMovie rawMovie(const char* name, MZImagePixelType type, int bits) {
    GoodMovie movie{name, {}, goodHeader(type, bits), 3};
    for (int i = 0; i < 3; ++i)
        movie.chunks.frame(goodFrame(i, goodWidth * goodHeight * bits / 8));
    movie.chunks.times({10, 1, 11, 2, 12, 3}).laserPowers("\x01\x80\xff");
    return movie;
}

inline GoodMovie withPalette() {
    GoodMovie movie = rawMovie("Raw16", MZ_USHORT, 16);
    movie.text += goodPalette("pal_nbcols");
    return movie;
}

inline GoodMovie compressedMovie(const char* name, CompressionType::e type) {
    GoodMovie movie{name, {}, goodHeader(MZ_USHORT, 16), 2};
    movie.text.prepend(QByteArray("compression_type=") + attributeOf(type) + '\n');
    for (int i = 0; i < 2; ++i)
        movie.chunks.frame(compressed(type, goodFrame(i, goodWidth * goodHeight * 2)));
    return movie;
}

inline GoodMovie vectorizedMovie() {
    GoodMovie movie{"Vectorized", {}, goodHeader(MZ_USHORT, 16), 2};
    movie.text += "bbox_max_x=4\nbbox_max_y=3\nbbox_min_x=0\nbbox_min_y=0\ndata_type=vec\n";
    movie.chunks.frame(bytes16({1, 2, 3})).frame(bytes16({4, 5, 6}));
    movie.chunks.fibers({0, 0, 0x80000000, 0x80000000, 0xffffffff, 0xffffffff});
    return movie;
}

inline GoodMovie otherByteOrder() {
    GoodMovie movie{"OtherByteOrder", {}, goodHeader(MZ_USHORT, 16, 1), 1};
    movie.chunks.frame(goodFrame(0, goodWidth * goodHeight * 2));
    movie.chunks.fibers({0x40000000, 0x40000000}, Order::Big);
    return movie;
}

/// Of a recorder that did not know the type of pixels yet, nor chunks of times.
inline GoodMovie olderMovie() {
    GoodMovie movie{"Older", {}, goodHeader(MZ_UCHAR, 8).replace("pixtype=3\n", ""), 2};
    movie.text +=
        "frame_timer=1\nframe_timer_n0_sec=5\nframe_timer_n0_usec=6\n"
        "frame_timer_n1_sec=7\nframe_timer_n1_usec=8\n";
    movie.text += goodPalette("pal_nbnodes");
    movie.chunks.frame(goodFrame(0, 12)).frame(goodFrame(1, 12));
    return movie;
}

inline std::vector<GoodMovie> goodMovies() {
    return {rawMovie("Raw8", MZ_UCHAR, 8),
            withPalette(),
            rawMovie("Raw32", MZ_FLOAT, 32),
            compressedMovie("ZLib", CompressionType::ZLib),
            compressedMovie("GZip", CompressionType::GZip),
            compressedMovie("BZip2", CompressionType::BZip2),
            vectorizedMovie(),
            otherByteOrder(),
            olderMovie(),
            {"Empty", {}, goodHeader(MZ_USHORT, 16), 0}};
}

}  // namespace mz::test
