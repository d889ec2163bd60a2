#pragma once

// The file calls of the system as the library uses them: paths as QString, 64-bit offsets, and a
// call that a signal interrupted before it did anything is made again, since a recording must not
// fail because the application has a timer. Results and errno are the system's. Not installed.

#include <QByteArray>
#include <QString>

#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>

#include <cstddef>

namespace mz::posix {

/// Not inherited by child processes. A file that is created belongs to its owner alone.
int open(QString const& path, int flags);
/// Closes a descriptor, which is gone whatever the result.
int close(int fd);
int status(QString const& path, struct stat& result);

ssize_t read(int fd, void* data, size_t size);
/// Leaves the descriptor's position alone.
ssize_t readAt(int fd, qint64 offset, void* data, size_t size);
ssize_t write(int fd, const void* data, size_t size);
ssize_t write(int fd, const iovec* parts, int count);
/// The new position, or -1.
qint64 seek(int fd, qint64 offset, int whence);
int truncate(int fd, qint64 length);
/// The file's length now, or -1.
qint64 fileSize(int fd);

/// Up to `size` bytes from an offset on; fewer at the end of the file or of what can be read.
QByteArray bytesAt(int fd, qint64 offset, qint64 size);

/// Closes a descriptor, if it is one, when its block is left.
class Descriptor {
public:
    explicit Descriptor(int fd) : _fd(fd) {}
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;
    ~Descriptor() {
        if (_fd != -1) close(_fd);
    }
    int get() const { return _fd; }

private:
    int _fd;
};

}  // namespace mz::posix
