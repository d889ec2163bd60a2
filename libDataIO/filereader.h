#pragma once

// Opens a movie file by name for reading and walks its chunks.

#include <libDataIO/chunkreader.h>

#include <QByteArray>
#include <QString>

#include <memory>

namespace mz {

/// The front of an MMapChunkReader, where the cursor rules are described. Without an open file all
/// moves return false and data() throws "MM_D_NODATA". Not copyable.
class DATAIO_EXPORT FileReader {
public:
    FileReader();
    FileReader(const FileReader&) = delete;
    FileReader& operator=(const FileReader&) = delete;
    /// Closes the file; failures are silent.
    ~FileReader();

    /// Opens a regular file, cursor at its start. The file that was open before is closed first,
    /// also when opening then fails.
    /// @throws IOFileException "FR_OF_STAT" when the path leads to nothing, "FR_OF_REGFILE" when it
    ///         is something else than a regular file, "FR_OF_OPEN" when it cannot be opened
    void openFile(const QString& path);

    /// Does nothing without an open file.
    /// @throws CriticalException "MM_UNMAP", the file staying open
    void closeFile();

    bool openned() const;

    bool rewind();
    bool seekEnd();
    /// @param offset in bytes from the start of the file, a chunk boundary
    bool seek(qint64 offset);
    bool nextChunk(unsigned int type);
    bool prevChunk(unsigned int type);

    /// The current payload: chunkSize() bytes that belong to this object and are valid until its
    /// next move, openFile(), closeFile() or destruction.
    /// @throws IOFileException "MM_D_NODATA" without a current chunk
    const void* data() const;
    /// Size of the current payload in bytes, 0 without a current chunk.
    unsigned int chunkSize();

    /// Sets `payload` to a copy of that of the file's last chunk, as the file is now. Neither the
    /// cursor nor the current chunk changes: a payload that was handed out stays valid. After a
    /// failure `payload` may hold anything.
    /// @return false, `payload` untouched, when the file is empty, that chunk is of another type,
    /// or
    ///         no file is open
    /// @throws IOFileException as seekEnd() and prevChunk(); "MM_CR_MMAP" when the payload cannot
    ///         be read
    bool readLast(unsigned int type, QByteArray& payload) const;
    /// The same for the chunk that begins at `offset`.
    /// @throws IOFileException as nextChunk(); "MM_NC_MMAP" when the payload cannot be read
    bool readAt(qint64 offset, unsigned int type, QByteArray& payload) const;

    /// Whether the file's last chunk is of that type, as the file is now. Nothing moves.
    /// @return false as well when the file is empty or no file is open
    /// @throws IOFileException "MM_SE_SEEK" and those of ChunkHeaderBase::loadFD
    bool endsWith(unsigned int type) const;

    /// A plain flag that nothing in this library sets or reads.
    bool isSeekable = false;

private:
    std::unique_ptr<ChunkReader> _reader;
    int _fd = -1;  ///< the reader's, -1 without one
};

}  // namespace mz
