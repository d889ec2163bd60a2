#pragma once

// Chunks of a test's own, through a ChunkWriter or a FileWriter.

#include <QByteArray>

#include <cstddef>

namespace mz::test {

template <class Writer>
int add(Writer& writer, unsigned int type, const QByteArray& payload) {
    return writer.addChunk(type, payload.constData(), static_cast<size_t>(payload.size()));
}

}  // namespace mz::test
