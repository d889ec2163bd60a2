#pragma once

// The file calls of the system as the library uses them: paths as QString, 64-bit offsets, and a
// call that a signal interrupted before it did anything is made again, since a recording must not
// fail because the application has a timer. Results and errno are the system's; after a success
// errno may be that of an interrupted call and says nothing. Not installed.

#include <QByteArray>
#include <QString>

#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstddef>
#include <utility>

namespace mz::posix {

/// Not inherited by child processes, and never 0, 1 or 2: where a program was started without
/// standard error, its next message would be written into the movie. A file that is created belongs
/// to its owner alone. What would have to be waited for, the other end of a pipe, is not waited
/// for.
int open(const QString& path, int flags);
/// The same for a name as the system has it.
int open(const QByteArray& name, int flags);
/// Closes a descriptor, which is gone whatever the result. No thread is cancelled in it: who closes
/// could not know whether the number is another file's by then, and destructors close.
int close(int fd);
int status(const QString& path, struct stat& result);
int status(int fd, struct stat& result);

/// Takes the file for this description of it, if nobody else has it. A lock binds only those who
/// ask for it, and ends with the last descriptor of the description or with unlock().
/// @return false when another description has it; true also where the file system has no locks
bool lock(int fd);
void unlock(int fd);

/// Writes the parts one behind the other, in one call if the system takes all of them at once: a
/// short count gives no reason, but the call for the rest does.
/// @param parts are used up
/// @return how many bytes were written. When not all were, errno says why; EIO stands for a call
///         that moved nothing
qint64 writeAll(int fd, iovec* parts, int count);
qint64 writeAll(int fd, const void* data, size_t size);
/// Leaves the descriptor's position alone.
qint64 writeAllAt(int fd, qint64 offset, const void* data, size_t size);

/// What came of reading until all was there.
struct ReadResult {
    qint64 count;  ///< bytes read; fewer than asked for at the end of the file or after a failure
    int error;     ///< errno of the call that failed, 0 when none did
};

/// Reads at the descriptor's position, and behind it in as many calls as it takes.
ReadResult readAll(int fd, void* data, qint64 size);
/// Leaves the descriptor's position alone.
ReadResult readAllAt(int fd, qint64 offset, void* data, qint64 size);

/// The new position, or -1.
qint64 seek(int fd, qint64 offset, int whence);
int truncate(int fd, qint64 length);
/// The file's length now, or -1.
qint64 fileSize(int fd);

struct ReadBytes {
    QByteArray bytes;
    int error;  ///< as above
};

/// Up to `size` bytes from an offset on; fewer at the end of the file or of what can be read.
ReadBytes bytesAt(int fd, qint64 offset, qint64 size);

/// Closes a descriptor, if it is one, when its block is left. errno stays that of the call for
/// whose sake the block is left.
class Descriptor {
public:
    explicit Descriptor(int fd) : _fd(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        const int error = errno;
        if (_fd != -1) close(_fd);
        errno = error;
    }
    int get() const { return _fd; }
    /// Leaves the descriptor to the caller.
    int release() { return std::exchange(_fd, -1); }

private:
    int _fd;
};

}  // namespace mz::posix
