#pragma once

// A file that is wanted whole or not at all.

#include <QString>

namespace examples {

/// Removes the file when it goes, unless finish() was called: after a failure, and after Ctrl+C
/// where the program asks stopIfInterrupted() often enough. Declare it before the writer of the
/// file, which is closed first then.
class Output {
public:
    /// Throws Error when the file exists and `force` is not given.
    Output(QString const& fileName, bool force);
    ~Output();
    Output(Output const&) = delete;
    Output& operator=(Output const&) = delete;

    void finish() { _finished = true; }

    /// Throws Error once the program was asked to stop.
    static void stopIfInterrupted();

private:
    QString _fileName;
    bool _finished = false;
};

}  // namespace examples
