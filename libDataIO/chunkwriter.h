#pragma once

// A cursor over the chunks of a file that is written: chunks are added or overwritten where it
// stands, and it steps over those that are there.

#include <libCommon/export.h>

#include <QtGlobal>

#include <cstddef>

namespace mz {

/// Neither copyable nor to be shared between threads. FDChunkWriter says what each operation does.
class DATAIO_EXPORT ChunkWriter {
public:
    ChunkWriter() = default;
    ChunkWriter(const ChunkWriter&) = delete;
    ChunkWriter& operator=(const ChunkWriter&) = delete;
    virtual ~ChunkWriter();

    virtual void fileDes(int fd) = 0;
    virtual int addChunk(unsigned int type, const void* data, size_t size) = 0;
    virtual void closeFile() = 0;
    virtual bool nextChunk(unsigned int type) = 0;
    virtual bool prevChunk(unsigned int type) = 0;
    virtual bool openned() const = 0;
    virtual bool seek(qint64 offset) = 0;
    virtual bool seekEnd() = 0;
    virtual bool seekPrev() = 0;
    virtual unsigned int tell() = 0;
    virtual const void* data() const = 0;
    virtual unsigned int chunkSize() const = 0;
    virtual void dumpDebug() const = 0;
};

}  // namespace mz
