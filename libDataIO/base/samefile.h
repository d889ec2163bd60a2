#pragma once

// Keeps tools that read one file and write another from emptying what they read.

#include <libDataIO/base/posixfile.h>

namespace mz {

/// Whether two names lead to the same existing file, be it through links of either kind.
inline bool isSameFile(QString const& a, QString const& b) {
    struct stat first {};
    struct stat second {};
    return posix::status(a, first) == 0 && posix::status(b, second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

}  // namespace mz
