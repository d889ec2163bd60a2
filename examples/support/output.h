#pragma once

// A file that is wanted whole or not at all.

#include <QString>

namespace examples {

/// A file is written under another name beside its own and takes its place when it is whole. After
/// a failure, and after Ctrl+C where the program asks stopIfInterrupted() often enough, what was
/// written is removed and an older file of the name is still there. Declare it before the writer of
/// the file, which is closed first then.
class Output {
public:
    /// Throws Error when the file exists and `force` is not given.
    Output(const QString& fileName, bool force);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    /// Where to write.
    const QString& path() const { return _path; }

    /// Gives the file, which must be closed, its own name. Throws Error when that fails.
    void finish();

    /// Throws Error once the program was asked to stop.
    static void stopIfInterrupted();

private:
    QString _fileName;
    QString _path;
    bool _finished = false;
};

}  // namespace examples
