#pragma once

// Whole files, written, read and compared by the test itself.

#include <QByteArray>
#include <QFile>
#include <QString>
#include <gtest/gtest.h>

namespace mz::test {

inline void writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate)) << path.toStdString();
    ASSERT_EQ(file.write(bytes), bytes.size());
}

inline QByteArray readFile(const QString& path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return file.readAll();
}

/// Null when there is no such file.
inline QByteArray readFileIfAny(const QString& path) {
    return QFile::exists(path) ? readFile(path) : QByteArray();
}

}  // namespace mz::test
