#pragma once

// Keeps tools that read one file and write another from emptying what they read.

#include <QFile>
#include <QString>

#include <filesystem>
#include <system_error>

namespace mz {

/// Whether two names lead to the same existing file, be it through links of either kind. A name
/// with a NUL inside names no file: the system would take the part before it for another one.
inline bool isSameFile(const QString& a, const QString& b) {
    if (a.contains(QChar::Null) || b.contains(QChar::Null)) return false;
    std::error_code missing;
    return std::filesystem::equivalent(QFile::encodeName(a).toStdString(),
                                       QFile::encodeName(b).toStdString(), missing);
}

}  // namespace mz
