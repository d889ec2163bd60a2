#pragma once

// The reader of movie files: payloads are never copied, they are looked at through a read-only
// mapping of the file. So are the 16-byte headers where the mapping shows them; elsewhere, the
// first time and behind what the file had when it was mapped, they are read.

#include <libDataIO/chunkreader.h>

#include <memory>

namespace mz {

class ChunkHeaderBase;
class FileMapping;

/// The cursor is an offset in bytes that lies on a chunk boundary, 0 at first. After a successful
/// move there is a current chunk. A move first lets go of the current chunk, whatever its outcome,
/// so that after a false return, an exception, rewind(), seekEnd() or seek() there is none.
///
/// Each move looks at the file as it is now: it asks for the file's length first, and header and
/// chunk must lie inside, so a damaged or shortened file gives an exception. A file that is cut
/// while a caller looks at a payload, or between that question and the look at a header, takes the
/// pages away (SIGBUS): whoever cuts files under their readers must arrange for that.
class DATAIO_EXPORT MMapChunkReader : public ChunkReader {
public:
    MMapChunkReader();
    /// Releases the mapping and closes the descriptor; failures are silent.
    ~MMapChunkReader() override;

    /// As ChunkReader says. The current chunk stays that of the former file until the next move.
    void fileDes(int fd) override;

    /// Start of the current payload, never null. The memory is read-only, belongs to the reader and
    /// is valid until the next move, rewind(), seekEnd(), seek(), closeFile() or the destructor.
    /// @throws IOFileException "MM_D_NODATA" without a current chunk
    const void* data() const override;

    /// Moves over the chunk behind the cursor, which is then behind that chunk.
    /// @param type the type that the chunk must have; there is no value for "any"
    /// @return true, or false with the cursor unchanged at the end of the file and for a chunk of
    ///         another type
    /// @throws IOFileException "MM_NC_BOUND" when the chunk leaves the file, "MM_NC_MMAP" when it
    ///         cannot be mapped, and those of ChunkHeaderBase::loadFD; the cursor is unchanged
    /// @throws CriticalException "MM_UNMAP" when the current chunk cannot be released; it stays
    ///         current
    bool nextChunk(unsigned int type) override;

    /// Moves back over the chunk in front of the cursor, which is then in front of that chunk, so
    /// that nextChunk() gives the same chunk again.
    /// @return true, or false with the cursor unchanged at the start of the file and for a chunk of
    ///         another type
    /// @throws IOFileException "MM_CR_BOUND", "MM_CR_MMAP", else as nextChunk()
    bool prevChunk(unsigned int type) override;

    unsigned int size() const override { return _chunkSize; }

    /// The cursor to the start of the file. @return true
    /// @throws IOFileException "MM_R_SEEK" when the descriptor cannot be moved, CriticalException
    ///         "MM_UNMAP" as nextChunk(); the cursor is unchanged
    bool rewind() override;

    /// The cursor to the end of the file, as it is now. @return true
    /// @throws IOFileException "MM_SE_SEEK" when the descriptor cannot be moved, CriticalException
    ///         "MM_UNMAP" as nextChunk(); the cursor is unchanged
    bool seekEnd() override;

    /// The cursor to an offset in bytes, such as the index holds. Nothing is checked here: the next
    /// move fails when no chunk begins there. @return true
    /// @throws CriticalException "MM_UNMAP" as nextChunk(); the cursor is unchanged
    bool seek(qint64 offset) override;

    /// Releases the mapping, closes the descriptor if any and sets the cursor to 0.
    /// @throws CriticalException "MM_UNMAP" when memory cannot be released; the file stays open
    void closeFile() override;

private:
    bool _loadHeader(ChunkHeaderBase& header, const char* text, qint64 offset, qint64& fileSize);
    void _unmapData();

    unsigned int _chunkSize = 0;
    const char* _data = nullptr;
    qint64 _offset = 0;
    std::unique_ptr<FileMapping> _mapping;
};

}  // namespace mz
