#include <libDataIO/base/posixfile.h>
#include <libDataIO/chunkheader.h>
#include <libDataIO/container/chunkscan.h>
#include <libDataIO/container/chunktypes.h>

#include <algorithm>
#include <cstring>
#include <optional>

namespace mz {

namespace {

// A search begins small, since most gaps are short and there may be millions of them.
constexpr size_t firstWindow = 4 << 10;
constexpr size_t largestWindow = 1 << 20;
constexpr qint64 sectorSize = 512;  // of disks, or a part of theirs

struct Header {
    unsigned int type;
    unsigned int size;
};

/// What stands in front of such a chunk counts: behind a mark an end is complete with its info
/// chunk, and frames stay whatever was cut in front of them.
bool endsUnfinished(const ChunkSpan& chunk) {
    return roleOfChunk(chunk.type) != ChunkRole::Trailing || chunk.type == MZ_CT_INFO;
}

class Scanner {
public:
    Scanner(int fd, qint64 fileSize) : _fd(fd) { _scan.fileSize = fileSize; }

    ChunkScan scan() {
        qint64 offset = 0;
        while (offset < _scan.fileSize) {
            _failure = {};
            auto chunk = _wholeChunkAt(offset);
            if (!chunk) {
                chunk = _nextWholeChunk(offset + 1);
                const qint64 end = chunk ? chunk->offset : _scan.fileSize;
                ChunkGap gap{offset, end - offset, _beginsChunk(offset), !chunk && _isTorn(offset)};
                // A search reads on into chunks that are whole.
                if (_failure.offset < end) gap.readError = _failure.error;
                if (_scan.readError == 0) _scan.readError = gap.readError;
                _scan.gaps.push_back(gap);
                if (!chunk) break;
            }
            if (endsUnfinished(*chunk)) _mark.reset();
            _scan.chunks.push_back(*chunk);
            offset = chunk->end();
        }
        return std::move(_scan);
    }

    /// Where an unfinished end begins, when all has been scanned; empty when there is none.
    std::optional<qint64> unfinishedEnd() const { return _mark; }

private:
    struct Failure {
        qint64 offset = 0;
        int error = 0;
    };

    /// Reads up to `size` bytes; fewer at the end of the file or of what is readable.
    size_t _read(qint64 offset, char* bytes, size_t size) {
        const posix::ReadResult result =
            posix::readAllAt(_fd, offset, bytes, static_cast<qint64>(size));
        const qint64 end = offset + result.count;
        if (result.error != 0 && (_failure.error == 0 || end < _failure.offset))
            _failure = {end, result.error};
        return static_cast<size_t>(result.count);
    }

    std::optional<Header> _headerAt(qint64 offset, const char* text) {
        ChunkHeaderBytes bytes{};
        Header header{};
        if (offset < 0 || _read(offset, bytes.data(), bytes.size()) < bytes.size() ||
            !decodeChunkHeader(bytes, text, header.type, header.size)) {
            return std::nullopt;
        }
        return header;
    }

    /// The chunk that a start header announces, whether it is whole or not.
    std::optional<ChunkSpan> _announcedAt(qint64 offset) {
        const auto start = _headerAt(offset, ChunkStartHeader::_headerStr);
        if (!start) return std::nullopt;
        if (!_mark && isUnfinishedEndMark(start->type, start->size)) _mark = offset;
        return ChunkSpan{offset, start->type, start->size};
    }

    std::optional<ChunkSpan> _wholeChunkAt(qint64 offset) {
        auto chunk = _announcedAt(offset);
        if (!chunk || chunk->end() > _scan.fileSize) return std::nullopt;
        const auto end = _headerAt(chunk->end() - chunkHeaderSize, ChunkEndHeader::_headerStr);
        if (!end || end->type != chunk->type || end->size != chunk->size) return std::nullopt;
        return chunk;
    }

    /// The first whole chunk of a known type from an offset on.
    std::optional<ChunkSpan> _nextWholeChunk(qint64 offset) {
        for (size_t size = firstWindow; offset < _scan.fileSize;
             size = std::min(2 * size, largestWindow)) {
            if (_window.size() < size) _window.resize(size);
            const size_t count = _read(offset, _window.data(), size);
            if (auto chunk = _firstWholeChunkIn(offset, count)) return chunk;
            // Windows overlap by less than a tag, so that none is missed between them.
            if (count >= chunkTagSize)
                offset += static_cast<qint64>(count - chunkTagSize + 1);
            else
                offset = (offset / sectorSize + 1) * sectorSize;
        }
        return std::nullopt;
    }

    std::optional<ChunkSpan> _firstWholeChunkIn(qint64 offset, size_t count) {
        const char* const begin = _window.data();
        const char* const end = begin + count;
        for (const char* at = begin; at != end; ++at) {
            at = static_cast<const char*>(memmem(at, static_cast<size_t>(end - at),
                                                 ChunkStartHeader::_headerStr, chunkTagSize));
            if (at == nullptr) break;
            auto chunk = _wholeChunkAt(offset + (at - begin));
            if (chunk && roleOfChunk(chunk->type)) return chunk;
        }
        return std::nullopt;
    }

    /// How many bytes at the end of the file are the first of a start header, 0 when they are not.
    size_t _cutHeaderAt(qint64 offset) {
        ChunkHeaderBytes bytes{};
        const qint64 left = _scan.fileSize - offset;
        if (left >= chunkHeaderSize) return 0;
        const auto size = static_cast<size_t>(left);
        const bool isStart = _read(offset, bytes.data(), size) == size &&
                             beginsChunkHeader(bytes.data(), size, ChunkStartHeader::_headerStr);
        return isStart ? size : 0;
    }

    bool _beginsChunk(qint64 offset) {
        return _announcedAt(offset).has_value() || _cutHeaderAt(offset) >= chunkTagSize;
    }

    bool _isTorn(qint64 offset) {
        const auto chunk = _announcedAt(offset);
        if (!chunk) return _cutHeaderAt(offset) > 0;
        if (chunk->end() <= _scan.fileSize) return false;
        // Where the file ends with the end of that very chunk, nothing is missing: the size in its
        // start header is wrong.
        const auto end = _headerAt(_scan.fileSize - chunkHeaderSize, ChunkEndHeader::_headerStr);
        return !end || ChunkSpan{offset, end->type, end->size}.end() != _scan.fileSize;
    }

    int _fd;
    ChunkScan _scan;
    Failure _failure;             ///< the foremost since the end of the last whole chunk
    std::optional<qint64> _mark;  ///< the first behind the last chunk that ends what was unfinished
    std::vector<char> _window;
};

}  // namespace

qint64 ChunkScan::soundEnd() const {
    return !gaps.empty() && gaps.back().isTorn ? gaps.back().offset : fileSize;
}

ChunkScan scanChunks(int fd) {
    const qint64 fileSize = posix::fileSize(fd);
    if (fileSize == -1) {
        ChunkScan none;
        none.readError = errno;
        return none;
    }
    Scanner scanner(fd, fileSize);
    ChunkScan scan = scanner.scan();
    const std::optional<qint64> mark = scanner.unfinishedEnd();
    if (!mark) return scan;
    // Whether a chunk is torn is asked again, of the file as it was.
    scan = Scanner(fd, *mark).scan();
    scan.unfinishedBytes = fileSize - *mark;
    return scan;
}

}  // namespace mz
