#pragma once

// A cursor over the chunks of a file that is read: it stands between two chunks and moves over one
// chunk at a time, provided that this chunk is of the type asked for.

#include <libCommon/export.h>

#include <QtGlobal>

namespace mz {

/// Neither copyable nor to be shared between threads. MMapChunkReader says what each operation
/// does, returns and throws. The descriptor belongs to the derived class, whose closeFile() and
/// destructor close it; this class closes nothing.
class DATAIO_EXPORT ChunkReader {
public:
    ChunkReader();
    ChunkReader(const ChunkReader&) = delete;
    ChunkReader& operator=(const ChunkReader&) = delete;
    virtual ~ChunkReader();

    /// Adopts a descriptor. The cursor stays as it is; a descriptor adopted before is not closed.
    virtual void fileDes(int fd);
    /// The payload of the current chunk, size() bytes. It belongs to the reader and lives until the
    /// reader moves. Without a current chunk it throws.
    virtual const void* data() const = 0;
    virtual bool nextChunk(unsigned int type) = 0;
    virtual bool prevChunk(unsigned int type) = 0;
    /// A plain flag that nothing in this library sets: false.
    virtual bool canSeek() const;
    /// Payload size of the current chunk in bytes, 0 when there is none.
    virtual unsigned int size() const = 0;
    virtual bool rewind() = 0;
    virtual bool seekEnd() = 0;
    virtual bool seek(qint64 offset) = 0;
    virtual void closeFile() = 0;

    /// Whether there is a descriptor.
    bool openned() const { return _fd != -1; }

protected:
    int _fd = -1;
    bool _canSeek = false;
};

}  // namespace mz
