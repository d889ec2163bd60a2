#include <libDataIO/base/posixfile.h>
#include <libDataIO/chunkheader.h>
#include <libDataIO/container/chunkframing.h>
#include <libDataIO/dataiocommon.h>
#include <libLog/failure.h>

#include <QtEndian>

#include <algorithm>

namespace mz {

namespace {

Logger* const logger = Logger::logger(QStringLiteral("dataio.chunkheader"));

/// With its framing, a chunk of that size would leave any file.
constexpr unsigned int sizeOfNoChunk = std::numeric_limits<quint32>::max();

}  // namespace

bool beginsChunkHeader(const char* bytes, size_t count, const char* text) {
    return std::equal(bytes, bytes + std::min(count, chunkTagSize), text) &&
           (count <= chunkTrailerAt ||
            std::equal(bytes + chunkTrailerAt, bytes + count, text + chunkTrailerAt));
}

ChunkHeaderBytes encodeChunkHeader(const char* text, unsigned int type, unsigned int size) {
    ChunkHeaderBytes bytes;
    std::copy_n(text, bytes.size(), bytes.begin());
    qToBigEndian<quint32>(type, &bytes[chunkTypeAt]);
    qToBigEndian<quint32>(size, &bytes[chunkSizeAt]);
    return bytes;
}

bool decodeChunkHeader(const ChunkHeaderBytes& bytes, const char* text, unsigned int& type,
                       unsigned int& size) {
    if (!beginsChunkHeader(bytes.data(), bytes.size(), text)) return false;
    type = qFromBigEndian<quint32>(&bytes[chunkTypeAt]);
    size = qFromBigEndian<quint32>(&bytes[chunkSizeAt]);
    return true;
}

ChunkHeaderBytes unfinishedEndMark() {
    return encodeChunkHeader(ChunkStartHeader::_headerStr, MZ_CT_INFO, sizeOfNoChunk);
}

bool isUnfinishedEndMark(unsigned int type, unsigned int size) {
    return type == MZ_CT_INFO && size == sizeOfNoChunk;
}

void failChunkHeaderWrite(int error, const LocationInfo& location) {
    // Of end headers as well: they are written with the start header, in one call.
    DATAIO_FAIL_AT(IOFileException, logger, SYSCALL, "CHB_WFD_WRITE",
                   withSystemError(QStringLiteral("Could not write chunk start header: "), error),
                   location);
}

ChunkHeaderBase::~ChunkHeaderBase() = default;
ChunkStartHeader::~ChunkStartHeader() = default;
ChunkEndHeader::~ChunkEndHeader() = default;

const char* const ChunkStartHeader::_headerStr = "\n<CSTA        >\n";
const char* const ChunkEndHeader::_headerStr = "\n<CEND        >\n";

const char* ChunkStartHeader::_header() const {
    return _headerStr;
}

const char* ChunkEndHeader::_header() const {
    return _headerStr;
}

bool ChunkHeaderBase::loadFD(int fd) {
    ChunkHeaderBytes bytes;
    // A file that ends inside the header gives no error.
    const auto [count, error] = posix::readAll(fd, bytes.data(), chunkHeaderSize);
    if (count == 0 && error == 0) return false;
    if (count < chunkHeaderSize)
        DATAIO_FAIL(IOFileException, logger, SYSCALL, "CHB_LDF_READ",
                    withSystemError(QStringLiteral("Could not read chunk header data: "), error));
    if (!decodeChunkHeader(bytes, _header(), _type, _size))
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "CHB_LFD_PARSE",
                    QStringLiteral("Cannot read chunk header, file may be corrupted."));
    return true;
}

bool ChunkHeaderBase::loadFD(int fd, qint64 offset) {
    if (offset < 0) return false;
    if (posix::seek(fd, offset, SEEK_SET) == -1)
        DATAIO_FAIL(IOFileException, logger, SYSCALL, "CHB_LFD_SEEK",
                    withSystemError("Could not seek data: "));
    return loadFD(fd);
}

bool ChunkHeaderBase::writeFD(int fd) {
    const ChunkHeaderBytes bytes = encodeChunkHeader(_header(), _type, _size);
    if (posix::writeAll(fd, bytes.data(), bytes.size()) < chunkHeaderSize)
        failChunkHeaderWrite(errno, DATAIO_HERE);
    return true;
}

}  // namespace mz
