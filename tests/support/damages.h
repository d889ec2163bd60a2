#pragma once

// Everything that is done to a good movie: the rows of the damage tables, as values. Rows that
// would leave the movie as it is are left out.

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include <tests/support/goodmovies.h>
#include <tests/support/movieparser.h>

namespace mz::test {

/// The place of the info chunk and of what is in it.
struct InfoPlaces {
    explicit InfoPlaces(const QByteArray& movie)
        : chunk(static_cast<qsizetype>(parseMovie(movie).chunks.back().offset)),
          count(chunk + 16),
          records(count + 4),
          text(records + 12 * static_cast<qsizetype>(parseMovie(movie).index.size())),
          end(movie.size() - 16) {}

    qsizetype chunk, count, records, text, end;
};

// --- single bytes

struct Flip {
    qsizetype at;
    int bits;
    bool framesStay = false;  ///< what is then read as a frame is one that was recorded

    QByteArray of(QByteArray movie) const {
        movie[at] = static_cast<char>(movie[at] ^ bits);
        return movie;
    }
};

inline std::ostream& operator<<(std::ostream& out, const Flip& flip) {
    return out << "byte " << flip.at << " flip " << flip.bits;
}

inline std::vector<Flip> framingFlips(const QByteArray& movie) {
    std::vector<Flip> flips;
    for (const MovieChunk& chunk : parseMovie(movie).chunks) {
        for (qsizetype i = 0; i < 32; ++i) {
            const qsizetype at =
                i < 16 ? static_cast<qsizetype>(chunk.offset) + i : chunk.end() - 32 + i;
            // A start header is believed about the size of its chunk.
            const bool framesStay = i < 10 || i > 13;
            for (int bits : {0x01, 0x80, 0xff})
                flips.push_back({at, bits, framesStay});
        }
    }
    return flips;
}

/// The count aside: with it the attributes begin elsewhere.
inline std::vector<Flip> indexFlips(const QByteArray& movie) {
    const InfoPlaces info(movie);
    std::vector<Flip> flips;
    for (qsizetype at = info.records; at < info.text; ++at)
        for (int bits : {0x01, 0x10, 0x80, 0xff})
            flips.push_back({at, bits, true});
    return flips;
}

inline std::vector<Flip> attributeFlips(const QByteArray& movie) {
    const InfoPlaces info(movie);
    std::vector<Flip> flips;
    for (qsizetype at = info.text; at < info.end; ++at)
        for (int bits : {0x01, 0x08, 0x80})
            flips.push_back({at, bits});
    return flips;
}

inline std::vector<Flip> payloadFlips(const QByteArray& movie) {
    std::vector<Flip> flips;
    for (const MovieChunk& chunk : parseMovie(movie).chunks) {
        if (chunk.type == MovieBytes::Info) continue;
        for (qsizetype at = static_cast<qsizetype>(chunk.offset) + 16; at < chunk.end() - 16; ++at)
            flips.push_back({at, 0x55});
    }
    return flips;
}

// --- numbers

struct FramingSize {
    MovieChunk chunk;
    uint32_t size;
    bool inStart, inEnd;

    QByteArray of(QByteArray movie) const {
        if (inStart) movie.replace(static_cast<qsizetype>(chunk.offset) + 10, 4, be32(size));
        if (inEnd) movie.replace(chunk.end() - 6, 4, be32(size));
        return movie;
    }
};

inline std::ostream& operator<<(std::ostream& out, const FramingSize& row) {
    return out << "chunk at " << row.chunk.offset << " size " << row.size << " in start "
               << row.inStart << " in end " << row.inEnd;
}

inline std::vector<FramingSize> framingSizes(const QByteArray& movie) {
    std::vector<FramingSize> rows;
    for (const MovieChunk& chunk : parseMovie(movie).chunks) {
        for (uint32_t size : {0U, 1U, chunk.size - 1, chunk.size + 1, chunk.size + 32, 0x7fffffffU,
                              0x80000000U, 0xffffffe0U, 0xffffffffU}) {
            if (size == chunk.size) continue;
            rows.push_back({chunk, size, true, false});
            rows.push_back({chunk, size, false, true});
            rows.push_back({chunk, size, true, true});
        }
    }
    return rows;
}

struct IndexNumber {
    enum Field { Count, Offset, Length };
    Field field;
    int record;  ///< in the order of the file; none for the count
    uint32_t number;

    QByteArray of(QByteArray movie) const {
        const InfoPlaces info(movie);
        const qsizetype inRecord = info.records + 12 * record + (field == Offset ? 4 : 8);
        return movie.replace(field == Count ? info.count : inRecord, 4, le32(number));
    }
};

inline std::ostream& operator<<(std::ostream& out, const IndexNumber& row) {
    return out << "field " << row.field << " of record " << row.record << ": " << row.number;
}

inline std::vector<IndexNumber> indexNumbers(const QByteArray& movie) {
    const std::vector<MovieRecord> index = parseMovie(movie).index;
    std::vector<IndexNumber> rows;
    for (uint32_t number : {0U, 1U, 2U, 1000U, 0x15555555U, 0x15555556U, 0x55555555U, 0x55555556U,
                            0x7fffffffU, 0x80000000U, 0xfffffffeU, 0xffffffffU})
        if (number != index.size()) rows.push_back({IndexNumber::Count, 0, number});
    const auto size = static_cast<uint32_t>(movie.size());
    for (size_t i = 0; i < index.size(); ++i) {
        for (uint32_t number : {0U, 1U, size - 33, size - 32, size - 16, size - 1, size,
                                0x7fffffffU, 0x80000000U, 0xfffffff0U, 0xffffffffU}) {
            const auto record = static_cast<int>(i);
            if (number != index[i].offset) rows.push_back({IndexNumber::Offset, record, number});
            if (number != index[i].length) rows.push_back({IndexNumber::Length, record, number});
        }
    }
    return rows;
}

// --- attributes

struct AttributeValue {
    QByteArray key, value;
};

inline std::ostream& operator<<(std::ostream& out, const AttributeValue& row) {
    return out << row.key.constData() << '=' << row.value.constData();
}

inline const std::vector<QByteArray> damagedKeys = {"width",
                                                    "height",
                                                    "pixbits",
                                                    "pixtype",
                                                    "endian",
                                                    "datadimension",
                                                    "data_type",
                                                    "compression_type",
                                                    "bbox_max_x",
                                                    "bbox_min_y",
                                                    "fovx",
                                                    "mask_level",
                                                    "frame_timer",
                                                    "frame_timer_n0_usec",
                                                    "pal_nbcols",
                                                    "pal_nbnodes",
                                                    "pal_cropMin",
                                                    "pal_cropMax",
                                                    "pal_n0_val",
                                                    "pal_n1_g",
                                                    "utc_offset_seconds"};

inline std::vector<QByteArray> damagedValues() {
    return {"-1",   "0",     "1",     "2",          "5",          "17",          "32",
            "896",  "65535", "65536", "2147483647", "2147483648", "-2147483648", "4294967296",
            "1e40", "nan",   "-inf",  "vec",        "gz",         "bz2"};
}

inline std::vector<AttributeValue> attributeValues(const GoodMovie& movie) {
    const auto text = parseMovie(movie.bytes()).text;
    std::vector<AttributeValue> rows;
    for (const QByteArray& key : damagedKeys) {
        const auto present = text.find(key);
        for (const QByteArray& value : damagedValues())
            if (present == text.end() || present->second != value) rows.push_back({key, value});
    }
    return rows;
}

/// With an image of that size.
inline QByteArray sized(GoodMovie movie, const QByteArray& width, const QByteArray& height) {
    movie.text.replace("width=4", "width=" + width);
    return movie.with("height", height);
}

struct LargeImage {
    QByteArray width, height;
};

inline std::vector<LargeImage> largeImages() {
    std::vector<LargeImage> rows;
    for (const char* width : {"2048", "2897", "65536", "2147483647"})
        for (const char* height : {"2048", "2896", "65536", "2147483647"})
            rows.push_back({width, height});
    return rows;
}

}  // namespace mz::test
