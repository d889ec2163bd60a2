#include <libDataIO/base/makeroom.h>
#include <libDataIO/base/nocancellation.h>
#include <libDataIO/base/posixfile.h>
#include <libDataIO/chunkheader.h>
#include <libDataIO/container/chunkframing.h>
#include <libDataIO/container/failures.h>
#include <libDataIO/fdchunkwriter.h>

#include <QObject>

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace mz {

namespace {

Logger* const logger = Logger::logger(QStringLiteral("dataio.fdchunkwriter"));

bool isPayloadSize(size_t size) {
    return size <= static_cast<size_t>(maxFileSize - chunkFramingSize);
}

bool fits(qint64 offset, size_t payloadSize) {
    return isPayloadSize(payloadSize) &&
           offset <= maxFileSize - chunkFramingSize - static_cast<qint64>(payloadSize);
}

/// @return how many bytes of the chunk were written at the descriptor's position, with errno when
///         not all were
qint64 writeChunk(int fd, unsigned int type, const void* data, size_t size) {
    const auto size32 = static_cast<unsigned int>(size);
    ChunkHeaderBytes start = encodeChunkHeader(ChunkStartHeader::_headerStr, type, size32);
    ChunkHeaderBytes end = encodeChunkHeader(ChunkEndHeader::_headerStr, type, size32);
    // One call in place of three, which small frames show. iovec is not const-correct.
    iovec parts[] = {
        {start.data(), start.size()}, {const_cast<void*>(data), size}, {end.data(), end.size()}};
    return posix::writeAll(fd, parts, 3);
}

QString seekFailed() {
    return withSystemError("Cannot perform a seek in file: ");
}

QString previousUnreadable(int error) {
    return withSystemError(QStringLiteral("Could not read previous chunk data: "), error);
}

[[noreturn]] void failPayloadWrite(int error, const LocationInfo& location) {
    DATAIO_FAIL_AT(IOFileException, logger, SYSCALL, "FDCW_AC_WRITE",
                   withSystemError(QStringLiteral("Could not write all data: "), error), location);
}

/// Fails as the part of the chunk in which the write stopped.
[[noreturn]] void failWriteAfter(qint64 written, qint64 payloadSize, int error,
                                 const LocationInfo& location) {
    if (written >= chunkHeaderSize && written < chunkHeaderSize + payloadSize)
        failPayloadWrite(error, location);
    failChunkHeaderWrite(error, location);
}

bool hasBytesAt(int fd, qint64 offset, const ChunkHeaderBytes& expected) {
    ChunkHeaderBytes found{};
    const posix::ReadResult result = posix::readAllAt(fd, offset, found.data(), chunkHeaderSize);
    if (result.error != 0) {
        DATAIO_FAIL(
            IOFileException, logger, SYSCALL, "FDCW_HC_READ",
            withSystemError(QStringLiteral("Could not read chunk header data: "), result.error));
    }
    return result.count == chunkHeaderSize && found == expected;
}

}  // namespace

FDChunkWriter::FDChunkWriter() = default;

FDChunkWriter::~FDChunkWriter() {
    if (_fd == -1) return;
    const NoCancellation destroying;
    if (!inherited()) _endWriting();
    posix::close(_fd);
}

bool FDChunkWriter::inherited() const {
    return _fd != -1 && _process != ::getpid();
}

/// The last that is done to the file before its descriptor is closed.
void FDChunkWriter::_endWriting() {
    _removeTornChunk();
    // Not left to closing, which does not end it while a process that was forked off is there.
    posix::unlock(_fd);
}

void FDChunkWriter::fileDes(int fd) {
    _fd = fd;
    _process = ::getpid();
    _soundLength = -1;
    _halfReplaced.clear();
}

void FDChunkWriter::_checkOpen() const {
    if (_fd == -1) {
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "FDCW_AC_BADFD",
                    QStringLiteral("Cannot write in a non openned file."));
    }
}

int FDChunkWriter::addChunk(unsigned int type, const void* data, size_t size) {
    const qint64 lengthBefore = _reachCursor();
    if (!fits(_offset, size)) failPayloadWrite(EFBIG, DATAIO_HERE);
    const auto offset = static_cast<unsigned int>(_offset);
    _writeChunk(type, data, size, lengthBefore);
    return static_cast<int>(offset);
}

void FDChunkWriter::addUnlistedChunk(unsigned int type, const void* data, size_t size) {
    const qint64 lengthBefore = _reachCursor();
    if (!isPayloadSize(size)) failPayloadWrite(EFBIG, DATAIO_HERE);
    _writeChunk(type, data, size, lengthBefore);
}

void FDChunkWriter::markUnfinishedEnd() {
    const qint64 lengthBefore = _reachCursor();
    const ChunkHeaderBytes mark = unfinishedEndMark();
    _soundLength = lengthBefore;
    if (posix::writeAll(_fd, mark.data(), mark.size()) < chunkHeaderSize) {
        const int reason = errno;
        _removeTornChunk();
        failChunkHeaderWrite(reason, DATAIO_HERE);
    }
    _soundLength = -1;
    _offset += chunkHeaderSize;
}

/// Before something is written at the cursor.
/// @return the length of the file
qint64 FDChunkWriter::_reachCursor() {
    _checkOpen();
    if (!_removeTornChunk()) failPayloadWrite(errno, DATAIO_HERE);
    // The end as a position, which is told faster than the file's status.
    const qint64 lengthBefore = posix::seek(_fd, 0, SEEK_END);
    if (lengthBefore == -1 || posix::seek(_fd, _offset, SEEK_SET) == -1)
        failSeekBeforeWrite(logger, DATAIO_HERE);
    return lengthBefore;
}

void FDChunkWriter::_writeChunk(unsigned int type, const void* data, size_t size,
                                qint64 lengthBefore) {
    const auto chunkSize = static_cast<qint64>(size) + chunkFramingSize;
    _soundLength = lengthBefore;  // a thread that is cancelled in the middle leaves a torn chunk
    const qint64 written = writeChunk(_fd, type, data, size);
    if (written < chunkSize) {
        const int reason = errno;
        _removeTornChunk();
        failWriteAfter(written, static_cast<qint64>(size), reason, DATAIO_HERE);
    }
    _soundLength = -1;
    _offset += chunkSize;
}

bool FDChunkWriter::replaceChunk(qint64 offset, unsigned int type, const void* data,
                                 unsigned int size) {
    _checkOpen();
    const qint64 endHeader = offset + chunkHeaderSize + size;
    const ChunkHeaderBytes start = encodeChunkHeader(ChunkStartHeader::_headerStr, type, size);
    const ChunkHeaderBytes end = encodeChunkHeader(ChunkEndHeader::_headerStr, type, size);
    const ChunkHeaderBytes nothing{};
    const auto broken =
        std::find_if(_halfReplaced.begin(), _halfReplaced.end(),
                     [&](const HalfReplaced& chunk) { return chunk.offset == offset; });
    const bool isWhole = broken == _halfReplaced.end();
    const bool isThere =
        isWhole ? hasBytesAt(_fd, offset, start) && hasBytesAt(_fd, endHeader, end)
                : broken->type == type && broken->size == size &&
                      (hasBytesAt(_fd, offset, nothing) || hasBytesAt(_fd, offset, start));
    if (!isThere) return false;
    if (posix::seek(_fd, offset, SEEK_SET) == -1) failSeekBeforeWrite(logger, DATAIO_HERE);
    if (isWhole) makeRoomForOne(_halfReplaced);

    const NoCancellation replacing;  // a thread that ended in between would leave half a chunk
    qint64 written = 0;
    if (posix::writeAllAt(_fd, endHeader, nothing.data(), nothing.size()) == chunkHeaderSize)
        written = writeChunk(_fd, type, data, size);
    const int reason = errno;
    if (written == size + chunkFramingSize) {
        if (!isWhole) _halfReplaced.erase(broken);
        _offset = offset + written;
        return true;
    }
    const bool isOldOne = isWhole && written <= chunkHeaderSize;
    const bool isMended =
        isOldOne && posix::writeAllAt(_fd, endHeader, end.data(), end.size()) == chunkHeaderSize;
    // The movie may be finished nevertheless, and a reader looks at the start header alone.
    if (!isOldOne) posix::writeAllAt(_fd, offset, nothing.data(), nothing.size());
    if (isWhole && !isMended) _halfReplaced.push_back({offset, type, size});
    failWriteAfter(written, size, reason, DATAIO_HERE);
}

bool FDChunkWriter::_removeTornChunk() {
    if (_soundLength == -1) return true;
    const qint64 length = posix::fileSize(_fd);
    if (length == -1) return false;
    if (length > _soundLength && posix::truncate(_fd, _soundLength) == -1) return false;
    _soundLength = -1;
    return true;
}

void FDChunkWriter::closeFile() {
    if (_fd == -1) return;
    const bool isOurs = !inherited();
    if (isOurs) _endWriting();
    const int result = posix::close(_fd);
    _fd = -1;
    if (result == -1 && isOurs)
        DATAIO_FAIL(IOFileException, logger, SYSCALL, "FDCW_CF_CLOSE",
                    withSystemError("Could not close file: "));
}

bool FDChunkWriter::nextChunk(unsigned int type) {
    ChunkStartHeader header;
    if (!header.loadFD(_fd, _offset)) return false;
    if (header.type() != type) {
        if (posix::seek(_fd, _offset, SEEK_SET) == -1)
            DATAIO_FAIL(IOFileException, logger, SYSCALL, "FDCW_NC_SEEK", seekFailed());
        return false;
    }

    const qint64 payloadEnd = _offset + chunkHeaderSize + header.size();
    const qint64 fileSize = posix::fileSize(_fd);
    if (fileSize != -1 && payloadEnd > fileSize)
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "FDCW_NC_BOUND", chunkOutsideFile());
    const int error = fileSize == -1 ? errno : _readPayload(header.size());
    if (error != 0)
        DATAIO_FAIL(IOFileException, logger, SYSCALL, "FDCW_NC_READ",
                    withSystemError(QStringLiteral("Could not read next chunk data: "), error));
    _offset = payloadEnd;
    return true;
}

bool FDChunkWriter::prevChunk(unsigned int type) {
    ChunkEndHeader header;
    if (!header.loadFD(_fd, endHeaderOffset(_offset))) return false;
    if (header.type() != type) {
        if (posix::seek(_fd, _offset, SEEK_SET) == -1)
            DATAIO_FAIL(IOFileException, logger, SYSCALL, "FDCW_PC_SEEK1", seekFailed());
        return false;
    }

    const qint64 chunkStart = _offset - chunkFramingSize - header.size();
    if (chunkStart < 0)
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "FDCW_PC_BOUND", chunkOutsideFile());
    if (posix::seek(_fd, chunkStart + chunkHeaderSize, SEEK_SET) == -1)
        DATAIO_FAIL(IOFileException, logger, SYSCALL, "FDCW_PC_SEEK2", previousUnreadable(errno));
    if (const int error = _readPayload(header.size()); error != 0)
        DATAIO_FAIL(IOFileException, logger, SYSCALL, "FDCW_PC_READ", previousUnreadable(error));
    _offset = chunkStart;
    return true;
}

/// @return 0, or errno when the system failed
int FDChunkWriter::_readPayload(unsigned int size) {
    if (size > _capacity) {
        _data.reset(new char[size]);  // a failing allocation leaves the former payload
        _capacity = size;
    }
    _size = size;
    const posix::ReadResult result = posix::readAll(_fd, _data.get(), size);
    std::fill(_data.get() + result.count, _data.get() + size, '\0');
    return result.error;
}

bool FDChunkWriter::seek(qint64 offset) {
    const qint64 position = posix::seek(_fd, offset, SEEK_SET);
    if (position == -1) return false;
    _offset = position;
    return true;
}

bool FDChunkWriter::seekEnd() {
    if (!_removeTornChunk()) return false;
    const qint64 position = posix::seek(_fd, 0, SEEK_END);
    if (position == -1) return false;
    _offset = position;
    return true;
}

bool FDChunkWriter::seekPrev() {
    ChunkEndHeader header;
    if (!header.loadFD(_fd, endHeaderOffset(_offset))) return false;
    const qint64 chunkStart = _offset - chunkFramingSize - header.size();
    if (chunkStart < 0)
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "FDCW_PC_BOUND", chunkOutsideFile());
    if (chunkStart == 0) return false;
    _offset = chunkStart;
    return true;
}

void FDChunkWriter::truncateFile() {
    if (_removeTornChunk() && posix::truncate(_fd, _offset) != -1) return;
    const int error = errno;  // before a translator changes it
    DATAIO_FAIL(IOFileException, logger, SYSCALL, "FDCW_TRUNC",
                withSystemError(QObject::tr("Error while removing old index chunk:"), error));
}

void FDChunkWriter::dumpDebug() const {
    std::printf("------------------ FDChunkWriter %p\n", static_cast<const void*>(this));
    std::printf("size = %u\n", _size);
    std::printf("offset = %lld\n", static_cast<long long>(_offset));
    std::printf("fd = %u", static_cast<unsigned int>(_fd));
}

}  // namespace mz
