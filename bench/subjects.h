#pragma once

// What is compared, a function a subject. Each makes its files in the folder and removes them.

#include <QDir>

#include <bench/harness.h>
#include <bench/material.h>

namespace bench {

struct Context {
    Harness& harness;
    QDir folder;
    Material large;  ///< images of 400 KiB
    Material small;  ///< 32 KiB, the size of vectorized frames

    QString path(const char* name) const { return folder.filePath(QString::fromLatin1(name)); }
};

void compareRecording(Context const& context);
void compareReading(Context const& context);
void compareUncachedReading(Context const& context);
void compareDecoding(Context const& context);
void compareEncoding(Context const& context);
void compareRecompression(Context const& context);
void compareOpening(Context const& context);
void compareParsing(Context const& context);
void compareThumbnails(Context const& context);
void measureMemory(Context const& context);
void measureGrowth(Context const& context);

/// The part of measureMemory that a child process does: works on `path` and prints what it took.
/// @return false when there is no such work
bool runMemoryWork(Context const& context, QString const& work, QString const& path);

/// Removes files when it goes.
class Scratch {
public:
    explicit Scratch(QStringList paths) : _paths(std::move(paths)) {}
    Scratch(Scratch const&) = delete;
    Scratch& operator=(Scratch const&) = delete;
    ~Scratch() {
        for (QString const& path : _paths)
            QFile::remove(path);
    }

private:
    QStringList _paths;
};

}  // namespace bench
