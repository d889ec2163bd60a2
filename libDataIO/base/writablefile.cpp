#include <libDataIO/base/posixfile.h>
#include <libDataIO/base/writablefile.h>

#include <QByteArray>
#include <QFile>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <new>

namespace mz::posix {

namespace {

/// How often what others do to the name between two calls is answered by another try. More than the
/// 40 links that the system itself follows.
constexpr int mostTries = 100;

/// Where a symbolic link leads, empty for anything else.
QByteArray linkTarget(const QByteArray& link) {
    QByteArray target(PATH_MAX, Qt::Uninitialized);
    const ssize_t length =
        ::readlink(link.constData(), target.data(), static_cast<size_t>(target.size()));
    if (length == -1) return {};
    target.truncate(length);
    return target.startsWith('/') ? target : link.left(link.lastIndexOf('/') + 1) + target;
}

/// Opens a file, or makes it and says so. Who has made a file is told by O_EXCL alone, which does
/// not follow a link that leads to nothing: that is done here.
/// @param name becomes that of the file at the end of such links
int openOrCreate(QByteArray& name, bool& created) {
    int fd = -1;
    for (int tries = 0; tries < mostTries; ++tries) {
        fd = open(name, O_RDWR);
        if (fd != -1 || errno != ENOENT) return fd;
        fd = open(name, O_RDWR | O_CREAT | O_EXCL);
        created = fd != -1;
        if (created || errno != EEXIST) return fd;
        QByteArray target = linkTarget(name);
        if (!target.isEmpty()) name.swap(target);  // else someone else was faster
        errno = ENOENT;
    }
    return fd;
}

bool isSame(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// Whether a file has lost its name since it was opened: who made it has failed and removed it.
/// Some file systems count no names, and there the name itself is asked.
bool isRemoved(const struct stat& file, const QString& path) {
    struct stat named {};
    return file.st_nlink == 0 && (status(path, named) == -1 || !isSame(file, named));
}

/// The reason of a call that failed stays in errno.
WritableFile givenUp(int fd) {
    const int error = errno;
    unlock(fd);
    errno = error;
    return {Opening::Failed};
}

struct Free {
    void operator()(char* text) const { std::free(text); }
};

}  // namespace

WritableFile openToWrite(const QString& path, Contents contents) {
    for (int tries = 1;; ++tries) {
        bool created = false;
        QByteArray name = QFile::encodeName(path);
        Descriptor file(openOrCreate(name, created));
        if (file.get() == -1) return {Opening::Failed};
        // Whoever has the lock has the file, though it be made here.
        if (!lock(file.get())) return {Opening::Busy};
        if (created) return {Opening::Done, file.release(), true};

        struct stat found {};
        if (status(file.get(), found) == -1) return givenUp(file.get());
        if (isRemoved(found, path) && tries < mostTries) continue;
        // Devices and pipes have no length to be cut.
        if (contents == Contents::Emptied && S_ISREG(found.st_mode) &&
            truncate(file.get(), 0) == -1) {
            return givenUp(file.get());
        }
        return {Opening::Done, file.release()};
    }
}

void removeCreated(const QString& path, const struct stat& made) try {
    const QByteArray name = QFile::encodeName(path);
    // The file and not the link that leads to it.
    const std::unique_ptr<char, Free> real(::realpath(name.constData(), nullptr));
    struct stat named {};
    if (real && ::stat(real.get(), &named) == 0 && isSame(named, made)) ::unlink(real.get());
} catch (const std::bad_alloc&) {
    // An empty file stays.
}

}  // namespace mz::posix
