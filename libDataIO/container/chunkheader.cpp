#include <libDataIO/container/chunkframing.h>
#include <libDataIO/chunkheader.h>
#include <libDataIO/base/posixfile.h>
#include <libLog/failure.h>

#include <QtEndian>

#include <algorithm>

namespace mz {

namespace {

Logger* const logger = Logger::logger(QStringLiteral("dataio.chunkheader"));

// Type and size lie between the fixed bytes of a header.
constexpr int typeAt = 6;
constexpr int sizeAt = 10;
constexpr int trailerAt = 14;

bool isHeader(ChunkHeaderBytes const& bytes, const char* text) {
    return std::equal(bytes.begin(), bytes.begin() + typeAt, text) &&
           std::equal(bytes.begin() + trailerAt, bytes.end(), text + trailerAt);
}

}  // namespace

ChunkHeaderBytes encodeChunkHeader(const char* text, unsigned int type, unsigned int size) {
    ChunkHeaderBytes bytes;
    std::copy_n(text, bytes.size(), bytes.begin());
    qToBigEndian<quint32>(type, &bytes[typeAt]);
    qToBigEndian<quint32>(size, &bytes[sizeAt]);
    return bytes;
}

bool decodeChunkHeader(ChunkHeaderBytes const& bytes, const char* text, unsigned int& type,
                       unsigned int& size) {
    if (!isHeader(bytes, text)) return false;
    type = qFromBigEndian<quint32>(&bytes[typeAt]);
    size = qFromBigEndian<quint32>(&bytes[sizeAt]);
    return true;
}

void failChunkHeaderWrite(LocationInfo const& location) {
    // The text names the start header for end headers as well; applications know it so.
    DATAIO_FAIL_AT(IOFileException, logger, SYSCALL, "CHB_WFD_WRITE",
                   withSystemError("Could not write chunk start header: "), location);
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
    errno = 0;  // a file that ends inside the header sets none
    const ssize_t count = posix::read(fd, bytes.data(), bytes.size());
    if (count == 0) return false;
    if (count < chunkHeaderSize)
        DATAIO_FAIL(IOFileException, logger, SYSCALL, "CHB_LDF_READ",
                    withSystemError("Could not read chunk header data: "));
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
    errno = 0;
    const ssize_t count = posix::write(fd, bytes.data(), bytes.size());
    if (count < chunkHeaderSize) {
        if (errno == 0) errno = ENOSPC;  // a full device takes what it can without a reason
        failChunkHeaderWrite(DATAIO_HERE);
    }
    return true;
}

}  // namespace mz
