#include <libDataIO/base/posixfile.h>
#include <libDataIO/chunkheader.h>
#include <libDataIO/container/chunktypes.h>
#include <libDataIO/dataiocommon.h>
#include <libDataIO/filereader.h>
#include <libDataIO/salvage/damagedmovie.h>
#include <libDataIO/salvage/salvagelog.h>

#include <fcntl.h>

#include <algorithm>
#include <utility>

namespace mz {

namespace {

constexpr qint64 largestPiece = 1 << 20;

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

/// Its refusals are those of a movie that is opened.
int openForReading(const QString& fileName) {
    FileReader().openFile(fileName);
    const int fd = posix::open(fileName, O_RDONLY);
    if (fd == -1) failSalvageRead(errno);
    return fd;
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

DamagedMovie::DamagedMovie(const QString& fileName)
    : _fileName(fileName), _file(openForReading(fileName)) {
    _remains.scan = scanChunks(_file.get());
    // A length that nobody tells is not to be taken for that of an empty file, to which an info
    // chunk could be added.
    if (_remains.scan.fileSize == -1) failSalvageRead(_remains.scan.readError);
    if (_remains.scan.fileSize > 0 && !hasTraceOfAChunk(_remains.scan)) {
        DATAIO_FAIL(IOFileException, salvageLogger, SOFTWARE, "IU_S_FORMAT",
                    QStringLiteral("File %1: no chunk found, bad file format.").arg(fileName));
    }
    _takeOutUnreadable();
    _loadOwnInfo();
}

/// An index that lists a chunk which cannot be read would make a movie that cannot be opened.
void DamagedMovie::_takeOutUnreadable() {
    const auto isUnreadable = [&](const ChunkSpan& chunk) {
        if (roleOfChunk(chunk.type) == ChunkRole::Frame || isInfo(chunk)) return false;
        const int error = readThrough(chunk);
        if (error != 0) _remains.unreadable.push_back({chunk, error});
        return error != 0;
    };
    std::vector<ChunkSpan>& chunks = _remains.scan.chunks;
    chunks.erase(std::remove_if(chunks.begin(), chunks.end(), isUnreadable), chunks.end());
}

/// Whoever writes an info chunk behind a whole one knew what that says, but what was written last
/// may be missing here; and where all of it is there, it is the later one.
void DamagedMovie::_loadOwnInfo() {
    std::optional<ChunkInfo> torn;
    bool isTornComplete = false;
    if (const auto broken = _brokenInfo()) {
        torn = loadedInfo(_infoPayload(*broken));
        isTornComplete = broken->end() - chunkHeaderSize <= _remains.scan.fileSize;
    }
    if (const auto whole = _remains.wholeInfo()) {
        _remains.wholeInfoPayload = _infoPayload(*whole);
        if (!torn || !isTornComplete) _remains.ownInfo = loadedInfo(_remains.wholeInfoPayload);
    }
    if (!_remains.ownInfo) _remains.ownInfo = std::move(torn);
}

/// The info chunk of which the file's last bytes are a part, with the size that it announces.
std::optional<ChunkSpan> DamagedMovie::_brokenInfo() {
    const ChunkScan& scan = _remains.scan;
    if (scan.gaps.empty()) return std::nullopt;
    const ChunkGap& gap = scan.gaps.back();
    if (gap.end() != scan.fileSize || gap.length < chunkHeaderSize) return std::nullopt;
    const QByteArray bytes = _bytesAt(gap.offset, chunkHeaderSize);
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
QByteArray DamagedMovie::_infoPayload(const ChunkSpan& chunk) {
    const qint64 begin = chunk.offset + chunkHeaderSize;
    QByteArray payload =
        _bytesAt(begin, std::min<qint64>(chunk.size, _remains.scan.fileSize - begin));
    if (payload.size() < qint64{chunk.size}) payload.truncate(payload.lastIndexOf('\n') + 1);
    return payload;
}

/// What the disk does not give must not be taken for missing: the scan keeps the reason.
QByteArray DamagedMovie::_bytesAt(qint64 offset, qint64 size) {
    const posix::ReadBytes read = posix::bytesAt(_file.get(), offset, size);
    if (_remains.scan.readError == 0) _remains.scan.readError = read.error;
    return read.bytes;
}

int DamagedMovie::_checkHeader(const ChunkSpan& chunk) {
    const posix::ReadBytes read = posix::bytesAt(_file.get(), chunk.offset, chunkHeaderSize);
    if (read.error != 0) return read.error;
    const ChunkHeaderBytes expected =
        encodeChunkHeader(ChunkStartHeader::_headerStr, chunk.type, chunk.size);
    if (!std::equal(read.bytes.begin(), read.bytes.end(), expected.begin(), expected.end()))
        failSalvageBusy(_fileName);
    return 0;
}

/// Reads as many bytes as there is room for.
int DamagedMovie::_read(qint64 offset, QByteArray& bytes) {
    const posix::ReadResult result =
        posix::readAllAt(_file.get(), offset, bytes.data(), bytes.size());
    if (result.error == 0 && result.count < bytes.size()) failSalvageBusy(_fileName);
    return result.error;
}

int DamagedMovie::read(const ChunkSpan& chunk, QByteArray& payload) {
    if (const int error = _checkHeader(chunk); error != 0) return error;
    if (payload.capacity() < qint64{chunk.size})
        payload = QByteArray(chunk.size, Qt::Uninitialized);
    else
        payload.resize(chunk.size);
    return _read(chunk.offset + chunkHeaderSize, payload);
}

int DamagedMovie::readThrough(const ChunkSpan& chunk) {
    int error = _checkHeader(chunk);
    QByteArray piece(std::min<qint64>(chunk.size, largestPiece), Qt::Uninitialized);
    for (qint64 done = 0; error == 0 && done < chunk.size; done += piece.size()) {
        piece.resize(std::min<qint64>(chunk.size - done, largestPiece));
        error = _read(chunk.offset + chunkHeaderSize + done, piece);
    }
    return error;
}

QByteArray DamagedMovie::payload(const ChunkSpan& chunk) {
    QByteArray bytes;
    if (const int error = read(chunk, bytes); error != 0) failSalvageRead(error);
    return bytes;
}

}  // namespace mz
