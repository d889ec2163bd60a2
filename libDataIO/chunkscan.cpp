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

struct Source {
    int fd;
    qint64 size;
    int error = 0;  ///< of the last read that failed
};

/// Reads up to `size` bytes from an offset; fewer at the end of the file or of what is readable.
size_t readAt(Source& file, qint64 offset, char* bytes, size_t size) {
    size_t count = 0;
    ssize_t got = posix::seek(file.fd, offset, SEEK_SET) == -1 ? -1 : 1;
    while (got > 0 && count < size) {
        got = posix::read(file.fd, bytes + count, size - count);
        if (got > 0) count += static_cast<size_t>(got);
    }
    if (got == -1) file.error = errno;
    return count;
}

boost::optional<Header> headerAt(Source& file, qint64 offset, const char* text) {
    ChunkHeaderBytes bytes{};
    Header header{};
    if (readAt(file, offset, bytes.data(), bytes.size()) < bytes.size() ||
        !decodeChunkHeader(bytes, text, header.type, header.size)) {
        return boost::none;
    }
    return header;
}

boost::optional<ChunkSpan> wholeChunkAt(Source& file, qint64 offset) {
    const auto start = headerAt(file, offset, ChunkStartHeader::_headerStr);
    if (!start) return boost::none;
    const ChunkSpan chunk{offset, start->type, start->size};
    if (chunk.end() > file.size) return boost::none;
    const auto end = headerAt(file, chunk.end() - chunkHeaderSize, ChunkEndHeader::_headerStr);
    if (!end || end->type != start->type || end->size != start->size) return boost::none;
    return chunk;
}

/// Whether a start header stands there, or the beginning of one at which the file was cut.
bool beginsChunk(Source& file, qint64 offset) {
    if (headerAt(file, offset, ChunkStartHeader::_headerStr)) return true;
    ChunkHeaderBytes bytes{};
    const qint64 left = file.size - offset;
    if (left >= chunkHeaderSize) return false;
    const size_t count = readAt(file, offset, bytes.data(), static_cast<size_t>(left));
    return std::memcmp(bytes.data(), ChunkStartHeader::_headerStr, std::min(count, tagSize)) == 0;
}

/// The first whole chunk of a known type behind an offset.
boost::optional<ChunkSpan> nextWholeChunk(Source& file, qint64 offset) {
    std::vector<char> window(searchWindow);
    while (offset < file.size) {
        const size_t count = readAt(file, offset, window.data(), window.size());
        for (size_t at = 0; at < count;) {
            const void* tag =
                memmem(window.data() + at, count - at, ChunkStartHeader::_headerStr, tagSize);
            if (tag == nullptr) break;
            at = static_cast<size_t>(static_cast<const char*>(tag) - window.data());
            const auto chunk = wholeChunkAt(file, offset + static_cast<qint64>(at));
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

ChunkScan scanChunks(int fd, qint64 fileSize) {
    Source file{fd, fileSize};
    ChunkScan scan;
    scan.fileSize = fileSize;
    qint64 offset = 0;
    while (offset < fileSize) {
        auto chunk = wholeChunkAt(file, offset);
        if (!chunk) {
            chunk = nextWholeChunk(file, offset + 1);
            const qint64 resumed = chunk ? chunk->offset : fileSize;
            scan.gaps.push_back({offset, resumed - offset, beginsChunk(file, offset)});
            if (!chunk) break;
        }
        scan.chunks.push_back(*chunk);
        offset = chunk->end();
    }
    scan.readError = file.error;
    return scan;
}

}  // namespace mz
