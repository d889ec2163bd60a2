#include <libDataIO/base/posixfile.h>
#include <libDataIO/chunkheader.h>
#include <libDataIO/dataiocommon.h>
#include <libDataIO/salvage/damagedmovie.h>
#include <libDataIO/salvage/salvagelog.h>

#include <fcntl.h>

#include <algorithm>

namespace mz {

namespace {

bool isInfo(const ChunkSpan& chunk) {
    return chunk.type == MZ_CT_INFO;
}

std::optional<ChunkInfo> loadedInfo(const QByteArray& payload) {
    ChunkInfo info;
    try {
        info.load(payload.constData(), static_cast<unsigned int>(payload.size()));
    } catch (const IOFileException&) {
        return std::nullopt;  // not all of its index is there
    }
    return info;
}

bool hasTraceOfAChunk(const ChunkScan& scan) {
    const auto beginsChunk = [](const ChunkGap& gap) { return gap.beginsChunk; };
    return !scan.chunks.empty() || std::any_of(scan.gaps.begin(), scan.gaps.end(), beginsChunk);
}

}  // namespace

std::optional<ChunkSpan> MovieRemains::wholeInfo() const {
    if (scan.chunks.empty() || !isInfo(scan.chunks.back())) return std::nullopt;
    return scan.chunks.back();
}

DamagedMovie::DamagedMovie(const QString& fileName) : _fileName(fileName) {
    _reader.openFile(fileName);
    const posix::Descriptor file(posix::open(fileName, O_RDONLY));
    if (file.get() == -1) failSalvageRead(errno);
    _remains.scan = scanChunks(file.get());
    // A length that nobody tells is not to be taken for that of an empty file, to which an info
    // chunk could be added.
    if (_remains.scan.fileSize == -1) failSalvageRead(errno);
    if (_remains.scan.fileSize > 0 && !hasTraceOfAChunk(_remains.scan)) {
        DATAIO_FAIL(IOFileException, salvageLogger, SOFTWARE, "IU_S_FORMAT",
                    QStringLiteral("File %1: no chunk found, bad file format.").arg(fileName));
    }
    _loadOwnInfo(file.get());
}

void DamagedMovie::_loadOwnInfo(int fd) {
    if (const auto broken = _brokenInfo(fd))
        _remains.ownInfo = loadedInfo(_infoPayload(fd, *broken));
    if (const auto whole = _remains.wholeInfo()) {
        _remains.wholeInfoPayload = _infoPayload(fd, *whole);
        if (!_remains.ownInfo) _remains.ownInfo = loadedInfo(_remains.wholeInfoPayload);
    }
}

/// The info chunk of which the file's last bytes are a part, with the size that it announces.
std::optional<ChunkSpan> DamagedMovie::_brokenInfo(int fd) {
    const ChunkScan& scan = _remains.scan;
    if (scan.gaps.empty()) return std::nullopt;
    const ChunkGap& gap = scan.gaps.back();
    if (gap.end() != scan.fileSize || gap.length < chunkHeaderSize) return std::nullopt;
    const QByteArray bytes = _bytesAt(fd, gap.offset, chunkHeaderSize);
    ChunkHeaderBytes header{};
    std::copy(bytes.begin(), bytes.end(), header.begin());
    ChunkSpan chunk{gap.offset, 0, 0};
    if (!decodeChunkHeader(header, ChunkStartHeader::_headerStr, chunk.type, chunk.size) ||
        !isInfo(chunk)) {
        return std::nullopt;
    }
    return chunk;
}

/// What there is of the payload of an info chunk, in whole lines: "width=51" may have been
/// "width=512".
QByteArray DamagedMovie::_infoPayload(int fd, const ChunkSpan& chunk) {
    const qint64 begin = chunk.offset + chunkHeaderSize;
    QByteArray payload =
        _bytesAt(fd, begin, std::min<qint64>(chunk.size, _remains.scan.fileSize - begin));
    if (payload.size() < qint64{chunk.size}) payload.truncate(payload.lastIndexOf('\n') + 1);
    return payload;
}

/// What the disk does not give must not be taken for missing: the scan keeps the reason.
QByteArray DamagedMovie::_bytesAt(int fd, qint64 offset, qint64 size) {
    const posix::ReadBytes read = posix::bytesAt(fd, offset, size);
    if (_remains.scan.readError == 0) _remains.scan.readError = read.error;
    return read.bytes;
}

const char* DamagedMovie::payload(const ChunkSpan& chunk) {
    if (!_reader.seek(chunk.offset) || !_reader.nextChunk(chunk.type) ||
        _reader.chunkSize() != chunk.size) {
        failSalvageBusy(_fileName);
    }
    return static_cast<const char*>(_reader.data());
}

}  // namespace mz
