#include <libDataIO/base/posixfile.h>
#include <libDataIO/chunkheader.h>
#include <libDataIO/dataiocommon.h>
#include <libDataIO/salvage/damagedmovie.h>
#include <libDataIO/salvage/salvagelog.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

namespace mz {

Logger* const salvageLogger = Logger::logger(QStringLiteral("dataio.imageutilities"));

namespace {

bool isInfo(ChunkSpan const& chunk) {
    return chunk.type == MZ_CT_INFO;
}

boost::optional<ChunkInfo> loadedInfo(QByteArray const& payload) {
    ChunkInfo info;
    try {
        info.load(payload.constData(), static_cast<unsigned int>(payload.size()));
    } catch (IOFileException const&) {
        return boost::none;  // not all of its index is there
    }
    return info;
}

}  // namespace

DamagedMovie::DamagedMovie(QString const& fileName) {
    _reader.openFile(fileName);
    const posix::Descriptor file(posix::open(fileName, O_RDONLY));
    if (file.get() != -1) _scan = scanChunks(file.get());
    if (_scan.fileSize == -1) {
        // Not to be taken for an empty file, to which an info chunk could be added.
        DATAIO_FAIL(IOFileException, salvageLogger, SYSCALL, "IU_S_READ",
                    withSystemError("Could not read file: "));
    }
    const auto beginsChunk = [](ChunkGap const& gap) { return gap.beginsChunk; };
    if (_scan.chunks.empty() && !_scan.gaps.empty() &&
        std::none_of(_scan.gaps.begin(), _scan.gaps.end(), beginsChunk)) {
        DATAIO_FAIL(IOFileException, salvageLogger, SOFTWARE, "IU_S_FORMAT",
                    QStringLiteral("File %1: no chunk found, bad file format.").arg(fileName));
    }
    _loadOwnInfo(file.get());
}

boost::optional<ChunkSpan> DamagedMovie::wholeInfo() const {
    if (_scan.chunks.empty() || !isInfo(_scan.chunks.back())) return boost::none;
    return _scan.chunks.back();
}

/// What the disk does not give must not be taken for missing.
QByteArray DamagedMovie::_bytesAt(int fd, qint64 offset, qint64 size) {
    posix::ReadBytes read = posix::bytesAt(fd, offset, size);
    if (read.bytes.size() < size && _scan.readError == 0)
        _scan.readError = read.error != 0 ? read.error : EIO;
    return read.bytes;
}

/// The info chunk of which the file's last bytes are a part, with the size that it announces.
boost::optional<ChunkSpan> DamagedMovie::_brokenInfo(int fd) {
    if (_scan.gaps.empty()) return boost::none;
    ChunkGap const& gap = _scan.gaps.back();
    if (gap.end() != _scan.fileSize || gap.length < chunkHeaderSize) return boost::none;
    const QByteArray bytes = _bytesAt(fd, gap.offset, chunkHeaderSize);
    ChunkHeaderBytes header{};
    std::copy(bytes.begin(), bytes.end(), header.begin());
    ChunkSpan chunk{gap.offset, 0, 0};
    if (!decodeChunkHeader(header, ChunkStartHeader::_headerStr, chunk.type, chunk.size) ||
        !isInfo(chunk)) {
        return boost::none;
    }
    return chunk;
}

void DamagedMovie::_loadOwnInfo(int fd) {
    if (const auto broken = _brokenInfo(fd)) {
        QByteArray payload = _bytesAt(
            fd, broken->offset + chunkHeaderSize,
            std::min<qint64>(broken->size, _scan.fileSize - broken->offset - chunkHeaderSize));
        // "width=51" may have been "width=512".
        if (payload.size() < qint64{broken->size}) payload.truncate(payload.lastIndexOf('\n') + 1);
        _ownInfo = loadedInfo(payload);
    }
    if (const auto whole = wholeInfo(); whole && !_ownInfo)
        _ownInfo = loadedInfo(_bytesAt(fd, whole->offset + chunkHeaderSize, whole->size));
}

const char* DamagedMovie::payload(ChunkSpan const& chunk) {
    errno = 0;
    if (!_reader.seek(chunk.offset) || !_reader.nextChunk(chunk.type) ||
        _reader.chunkSize() != chunk.size) {
        DATAIO_FAIL(IOFileException, salvageLogger, SYSCALL, "IU_S_READ",
                    withSystemError("Could not read file: "));
    }
    return static_cast<const char*>(_reader.data());
}

}  // namespace mz
