#pragma once

// Opens files that are to be written, each for one writer at a time, in whatever process: two would
// write over each other's chunks. Not installed.

#include <QString>

#include <sys/stat.h>

namespace mz::posix {

enum class Contents { Kept, Emptied };

enum class Opening {
    Done,
    Failed,  ///< errno says why
    Busy     ///< another writer has the file
};

struct WritableFile {
    Opening result;
    int fd = -1;           ///< to read and to write; -1 unless it is open
    bool created = false;  ///< whether this call has made the file
};

/// Opens a file and locks it; makes one, for its owner alone, when there is none. Symbolic links
/// are followed, also those that lead to nothing yet. Until the file is locked nothing is changed
/// in it: one that is busy is not even emptied. Where the file system has no locks, every file
/// counts as free. Whoever closes the descriptor calls unlock() first: a process that was forked
/// off meanwhile would keep the lock as long as it lives.
WritableFile openToWrite(const QString& path, Contents contents);

/// Removes a file that openToWrite() has made, if the name still leads to it; a link that leads to
/// it stays. While the file is locked nobody else can have begun to write it.
void removeCreated(const QString& path, const struct stat& made);

}  // namespace mz::posix
