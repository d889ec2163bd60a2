#include <libDataIO/dataiocommon.h>

#include <QtEndian>

#include <algorithm>

#include <fuzz/support/movieparts.h>
#include <tests/support/bytes.h>

namespace mz::fuzz {

namespace {

constexpr qsizetype headerSize = 16;
constexpr qsizetype recordSize = 12;

}  // namespace

Movie parseMovie(const QByteArray& bytes) {
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

QByteArray movieBytes(const Movie& movie) {
    QByteArray bytes;
    for (const auto& [type, payload] : movie.chunks)
        bytes += test::chunk(type, payload);
    return bytes + movie.rest;
}

Info parseInfo(const QByteArray& payload) {
    Info info;
    if (payload.size() < 4) return info;
    const auto records = static_cast<qsizetype>(qFromLittleEndian<uint32_t>(payload.constData()));
    if (records > (payload.size() - 4) / recordSize) return info;
    for (qsizetype at = 4; at < 4 + records * recordSize; at += 4)
        info.index.push_back(qFromLittleEndian<uint32_t>(payload.constData() + at));
    info.text = payload.mid(4 + records * recordSize);
    return info;
}

QByteArray infoPayload(const Info& info) {
    QByteArray bytes = test::le32(static_cast<uint32_t>(info.index.size() / 3));
    for (const uint32_t number : info.index)
        bytes += test::le32(number);
    return bytes + info.text;
}

void rebuildIndex(Movie& movie) {
    const auto last = std::find_if(movie.chunks.rbegin(), movie.chunks.rend(),
                                   [](const Chunk& chunk) { return chunk.type == MZ_CT_INFO; });
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
