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
constexpr qint64 unreadableStep = 512;

struct Header {
    unsigned int type;
    unsigned int size;
};

class Scanner {
public:
    explicit Scanner(int fd) : _fd(fd) { _scan.fileSize = posix::fileSize(fd); }

    ChunkScan scan() {
        qint64 offset = 0;
        while (offset < _scan.fileSize) {
            auto chunk = _wholeChunkAt(offset);
            if (!chunk) {
                chunk = _nextWholeChunk(offset + 1);
                const qint64 end = chunk ? chunk->offset : _scan.fileSize;
                _scan.gaps.push_back(
                    {offset, end - offset, _beginsChunk(offset), !chunk && _isTorn(offset)});
                if (!chunk) break;
            }
            _scan.chunks.push_back(*chunk);
            offset = chunk->end();
        }
        return std::move(_scan);
    }

private:
    /// Reads up to `size` bytes; fewer at the end of the file or of what is readable.
    size_t _read(qint64 offset, char* bytes, size_t size) {
        const posix::ReadResult result =
            posix::readAllAt(_fd, offset, bytes, static_cast<qint64>(size));
        if (_scan.readError == 0) _scan.readError = result.error;
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
            offset += count >= chunkTagSize ? static_cast<qint64>(count - chunkTagSize + 1)
                                            : unreadableStep;
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
    std::vector<char> _window;
};

}  // namespace

qint64 ChunkScan::soundEnd() const {
    return !gaps.empty() && gaps.back().isTorn ? gaps.back().offset : fileSize;
}

ChunkScan scanChunks(int fd) {
    return Scanner(fd).scan();
}

}  // namespace mz
