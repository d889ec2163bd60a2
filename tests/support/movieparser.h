#pragma once

// An independent reading of a movie file, sharing nothing with the library: it walks all chunks
// forwards and backwards to the last byte and holds framing, index and order of the chunks against
// each other. What does not fit is listed in `problems`.

#include <QByteArray>
#include <QFile>
#include <QString>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace mz::test {

struct MovieChunk {
    uint32_t type = 0;
    uint64_t offset = 0;  ///< of the start header
    uint32_t size = 0;    ///< of the payload
    QByteArray payload;   ///< left empty for payloads above 64 MiB

    qsizetype end() const { return static_cast<qsizetype>(offset) + size + 32; }
};

struct MovieRecord {
    uint32_t type, offset, length;
};

struct MovieTime {
    int32_t sec, usec;
};
inline bool operator==(const MovieTime& a, const MovieTime& b) {
    return a.sec == b.sec && a.usec == b.usec;
}

struct Movie {
    std::vector<MovieChunk> chunks;         ///< in the order of the file
    std::vector<MovieRecord> index;         ///< as the info chunk lists them
    std::vector<QByteArray> frames;         ///< payloads in the order of the index
    std::vector<uint64_t> frameOffsets;     ///< in the order of the index
    std::map<QByteArray, QByteArray> text;  ///< the attributes
    std::vector<MovieTime> times;
    std::vector<int> powers;           ///< bytes; 255 means none
    std::vector<uint32_t> fiberWords;  ///< x, y, x, y …
    std::vector<std::string> problems;

    /// Types of the chunks in the order of the file.
    std::vector<uint32_t> types() const {
        std::vector<uint32_t> out;
        for (const MovieChunk& chunk : chunks)
            out.push_back(chunk.type);
        return out;
    }
    bool has(const char* key) const { return text.count(key) > 0; }
    /// The attribute, null when it is missing.
    QByteArray attribute(const char* key) const {
        const auto found = text.find(key);
        return found != text.end() ? found->second : QByteArray();
    }
};

/// Where the last whole chunk ends.
inline qsizetype soundLength(const Movie& movie) {
    return movie.chunks.empty() ? 0 : movie.chunks.back().end();
}

class MovieParser {
public:
    MovieParser(const char* bytes, uint64_t size) : _bytes(bytes), _size(size) {}

    Movie parse() {
        walkForwards();
        walkBackwards();
        checkOrder();
        if (!_movie.chunks.empty() && _movie.chunks.back().type == Info) {
            readInfo(_movie.chunks.back().payload);
            checkIndex();
        }
        for (const MovieChunk& chunk : _movie.chunks)
            readTrailing(chunk);
        return std::move(_movie);
    }

private:
    enum : uint32_t { Frame = 2, Info = 5, Fibers = 6, Times = 7, Powers = 8 };
    static constexpr uint64_t headerSize = 16;
    static constexpr uint32_t largestCopy = 64 << 20;

    void problem(const std::string& what, uint64_t where) {
        _movie.problems.push_back(what + " at " + std::to_string(where));
    }

    uint32_t bigEndian(uint64_t at) const {
        uint32_t value = 0;
        for (uint64_t i = 0; i < 4; ++i)
            value = value << 8 | static_cast<unsigned char>(_bytes[at + i]);
        return value;
    }

    static uint32_t littleEndian(const QByteArray& bytes, qsizetype at) {
        uint32_t value = 0;
        for (qsizetype i = 3; i >= 0; --i)
            value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
        return value;
    }

    bool isHeader(uint64_t at, const char* tag) const {
        return at <= _size && _size - at >= headerSize && std::memcmp(_bytes + at, "\n<", 2) == 0 &&
               std::memcmp(_bytes + at + 2, tag, 4) == 0 &&
               std::memcmp(_bytes + at + 14, ">\n", 2) == 0;
    }

    void walkForwards() {
        uint64_t at = 0;
        while (at < _size) {
            if (!isHeader(at, "CSTA")) return problem("no start header", at);
            MovieChunk chunk;
            chunk.type = bigEndian(at + 6);
            chunk.size = bigEndian(at + 10);
            chunk.offset = at;
            const uint64_t end = at + headerSize + chunk.size;
            if (!isHeader(end, "CEND")) return problem("no end header", end);
            if (bigEndian(end + 6) != chunk.type || bigEndian(end + 10) != chunk.size)
                problem("end header differs from start header", end);
            if (chunk.size <= largestCopy)
                chunk.payload = QByteArray(_bytes + at + headerSize, chunk.size);
            _movie.chunks.push_back(chunk);
            at = end + headerSize;
        }
    }

    void walkBackwards() {
        uint64_t at = _size;
        for (auto chunk = _movie.chunks.rbegin(); chunk != _movie.chunks.rend(); ++chunk) {
            if (at < 2 * headerSize || !isHeader(at - headerSize, "CEND"))
                return problem("no end header backwards", at);
            const uint64_t length = 2 * headerSize + bigEndian(at - headerSize + 10);
            if (length > at || !isHeader(at - length, "CSTA"))
                return problem("no start header backwards", at);
            at -= length;
            if (at != chunk->offset) problem("backwards a chunk begins elsewhere", at);
        }
        if (at != 0) problem("chunks do not reach back to the start", at);
    }

    /// Frames, then fibres, times, powers and info, each at most once, the info chunk always.
    void checkOrder() {
        int place = 0;
        for (const MovieChunk& chunk : _movie.chunks) {
            const std::map<uint32_t, int> places = {
                {Frame, 1}, {Fibers, 2}, {Times, 3}, {Powers, 4}, {Info, 5}};
            const auto found = places.find(chunk.type);
            const int here = found != places.end() ? found->second : 0;
            if (here == 0 || here < place || (here == place && chunk.type != Frame))
                problem("chunk of type " + std::to_string(chunk.type) + " out of order",
                        chunk.offset);
            place = here;
        }
        if (_movie.chunks.empty() || _movie.chunks.back().type != Info)
            problem("last chunk is no info chunk", _size);
    }

    void readInfo(const QByteArray& payload) {
        if (payload.size() < 4) return problem("info chunk without index", _size);
        const uint64_t count = littleEndian(payload, 0);
        const uint64_t indexSize = 4 + 12 * count;
        if (indexSize > static_cast<uint64_t>(payload.size()))
            return problem("index leaves its chunk", _size);
        uint32_t lastType = 0;
        for (uint64_t i = 0; i < count; ++i) {
            const auto at = static_cast<qsizetype>(4 + 12 * i);
            const MovieRecord record = {littleEndian(payload, at), littleEndian(payload, at + 4),
                                        littleEndian(payload, at + 8)};
            if (record.type < lastType) problem("record types descend", i);
            lastType = record.type;
            _movie.index.push_back(record);
        }
        readAttributes(payload.mid(static_cast<qsizetype>(indexSize)));
    }

    void readAttributes(const QByteArray& text) {
        if (!text.isEmpty() && !text.endsWith('\n')) problem("attributes end in a line", _size);
        QByteArray lastKey;
        qsizetype at = 0;
        while (at < text.size()) {
            qsizetype end = text.indexOf('\n', at);
            if (end < 0) end = text.size();
            const QByteArray line = text.mid(at, end - at);
            const qsizetype equals = line.indexOf('=');
            if (equals < 1)
                problem("no key in line \"" + line.toStdString() + '"', _size);
            else {
                const QByteArray key = line.left(equals);
                if (!(lastKey < key)) problem("keys descend at " + key.toStdString(), _size);
                lastKey = key;
                _movie.text[key] = line.mid(equals + 1);
            }
            at = end + 1;
        }
    }

    /// Every record leads to a chunk of its type and size, every chunk but the info chunk has one
    /// record.
    void checkIndex() {
        std::map<uint64_t, const MovieChunk*> chunkAt;
        for (const MovieChunk& chunk : _movie.chunks)
            chunkAt[chunk.offset] = &chunk;
        std::set<uint64_t> listed;
        for (const MovieRecord& record : _movie.index) {
            const auto found = chunkAt.find(record.offset);
            if (found == chunkAt.end() || found->second->type != record.type ||
                found->second->size != record.length) {
                problem("record leads to no such chunk", record.offset);
                continue;
            }
            if (record.type == Info) problem("index lists an info chunk", record.offset);
            if (!listed.insert(record.offset).second) problem("chunk listed twice", record.offset);
            if (record.type == Frame) {
                _movie.frames.push_back(found->second->payload);
                _movie.frameOffsets.push_back(record.offset);
            }
        }
        for (const MovieChunk& chunk : _movie.chunks) {
            if (chunk.type != Info && listed.count(chunk.offset) == 0)
                problem("chunk not listed", chunk.offset);
        }
    }

    void readTrailing(const MovieChunk& chunk) {
        const QByteArray& payload = chunk.payload;
        if (chunk.type == Fibers) {
            if (payload.size() % 4 != 0) problem("fibres of broken words", chunk.offset);
            for (qsizetype at = 0; at + 4 <= payload.size(); at += 4)
                _movie.fiberWords.push_back(littleEndian(payload, at));
        } else if (chunk.type == Times) {
            if (payload.size() % 8 != 0) problem("times of broken records", chunk.offset);
            for (qsizetype at = 0; at + 8 <= payload.size(); at += 8)
                _movie.times.push_back({static_cast<int32_t>(littleEndian(payload, at)),
                                        static_cast<int32_t>(littleEndian(payload, at + 4))});
        } else if (chunk.type == Powers) {
            for (const char byte : payload)
                _movie.powers.push_back(static_cast<unsigned char>(byte));
        }
    }

    const char* _bytes;
    uint64_t _size;
    Movie _movie;
};

inline Movie parseMovie(const QByteArray& bytes) {
    return MovieParser(bytes.constData(), static_cast<uint64_t>(bytes.size())).parse();
}

/// The movie at `path`, mapped and not read, so that sparse files of several GiB cost nothing but
/// the walk over their headers.
inline Movie parseMovieFile(const QString& path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    if (file.size() == 0) return parseMovie(QByteArray());
    const uchar* bytes = file.map(0, file.size());
    if (bytes == nullptr) {
        ADD_FAILURE() << "cannot map " << path.toStdString();
        return {};
    }
    return MovieParser(reinterpret_cast<const char*>(bytes), static_cast<uint64_t>(file.size()))
        .parse();
}

/// The same for a movie in which nothing may be wrong.
inline Movie soundMovie(const QString& path) {
    Movie movie = parseMovieFile(path);
    for (const std::string& problem : movie.problems)
        ADD_FAILURE() << problem;
    return movie;
}

}  // namespace mz::test
