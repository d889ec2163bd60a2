#pragma once

// A file of the test's own, which goes away with it.

#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <tests/support/bytes.h>
#include <tests/support/files.h>

namespace mz::test {

class ScratchFile {
public:
    explicit ScratchFile(const QByteArray& bytes = {}) { writeFile(path(), bytes); }

    QString path() const { return _dir.filePath(QStringLiteral("movie")); }
    QString sibling(const char* name) const { return _dir.filePath(QString::fromLatin1(name)); }
    QByteArray bytes() const { return readFile(path()); }
    qint64 size() const { return QFile(path()).size(); }

    /// A new descriptor, which the caller or the object that adopts it closes.
    int open(int flags = O_RDWR) const {
        const int fd = ::open(path().toLocal8Bit().constData(), flags);
        EXPECT_NE(fd, -1);
        return fd;
    }

    /// Sets the length; what is gained reads as zeros and takes no space.
    void resize(qint64 size) const { ASSERT_TRUE(QFile::resize(path(), size)); }

    void put(qint64 offset, const QByteArray& bytes) const {
        const int fd = open();
        EXPECT_EQ(::pwrite(fd, bytes.constData(), static_cast<size_t>(bytes.size()), offset),
                  bytes.size());
        ::close(fd);
    }

private:
    QTemporaryDir _dir;
};

/// A chunk of zeros that takes no space, written from `offset` on; its end is returned.
inline qint64 putSparseChunk(const ScratchFile& file, qint64 offset, uint32_t type, uint32_t size) {
    file.put(offset, startHeader(type, size));
    file.put(offset + 16 + size, endHeader(type, size));
    return offset + size + 32;
}

}  // namespace mz::test
