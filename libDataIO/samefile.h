#pragma once

// Keeps tools that read one file and write another from emptying what they read.

#include <QFileInfo>

namespace mz {

/// Whether two names lead to the same existing file.
inline bool isSameFile(QString const& a, QString const& b) {
    const QString path = QFileInfo(a).canonicalFilePath();
    return !path.isEmpty() && path == QFileInfo(b).canonicalFilePath();
}

}  // namespace mz
