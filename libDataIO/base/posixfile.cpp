#include <libDataIO/base/posixfile.h>

#include <QFile>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

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

/// Calls with the path in the local 8-bit encoding. A path with a NUL inside names no file: the
/// system would take the part before it for another one.
template <class Call>
int withPath(QString const& path, Call call) {
    if (path.contains(QChar::Null)) {
        errno = ENOENT;
        return -1;
    }
    const QByteArray name = QFile::encodeName(path);
    return untilNotInterrupted([&] { return call(name.constData()); });
}

}  // namespace

int open(QString const& path, int flags) {
    return withPath(
        path, [&](const char* name) { return ::open(name, flags | O_CLOEXEC, S_IRUSR | S_IWUSR); });
}

int close(int fd) {
    // Never made again: after an interruption the descriptor is closed as well, and its number may
    // already be another file's.
    const int result = ::close(fd);
    return result == -1 && errno == EINTR ? 0 : result;
}

int status(QString const& path, struct stat& result) {
    return withPath(path, [&](const char* name) { return ::stat(name, &result); });
}

ssize_t read(int fd, void* data, size_t size) {
    return untilNotInterrupted([&] { return ::read(fd, data, size); });
}

ssize_t readAt(int fd, qint64 offset, void* data, size_t size) {
    return untilNotInterrupted([&] { return ::pread(fd, data, size, offset); });
}

ssize_t write(int fd, const void* data, size_t size) {
    return untilNotInterrupted([&] { return ::write(fd, data, size); });
}

ssize_t write(int fd, const iovec* parts, int count) {
    return untilNotInterrupted([&] { return ::writev(fd, parts, count); });
}

qint64 seek(int fd, qint64 offset, int whence) {
    return untilNotInterrupted([&] { return ::lseek(fd, offset, whence); });
}

int truncate(int fd, qint64 length) {
    return untilNotInterrupted([&] { return ::ftruncate(fd, length); });
}

qint64 fileSize(int fd) {
    struct stat result {};
    if (untilNotInterrupted([&] { return ::fstat(fd, &result); }) == -1) return -1;
    return result.st_size;
}

QByteArray bytesAt(int fd, qint64 offset, qint64 size) {
    QByteArray bytes(size, '\0');
    qint64 count = 0;
    if (seek(fd, offset, SEEK_SET) != -1) {
        while (count < size) {
            const ssize_t got = read(fd, bytes.data() + count, static_cast<size_t>(size - count));
            if (got <= 0) break;
            count += got;
        }
    }
    bytes.resize(count);
    return bytes;
}

}  // namespace mz::posix
