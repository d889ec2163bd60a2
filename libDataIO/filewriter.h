#pragma once

// Opens a movie file by name for writing or modification and walks, writes and cuts its chunks.

#include <libDataIO/fdchunkwriter.h>

#include <QString>

#include <memory>

namespace mz {

enum FileWriterMode {
    FW_CREATE = 0,  ///< an existing file is emptied
    FW_APPEND = 1   ///< an existing file is kept
};

/// The front of an FDChunkWriter, where the operations are described. Without an open file moves
/// return false, data() is null and chunkSize() 0, what writes throws
/// "FDCW_AC_BADFD" and truncate() "FDCW_TRUNC". Not copyable.
class DATAIO_EXPORT FileWriter {
public:
    FileWriter();
    FileWriter(const FileWriter&) = delete;
    FileWriter& operator=(const FileWriter&) = delete;
    /// Closes the file; failures are silent.
    ~FileWriter();

    /// Opens a file for reading and writing, cursor at its start in both modes. A missing file is
    /// created, readable and writable by its owner alone, also behind a symbolic link that leads to
    /// nothing. The file that was open before is closed first as it stands and in silence, also
    /// when opening then fails.
    ///
    /// While the file is open no other writer can open it, in this process or another: it is locked
    /// (an advisory lock of the open file description, on file systems that have them). Readers
    /// never ask for that lock.
    /// @throws IOFileException "FW_OF_BUSY", FILESYSTEM, when another writer has the file;
    ///         "FW_OF_OPEN" (FW_CREATE) or "FW_OF_OPEN2" (FW_APPEND), SYSCALL, when the system
    ///         refuses; nothing is touched then. A pipe is not waited for: chunks cannot be written
    ///         to it ("FDCW_AC_SEEK")
    void openFile(const QString& path, FileWriterMode mode);

    /// Does nothing without an open file.
    /// @throws IOFileException "FDCW_CF_CLOSE"; there is no open file then either
    void closeFile();

    /// Gives up what the last openFile() has begun: removes the file if that has made it, and
    /// closes it. Failures are silent, but for the record that closing makes of its own.
    /// @param path that was given to openFile(); a file that has taken its place is not removed
    void abandonFile(const QString& path);

    bool openned() const;
    /// Whether the file was opened by another process, of which this one was forked off: closing
    /// then gives the descriptor up and does nothing to the file.
    bool inherited() const;

    int addChunk(unsigned int type, const void* data, size_t size);
    void addUnlistedChunk(unsigned int type, const void* data, size_t size);
    void markUnfinishedEnd();
    bool nextChunk(unsigned int type);
    bool prevChunk(unsigned int type);
    bool replaceChunk(qint64 offset, unsigned int type, const void* data, unsigned int size);
    /// @param offset in bytes from the start of the file
    bool seek(qint64 offset);
    bool seekEnd();
    bool seekPrev();

    /// The payload of the last chunk stepped over, or null; chunkSize() bytes that belong to this
    /// object until its next step, openFile(), closeFile() or destruction.
    const void* data() const;
    unsigned int chunkSize() const;

    /// Cuts the file at the cursor.
    void truncate();

    /// The cursor in bytes, 0 without an open file.
    qint64 tell() const;
    /// Length of the file in bytes, -1 without an open file or when the system does not tell.
    qint64 fileSize() const;
    /// Whether the last openFile() made the file, so that it is to be removed when what it was made
    /// for fails.
    bool created() const { return _created; }

    /// Prints the state to standard output.
    void dumpDebug() const;

private:
    std::unique_ptr<FDChunkWriter> _writer;
    int _fd = -1;
    bool _created = false;
};

}  // namespace mz
