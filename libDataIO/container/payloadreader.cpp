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

}  // namespace

bool readLastPayload(int fd, unsigned int type, QByteArray& payload) {
    const qint64 end = posix::seek(fd, 0, SEEK_END);
    if (end == -1)
        DATAIO_FAIL(IOFileException, logger, SYSCALL, "MM_SE_SEEK",
                    withSystemError("Could not reach end of file: "));
    ChunkEndHeader header;
    if (!header.loadFD(fd, endHeaderOffset(end)) || header.type() != type) return false;

    const qint64 start = end - chunkHeaderSize - header.size();
    if (start < chunkHeaderSize)
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "MM_CR_BOUND", chunkOutsideFile());
    const posix::ReadBytes read = posix::bytesAt(fd, start, header.size());
    if (read.error != 0)
        DATAIO_FAIL(IOFileException, logger, SYSCALL, "MM_CR_MMAP", unreadable(read.error));
    if (read.bytes.size() < qint64{header.size()})  // cut since its header was read
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "MM_CR_BOUND", chunkOutsideFile());
    payload = read.bytes;
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
    const posix::ReadBytes read = posix::bytesAt(fd, start, header.size());
    if (read.error != 0)
        DATAIO_FAIL(IOFileException, logger, SYSCALL, "MM_NC_MMAP", unreadable(read.error));
    if (read.bytes.size() < qint64{header.size()})  // cut since its length was asked for
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "MM_NC_BOUND", chunkOutsideFile());
    payload = read.bytes;
    return true;
}

}  // namespace mz
