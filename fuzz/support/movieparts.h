#pragma once

// A movie in its parts, so that a mutation can hit one of them and leave the framing whole: of
// files with raw bytes changed anywhere, hardly one gets behind the first header.

#include <QByteArray>

#include <cstdint>
#include <vector>

namespace mz::fuzz {

struct Chunk {
    uint32_t type;
    QByteArray payload;
};

/// The parts of an info chunk's payload.
struct Info {
    std::vector<uint32_t> index;  ///< type, offset, length of each record
    QByteArray text;
};

struct Movie {
    std::vector<Chunk> chunks;
    QByteArray rest;  ///< what stands behind the last whole chunk
};

Movie parseMovie(const QByteArray& bytes);
QByteArray movieBytes(const Movie& movie);

/// Every whole index there is, and the text behind it.
Info parseInfo(const QByteArray& payload);
QByteArray infoPayload(const Info& info);

/// Makes the index of the last info chunk one of the chunks in front of it, in their order.
void rebuildIndex(Movie& movie);

}  // namespace mz::fuzz
