#pragma once

// Memory through which a file is looked at. Not installed.

#include <QtGlobal>

#include <cstddef>

namespace mz {

/// Hands out views of a file, one at a time. The whole file is mapped once and stays mapped from
/// view to view: a mapping of its own for each chunk costs as much in system calls and page tables
/// as reading a small frame does. Where the file cannot be mapped whole, the view alone is mapped.
class FileMapping {
public:
    FileMapping() = default;
    FileMapping(const FileMapping&) = delete;
    FileMapping& operator=(const FileMapping&) = delete;
    ~FileMapping();

    /// The bytes [offset, offset + length) of the file, or null with errno set. Call only after
    /// release(), with a range inside the file.
    /// @param fileSize the file's length now; the mapping is renewed when it does not reach far
    ///        enough because the file has grown
    const char* view(int fd, qint64 fileSize, qint64 offset, qint64 length);

    /// The bytes [offset, offset + length) in the mapping of the whole file as it was when it was
    /// mapped, or null when they are not in it. It may only be looked at as far as the file reaches
    /// now.
    const char* mapped(qint64 offset, qint64 length) const {
        // A cursor may stand anywhere: nothing is added to it.
        const auto mappedLength = static_cast<qint64>(_file.length);
        const bool isInside = offset >= 0 && offset <= mappedLength - length && !_fileChanged;
        return isInside ? _file.start + offset : nullptr;
    }

    /// From the next release() on, views are of another file, or of none.
    void fileChanged() { _fileChanged = true; }

    /// Ends the current view, if any.
    /// @return false with errno set when memory cannot be given back; the view is as it was and the
    ///         call may be repeated
    bool release() { return (_chunk.start == nullptr && !_fileChanged) || _release(); }

private:
    struct Region {
        char* start = nullptr;
        size_t length = 0;
    };

    static Region _map(int fd, qint64 offset, size_t length);
    static bool _unmap(Region& region);
    bool _release();
    const char* _viewWholeFile(int fd, qint64 fileSize, qint64 offset, qint64 length);
    void _giveBackPages(qint64 offset, qint64 length);

    Region _file;
    Region _chunk;
    bool _fileChanged = false;
    // Views handed out since pages were last given back: their bytes, and the range they lie in.
    qint64 _handedOut = 0;
    qint64 _handedOutBegin = 0;
    qint64 _handedOutEnd = 0;
};

}  // namespace mz
