#include <libDataIO/container/filemapping.h>

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

namespace mz {

namespace {

/// Pages of views count as the process's own memory until they are given back, which costs time in
/// random order when it is done more often.
constexpr qint64 giveBackInterval = qint64{64} * 1024 * 1024;

qint64 pageSize() {
    return getpagesize();
}

qint64 pageStart(qint64 offset) {
    return offset / pageSize() * pageSize();
}

}  // namespace

FileMapping::~FileMapping() {
    _unmap(_chunk);
    _unmap(_file);
}

FileMapping::Region FileMapping::_map(int fd, qint64 offset, size_t length) {
    void* start = mmap(nullptr, length, PROT_READ, MAP_PRIVATE, fd, offset);
    if (start == MAP_FAILED) return {};
    return {static_cast<char*>(start), length};
}

bool FileMapping::_unmap(Region& region) {
    if (region.start != nullptr && munmap(region.start, region.length) == -1) return false;
    region = {};
    return true;
}

bool FileMapping::_release() {
    if (!_unmap(_chunk)) return false;
    if (!_fileChanged) return true;
    if (!_unmap(_file)) return false;
    _fileChanged = false;
    return true;
}

const char* FileMapping::view(int fd, qint64 fileSize, qint64 offset, qint64 length) {
    if (const char* start = _viewWholeFile(fd, fileSize, offset, length)) return start;
    // One page more than the view covers it wherever it begins in its first page.
    const qint64 begin = pageStart(offset);
    _chunk = _map(fd, begin, static_cast<size_t>(pageSize() + length));
    return _chunk.start == nullptr ? nullptr : _chunk.start + (offset - begin);
}

const char* FileMapping::_viewWholeFile(int fd, qint64 fileSize, qint64 offset, qint64 length) {
    if (offset + length > static_cast<qint64>(_file.length)) {
        if (!_unmap(_file)) return nullptr;
        _file = _map(fd, 0, static_cast<size_t>(fileSize));
        _handedOut = 0;
        if (_file.start == nullptr) return nullptr;
    }
    _giveBackPages(offset, length);
    return _file.start + offset;
}

void FileMapping::_giveBackPages(qint64 offset, qint64 length) {
    // While nothing is handed out, the range is still that of a former mapping.
    if (_handedOut > 0 && _handedOut + length > giveBackInterval) {
        // The view that is about to be handed out is not in the range, unless it was before. A
        // failure costs memory, not data.
        const qint64 begin = pageStart(_handedOutBegin);
        madvise(_file.start + begin, static_cast<size_t>(_handedOutEnd - begin), MADV_DONTNEED);
        _handedOut = 0;
    }
    if (_handedOut == 0) {
        _handedOutBegin = offset;
        _handedOutEnd = offset;
    }
    _handedOut += length;
    _handedOutBegin = std::min(_handedOutBegin, offset);
    _handedOutEnd = std::max(_handedOutEnd, offset + length);
}

}  // namespace mz
