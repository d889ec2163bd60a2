#pragma once

// Files that live in memory, since a harness opens hundreds of them a second.

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

namespace mz::fuzz {

/// A file without a name of its own: the path leads to its descriptor. It can be read and written,
/// not removed.
class MemoryFile {
public:
    explicit MemoryFile(const QByteArray& bytes = {}) : _fd(memfd_create("movie", MFD_CLOEXEC)) {
        if (_fd == -1 || ::write(_fd, bytes.constData(), static_cast<size_t>(bytes.size())) !=
                             static_cast<ssize_t>(bytes.size())) {
            std::abort();
        }
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { ::close(_fd); }

    QString path() const { return QStringLiteral("/proc/self/fd/%1").arg(_fd); }

    QByteArray bytes() const {
        QFile file(path());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private:
    int _fd;
};

/// The name of a file that does not exist yet, in memory as well. It is removed at the end.
class MemoryName {
public:
    MemoryName() : _path(_folder().filePath(QStringLiteral("movie"))) {}
    MemoryName(const MemoryName&) = delete;
    MemoryName& operator=(const MemoryName&) = delete;
    ~MemoryName() { QFile::remove(_path); }

    const QString& path() const { return _path; }
    bool exists() const { return QFile::exists(_path); }

private:
    static const QTemporaryDir& _folder() {
        static const QTemporaryDir folder(QStringLiteral("/dev/shm/dataio-fuzz-XXXXXX"));
        if (!folder.isValid()) std::abort();
        return folder;
    }

    QString _path;
};

}  // namespace mz::fuzz
