#include <libDataIO/chunkframing.h>
#include <libDataIO/chunkheader.h>
#include <libDataIO/filemapping.h>
#include <libDataIO/mmapchunkreader.h>
#include <libDataIO/posixfile.h>
#include <libLog/failure.h>

#include <unistd.h>

namespace mz {

namespace {

Logger* const logger = Logger::logger(QStringLiteral("dataio.mmapchunkreader"));

QString unreadable() {
    return withSystemError("Could not read data: ");
}

}  // namespace

MMapChunkReader::MMapChunkReader() : _mapping(std::make_unique<FileMapping>()) {}

MMapChunkReader::~MMapChunkReader() {
    if (_fd != -1) posix::close(_fd);
}

void MMapChunkReader::fileDes(int fd) {
    ChunkReader::fileDes(fd);
    _mapping->fileChanged();
}

const void* MMapChunkReader::data() const {
    if (_data == nullptr)
        DATAIO_FAIL(IOFileException, logger, FILESYSTEM, "MM_D_NODATA",
                    QStringLiteral("No data availlable."));
    return _data;
}

bool MMapChunkReader::nextChunk(unsigned int type) {
    _unmapData();
    ChunkStartHeader header;
    if (!header.loadFD(_fd, _offset) || header.type() != type) return false;

    const qint64 payload = _offset + chunkHeaderSize;
    const qint64 fileSize = posix::fileSize(_fd);
    if (fileSize != -1 && payload + header.size() > fileSize)
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "MM_NC_BOUND", chunkOutsideFile());
    const char* data =
        fileSize == -1 ? nullptr : _mapping->view(_fd, fileSize, payload, header.size());
    if (data == nullptr) DATAIO_FAIL(IOFileException, logger, SYSCALL, "MM_NC_MMAP", unreadable());

    _data = data;
    _chunkSize = header.size();
    _offset = payload + header.size() + chunkHeaderSize;
    return true;
}

bool MMapChunkReader::prevChunk(unsigned int type) {
    _unmapData();
    ChunkEndHeader header;
    if (!header.loadFD(_fd, endHeaderOffset(_offset)) || header.type() != type) return false;

    const qint64 payload = _offset - chunkHeaderSize - header.size();
    const qint64 fileSize = posix::fileSize(_fd);
    // The end as well: the file may have been cut since its header was read.
    if (payload < chunkHeaderSize || (fileSize != -1 && payload + header.size() > fileSize))
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "MM_CR_BOUND", chunkOutsideFile());
    const char* data =
        fileSize == -1 ? nullptr : _mapping->view(_fd, fileSize, payload, header.size());
    if (data == nullptr) DATAIO_FAIL(IOFileException, logger, SYSCALL, "MM_CR_MMAP", unreadable());

    _data = data;
    _chunkSize = header.size();
    _offset = payload - chunkHeaderSize;
    return true;
}

bool MMapChunkReader::rewind() {
    _unmapData();
    if (posix::seek(_fd, 0, SEEK_SET) == -1)
        DATAIO_FAIL(IOFileException, logger, SYSCALL, "MM_R_SEEK",
                    withSystemError("Could not rewind file: "));
    _offset = 0;
    return true;
}

bool MMapChunkReader::seekEnd() {
    _unmapData();
    const qint64 end = posix::seek(_fd, 0, SEEK_END);
    if (end == -1)
        DATAIO_FAIL(IOFileException, logger, SYSCALL, "MM_SE_SEEK",
                    withSystemError("Could not reach end of file: "));
    _offset = end;
    return true;
}

bool MMapChunkReader::seek(qint64 offset) {
    _unmapData();
    _offset = offset;
    return true;
}

void MMapChunkReader::closeFile() {
    _mapping->fileChanged();
    _unmapData();
    if (_fd != -1) posix::close(_fd);
    _fd = -1;
    _offset = 0;
}

void MMapChunkReader::_unmapData() {
    if (!_mapping->release())
        DATAIO_FAIL(CriticalException, logger, SYSCALL, "MM_UNMAP",
                    withSystemError("Could not clear previous buffer: "));
    _data = nullptr;
    _chunkSize = 0;
}

}  // namespace mz
