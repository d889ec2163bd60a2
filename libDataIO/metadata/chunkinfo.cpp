#include <libDataIO/chunkinfo.h>

#include <cstring>
#include <memory>

namespace mz {

ChunkInfo::~ChunkInfo() = default;

char* ChunkInfo::save(int& len) {
    int indexSize = 0;
    const std::unique_ptr<char[]> index(ChunkIndex::save(indexSize));
    QByteArray text;
    dumpLatin1(text);

    const size_t size = static_cast<size_t>(indexSize) + static_cast<size_t>(text.size());
    std::unique_ptr<char[]> payload(new char[size]);
    std::memcpy(payload.get(), index.get(), static_cast<size_t>(indexSize));
    std::memcpy(payload.get() + indexSize, text.constData(), static_cast<size_t>(text.size()));
    len = static_cast<int>(size);
    return payload.release();
}

int ChunkInfo::load(const void* buf, unsigned int len) {
    const auto indexSize = static_cast<unsigned int>(ChunkIndex::load(buf, len));
    parseLatin1(static_cast<const char*>(buf) + indexSize, static_cast<qsizetype>(len - indexSize));
    return 1;
}

void ChunkInfo::clear() {
    _recordMap.clear();
    AttributeChunk::clear();
}

void ChunkInfo::dumpDebug() const {
    debugDump();
    AttributeChunk::dumpDebug();
}

}  // namespace mz
