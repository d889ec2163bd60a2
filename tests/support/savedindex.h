#pragma once

// An index, or a whole info chunk, as the bytes of a payload.

#include <libDataIO/chunkindex.h>

#include <QByteArray>

#include <memory>

namespace mz::test {

inline QByteArray saved(ChunkIndex& index) {
    int length = -1;
    const std::unique_ptr<char[]> payload(index.save(length));
    return QByteArray(payload.get(), length);
}

inline int load(ChunkIndex& index, const QByteArray& payload) {
    return index.load(payload.constData(), static_cast<unsigned int>(payload.size()));
}

}  // namespace mz::test
