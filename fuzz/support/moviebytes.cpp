#include <libDataIO/dataiocommon.h>

#include <QtEndian>

#include <algorithm>

#include <fuzz/support/moviebytes.h>

namespace mz::fuzz {

namespace {

constexpr qsizetype headerSize = 16;
constexpr qsizetype recordSize = 12;

QByteArray header(const char* tag, uint32_t type, uint32_t size) {
    QByteArray bytes(headerSize, '\n');
    bytes.replace(1, 5, tag);
    qToBigEndian(type, bytes.data() + 6);
    qToBigEndian(size, bytes.data() + 10);
    bytes[14] = '>';
    return bytes;
}

}  // namespace

Movie parseMovie(QByteArray const& bytes) {
    Movie movie;
    qsizetype at = 0;
    while (at + 2 * headerSize <= bytes.size() && bytes.mid(at, 6) == "\n<CSTA") {
        const auto type = qFromBigEndian<uint32_t>(bytes.constData() + at + 6);
        const auto size = qFromBigEndian<uint32_t>(bytes.constData() + at + 10);
        if (static_cast<qsizetype>(size) > bytes.size() - at - 2 * headerSize) break;
        movie.chunks.push_back({type, bytes.mid(at + headerSize, size)});
        at += 2 * headerSize + size;
    }
    movie.rest = bytes.mid(at);
    return movie;
}

QByteArray movieBytes(Movie const& movie) {
    QByteArray bytes;
    for (auto const& [type, payload] : movie.chunks) {
        const auto size = static_cast<uint32_t>(payload.size());
        bytes += header("<CSTA", type, size) + payload + header("<CEND", type, size);
    }
    return bytes + movie.rest;
}

Info parseInfo(QByteArray const& payload) {
    Info info;
    if (payload.size() < 4) return info;
    const auto records = static_cast<qsizetype>(qFromLittleEndian<uint32_t>(payload.constData()));
    if (records > (payload.size() - 4) / recordSize) return info;
    for (qsizetype at = 4; at < 4 + records * recordSize; at += 4)
        info.index.push_back(qFromLittleEndian<uint32_t>(payload.constData() + at));
    info.text = payload.mid(4 + records * recordSize);
    return info;
}

QByteArray infoPayload(Info const& info) {
    std::vector<uint32_t> numbers{static_cast<uint32_t>(info.index.size() / 3)};
    numbers.insert(numbers.end(), info.index.begin(), info.index.end());
    QByteArray bytes(static_cast<qsizetype>(numbers.size()) * 4, '\0');
    for (size_t i = 0; i < numbers.size(); ++i)
        qToLittleEndian(numbers[i], bytes.data() + i * 4);
    return bytes + info.text;
}

void rebuildIndex(Movie& movie) {
    const auto last = std::find_if(movie.chunks.rbegin(), movie.chunks.rend(),
                                   [](Chunk const& chunk) { return chunk.type == MZ_CT_INFO; });
    if (last == movie.chunks.rend()) return;
    Info info = parseInfo(last->payload);
    info.index.clear();
    uint32_t offset = 0;
    for (auto chunk = movie.chunks.begin(); chunk != std::prev(last.base()); ++chunk) {
        const auto size = static_cast<uint32_t>(chunk->payload.size());
        info.index.insert(info.index.end(), {chunk->type, offset, size});
        offset += size + 2 * headerSize;
    }
    last->payload = infoPayload(info);
}

}  // namespace mz::fuzz
