#pragma once

// Whole files, written, read and compared by the test itself.

#include <QByteArray>
#include <QFile>
#include <QString>
#include <gtest/gtest.h>

namespace mz::test {

inline void writeFile(QString const& path, QByteArray const& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate)) << path.toStdString();
    ASSERT_EQ(file.write(bytes), bytes.size());
}

inline QByteArray readFile(QString const& path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return file.readAll();
}

/// Null when there is no such file.
inline QByteArray readFileIfAny(QString const& path) {
    return QFile::exists(path) ? readFile(path) : QByteArray();
}

}  // namespace mz::test
