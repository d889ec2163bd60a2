#include <libDataIO/chunkreader.h>

namespace mz {

ChunkReader::ChunkReader() = default;
ChunkReader::~ChunkReader() = default;

void ChunkReader::fileDes(int fd) {
    _fd = fd;
}

bool ChunkReader::canSeek() const {
    return _canSeek;
}

}  // namespace mz
