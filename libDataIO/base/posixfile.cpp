#include <libDataIO/base/nocancellation.h>
#include <libDataIO/base/posixfile.h>

#include <QFile>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <thread>

namespace mz::posix {

static_assert(sizeof(off_t) == sizeof(qint64), "files reach up to 4 GiB");

namespace {

template <class Call>
auto untilNotInterrupted(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
}

/// A path with a NUL inside names no file: the system would take the part before it for another
/// one.
bool isName(const QByteArray& name) {
    const bool isOne = !name.contains('\0');
    if (!isOne) errno = ENOENT;
    return isOne;
}

/// Calls with the path in the local 8-bit encoding.
template <class Call>
int withPath(const QString& path, Call call) {
    int result = -1;
    int error = 0;
    {
        const QByteArray name = QFile::encodeName(path);
        if (isName(name)) result = call(name);
        error = errno;
    }
    errno = error;  // whatever giving the name's memory back has left there
    return result;
}

/// Longer than the system lets anybody keep others from a file by a lease (45 s by default), as
/// file servers do for their clients.
constexpr auto longestLease = std::chrono::seconds(60);
constexpr auto leaseStep = std::chrono::milliseconds(5);

/// Opens without waiting: at a pipe that has taken the name's place one would wait for ever. Only
/// for a lease is waited, which the system takes from its holder.
int openSoon(const char* name, int flags) {
    constexpr int ownerAlone = S_IRUSR | S_IWUSR;
    for (auto waited = leaseStep.zero();; waited += leaseStep) {
        const int fd = untilNotInterrupted(
            [&] { return ::open(name, flags | O_CLOEXEC | O_NONBLOCK, ownerAlone); });
        if (fd != -1 || errno != EWOULDBLOCK || waited >= longestLease) return fd;
        std::this_thread::sleep_for(leaseStep);
    }
}

/// The same file by another descriptor, behind those that programs write their messages to.
int beyondStandardStreams(const char* name, int fd, int flags) {
    if (fd == -1 || fd > STDERR_FILENO) return fd;
    const int moved = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    // Of a call that failed no file is left; once it is locked nobody else has begun to write it.
    const bool isMadeHere = (flags & O_EXCL) != 0;
    if (moved == -1 && isMadeHere && lock(fd)) ::unlink(name);
    close(fd);
    errno = error;
    return moved;
}

/// @return whether the system has done it
bool setLock(int fd, short type) {
    struct flock whole {};
    whole.l_type = type;
    whole.l_whence = SEEK_SET;
    return untilNotInterrupted([&] { return fcntl(fd, F_OFD_SETLK, &whole); }) != -1;
}

/// @param read reads up to so many bytes to a place, as many bytes behind the first as are done
template <class Read>
ReadResult untilFull(void* data, qint64 size, Read read) {
    qint64 done = 0;
    while (done < size) {
        const ssize_t count = untilNotInterrupted([&] {
            return read(static_cast<char*>(data) + done, static_cast<size_t>(size - done), done);
        });
        if (count == -1) return {done, errno};
        if (count == 0) break;
        done += count;
    }
    return {done, 0};
}

}  // namespace

int open(const QString& path, int flags) {
    return withPath(path, [&](const QByteArray& name) { return open(name, flags); });
}

int open(const QByteArray& name, int flags) {
    if (!isName(name)) return -1;
    return beyondStandardStreams(name.constData(), openSoon(name.constData(), flags), flags);
}

int close(int fd) {
    const NoCancellation closing;
    // Never made again: after an interruption the descriptor is closed as well, and its number may
    // already be another file's.
    const int result = ::close(fd);
    return result == -1 && errno == EINTR ? 0 : result;
}

int status(const QString& path, struct stat& result) {
    return withPath(path, [&](const QByteArray& name) {
        return untilNotInterrupted([&] { return ::stat(name.constData(), &result); });
    });
}

int status(int fd, struct stat& result) {
    return untilNotInterrupted([&] { return ::fstat(fd, &result); });
}

bool lock(int fd) {
    return setLock(fd, F_WRLCK) || (errno != EAGAIN && errno != EACCES);
}

void unlock(int fd) {
    setLock(fd, F_UNLCK);
}

ReadResult readAll(int fd, void* data, qint64 size) {
    return untilFull(data, size,
                     [&](char* to, size_t left, qint64 /*done*/) { return ::read(fd, to, left); });
}

ReadResult readAllAt(int fd, qint64 offset, void* data, qint64 size) {
    return untilFull(data, size, [&](char* to, size_t left, qint64 done) {
        return ::pread(fd, to, left, offset + done);
    });
}

qint64 writeAll(int fd, iovec* parts, int count) {
    iovec* const end = parts + count;
    qint64 written = 0;
    for (;;) {
        while (parts != end && parts->iov_len == 0)
            ++parts;
        if (parts == end) return written;
        const ssize_t moved =
            untilNotInterrupted([&] { return ::writev(fd, parts, static_cast<int>(end - parts)); });
        if (moved == 0) errno = EIO;
        if (moved <= 0) return written;
        written += moved;
        for (auto left = static_cast<size_t>(moved); left > 0;) {
            const size_t taken = std::min(left, parts->iov_len);
            parts->iov_base = static_cast<char*>(parts->iov_base) + taken;
            parts->iov_len -= taken;
            left -= taken;
            if (parts->iov_len == 0) ++parts;
        }
    }
}

qint64 writeAll(int fd, const void* data, size_t size) {
    iovec part{const_cast<void*>(data), size};  // iovec is not const-correct
    return writeAll(fd, &part, 1);
}

qint64 writeAllAt(int fd, qint64 offset, const void* data, size_t size) {
    const auto* const bytes = static_cast<const char*>(data);
    size_t written = 0;
    while (written < size) {
        const ssize_t moved = untilNotInterrupted([&] {
            return ::pwrite(fd, bytes + written, size - written,
                            offset + static_cast<qint64>(written));
        });
        if (moved == 0) errno = EIO;
        if (moved <= 0) break;
        written += static_cast<size_t>(moved);
    }
    return static_cast<qint64>(written);
}

qint64 seek(int fd, qint64 offset, int whence) {
    return untilNotInterrupted([&] { return ::lseek(fd, offset, whence); });
}

int truncate(int fd, qint64 length) {
    return untilNotInterrupted([&] { return ::ftruncate(fd, length); });
}

qint64 fileSize(int fd) {
    struct stat result {};
    return status(fd, result) == -1 ? -1 : result.st_size;
}

ReadBytes bytesAt(int fd, qint64 offset, qint64 size) {
    QByteArray bytes(size, Qt::Uninitialized);
    const ReadResult result = readAllAt(fd, offset, bytes.data(), size);
    bytes.resize(result.count);
    return {bytes, result.error};
}

}  // namespace mz::posix
