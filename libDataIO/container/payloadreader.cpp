#include <libDataIO/base/posixfile.h>
#include <libDataIO/chunkheader.h>
#include <libDataIO/container/chunkframing.h>
#include <libDataIO/container/failures.h>
#include <libDataIO/container/payloadreader.h>

#include <unistd.h>

namespace mz {

namespace {

Logger* const logger = Logger::logger(QStringLiteral("dataio.mmapchunkreader"));

QString unreadable(int error) {
    return withSystemError(QStringLiteral("Could not read data: "), error);
}

qint64 endOf(int fd) {
    const qint64 end = posix::seek(fd, 0, SEEK_END);
    if (end == -1)
        DATAIO_FAIL(IOFileException, logger, SYSCALL, "MM_SE_SEEK",
                    withSystemError("Could not reach end of file: "));
    return end;
}

/// Where the payload of that size begins.
struct Place {
    qint64 offset;
    unsigned int size;
};

/// Reads into memory of the caller's, taken only once it is known that the file holds so much.
/// Frames are read one after the other, so that what was taken for one serves the next.
/// @return false when the file has been cut since
bool read(int fd, Place place, const char* failureCode, QByteArray& payload) {
    if (payload.capacity() < qint64{place.size})
        payload = QByteArray(place.size, Qt::Uninitialized);
    else
        payload.resize(place.size);
    const posix::ReadResult result = posix::readAllAt(fd, place.offset, payload.data(), place.size);
    if (result.error != 0)
        DATAIO_FAIL(IOFileException, logger, SYSCALL, failureCode, unreadable(result.error));
    return result.count == qint64{place.size};
}

}  // namespace

bool isLastChunk(int fd, unsigned int type) {
    ChunkEndHeader header;
    return header.loadFD(fd, endHeaderOffset(endOf(fd))) && header.type() == type;
}

bool readLastPayload(int fd, unsigned int type, QByteArray& payload) {
    const qint64 end = endOf(fd);
    ChunkEndHeader header;
    if (!header.loadFD(fd, endHeaderOffset(end)) || header.type() != type) return false;

    const qint64 start = end - chunkHeaderSize - header.size();
    if (start < chunkHeaderSize)
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "MM_CR_BOUND", chunkOutsideFile());
    if (!read(fd, {start, header.size()}, "MM_CR_MMAP", payload))
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "MM_CR_BOUND", chunkOutsideFile());
    return true;
}

bool readPayloadAt(int fd, qint64 offset, unsigned int type, QByteArray& payload) {
    ChunkStartHeader header;
    if (!header.loadFD(fd, offset) || header.type() != type) return false;

    const qint64 start = offset + chunkHeaderSize;
    const qint64 fileSize = posix::fileSize(fd);
    if (fileSize == -1)
        DATAIO_FAIL(IOFileException, logger, SYSCALL, "MM_NC_MMAP", unreadable(errno));
    // Before memory is taken for what a damaged header says.
    if (start + header.size() > fileSize)
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "MM_NC_BOUND", chunkOutsideFile());
    if (!read(fd, {start, header.size()}, "MM_NC_MMAP", payload))
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "MM_NC_BOUND", chunkOutsideFile());
    return true;
}

}  // namespace mz
