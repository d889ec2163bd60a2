#include <libDataIO/base/posixfile.h>
#include <libDataIO/chunkheader.h>
#include <libDataIO/container/chunkframing.h>
#include <libDataIO/container/failures.h>
#include <libDataIO/container/filemapping.h>
#include <libDataIO/mmapchunkreader.h>

#include <unistd.h>

#include <algorithm>

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
    qint64 fileSize = -1;
    if (!_loadHeader(header, ChunkStartHeader::_headerStr, _offset, fileSize) ||
        header.type() != type)
        return false;

    const qint64 payload = _offset + chunkHeaderSize;
    if (fileSize == -1) fileSize = posix::fileSize(_fd);
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
    qint64 fileSize = -1;
    if (!_loadHeader(header, ChunkEndHeader::_headerStr, endHeaderOffset(_offset), fileSize) ||
        header.type() != type)
        return false;

    const qint64 payload = _offset - chunkHeaderSize - header.size();
    if (fileSize == -1) fileSize = posix::fileSize(_fd);
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

/// Loads a header from the file, or from the kept mapping where that shows the file as it is now;
/// `fileSize` is then the file's length and otherwise stays. A move costs more in small calls than
/// in anything else: of the two, to read the header and to ask for the length, the cheapest way to
/// ask is left. Whatever is not a sound header inside the file is left to the file to tell.
bool MMapChunkReader::_loadHeader(ChunkHeaderBase& header, const char* text, qint64 offset,
                                  qint64& fileSize) {
    ChunkHeaderBytes bytes;
    unsigned int type = 0;
    unsigned int size = 0;
    if (const char* mapped = _mapping->mapped(offset, chunkHeaderSize)) {
        const qint64 length = posix::seek(_fd, 0, SEEK_END);
        if (length >= offset + chunkHeaderSize) {
            std::copy_n(mapped, bytes.size(), bytes.begin());
            if (decodeChunkHeader(bytes, text, type, size)) {
                header.type(type);
                header.size(size);
                fileSize = length;
                return true;
            }
        }
    }
    return header.loadFD(_fd, offset);
}

void MMapChunkReader::_unmapData() {
    if (!_mapping->release())
        DATAIO_FAIL(CriticalException, logger, SYSCALL, "MM_UNMAP",
                    withSystemError("Could not clear previous buffer: "));
    _data = nullptr;
    _chunkSize = 0;
}

}  // namespace mz
