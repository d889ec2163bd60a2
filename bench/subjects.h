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

void compareRecording(const Context& context);
void compareReading(const Context& context);
void compareUncachedReading(const Context& context);
void compareDecoding(const Context& context);
void compareEncoding(const Context& context);
void compareRecompression(const Context& context);
void compareOpening(const Context& context);
void compareParsing(const Context& context);
void compareThumbnails(const Context& context);
void measureMemory(const Context& context);
void measureGrowth(const Context& context);

/// The part of measureMemory that a child process does: works on `path` and prints what it took.
/// @return false when there is no such work
bool runMemoryWork(const Context& context, const QString& work, const QString& path);

/// Removes files when it goes.
class Scratch {
public:
    explicit Scratch(QStringList paths) : _paths(std::move(paths)) {}
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch() {
        for (const QString& path : _paths)
            QFile::remove(path);
    }

private:
    QStringList _paths;
};

}  // namespace bench
