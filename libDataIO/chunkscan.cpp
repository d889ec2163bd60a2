#include <libDataIO/chunkframing.h>
#include <libDataIO/chunkheader.h>
#include <libDataIO/chunkscan.h>
#include <libDataIO/dataiocommon.h>
#include <libDataIO/posixfile.h>

#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace mz {

namespace {

constexpr size_t searchWindow = 1 << 20;
constexpr size_t tagSize = 6;  // what a header begins with

struct Header {
    unsigned int type;
    unsigned int size;
};

/// Reads up to `size` bytes from an offset; fewer at the end of the file or of what is readable.
size_t readAt(int fd, qint64 offset, char* bytes, size_t size) {
    size_t count = 0;
    if (posix::seek(fd, offset, SEEK_SET) == -1) return 0;
    while (count < size) {
        const ssize_t got = posix::read(fd, bytes + count, size - count);
        if (got <= 0) break;
        count += static_cast<size_t>(got);
    }
    return count;
}

boost::optional<Header> headerAt(int fd, qint64 offset, const char* text) {
    ChunkHeaderBytes bytes{};
    Header header{};
    if (readAt(fd, offset, bytes.data(), bytes.size()) < bytes.size() ||
        !decodeChunkHeader(bytes, text, header.type, header.size)) {
        return boost::none;
    }
    return header;
}

boost::optional<ChunkSpan> wholeChunkAt(int fd, qint64 offset, qint64 fileSize) {
    const auto start = headerAt(fd, offset, ChunkStartHeader::_headerStr);
    if (!start) return boost::none;
    const ChunkSpan chunk{offset, start->type, start->size};
    if (chunk.end() > fileSize) return boost::none;
    const auto end = headerAt(fd, chunk.end() - chunkHeaderSize, ChunkEndHeader::_headerStr);
    if (!end || end->type != start->type || end->size != start->size) return boost::none;
    return chunk;
}

/// Whether a start header stands there, or the beginning of one at which the file was cut.
bool beginsChunk(int fd, qint64 offset, qint64 fileSize) {
    if (headerAt(fd, offset, ChunkStartHeader::_headerStr)) return true;
    ChunkHeaderBytes bytes{};
    const qint64 left = fileSize - offset;
    if (left >= chunkHeaderSize) return false;
    const size_t count = readAt(fd, offset, bytes.data(), static_cast<size_t>(left));
    return std::memcmp(bytes.data(), ChunkStartHeader::_headerStr, std::min(count, tagSize)) == 0;
}

/// The first whole chunk of a known type behind an offset.
boost::optional<ChunkSpan> nextWholeChunk(int fd, qint64 offset, qint64 fileSize) {
    std::vector<char> window(searchWindow);
    while (offset < fileSize) {
        const size_t count = readAt(fd, offset, window.data(), window.size());
        for (size_t at = 0; at < count;) {
            const void* tag =
                memmem(window.data() + at, count - at, ChunkStartHeader::_headerStr, tagSize);
            if (tag == nullptr) break;
            at = static_cast<size_t>(static_cast<const char*>(tag) - window.data());
            const auto chunk = wholeChunkAt(fd, offset + static_cast<qint64>(at), fileSize);
            if (chunk && chunk->type <= MZ_CT_LASERPOWER) return chunk;
            ++at;
        }
        // Windows overlap by less than a tag, so that none is missed between them; an unreadable
        // place is stepped over.
        offset += count > tagSize ? static_cast<qint64>(count - tagSize + 1) : 512;
    }
    return boost::none;
}

}  // namespace

qint64 ChunkSpan::end() const {
    return offset + chunkFramingSize + size;
}

boost::optional<ChunkGap> ChunkScan::tornEnd() const {
    if (gaps.empty() || gaps.back().offset + gaps.back().length != fileSize) return boost::none;
    return gaps.back();
}

ChunkScan scanChunks(int fd) {
    ChunkScan scan;
    scan.fileSize = std::max<qint64>(posix::fileSize(fd), 0);
    qint64 offset = 0;
    while (offset < scan.fileSize) {
        auto chunk = wholeChunkAt(fd, offset, scan.fileSize);
        if (!chunk) {
            chunk = nextWholeChunk(fd, offset + 1, scan.fileSize);
            const qint64 resumed = chunk ? chunk->offset : scan.fileSize;
            scan.gaps.push_back({offset, resumed - offset, beginsChunk(fd, offset, scan.fileSize)});
            if (!chunk) break;
        }
        scan.chunks.push_back(*chunk);
        offset = chunk->end();
    }
    return scan;
}

}  // namespace mz
