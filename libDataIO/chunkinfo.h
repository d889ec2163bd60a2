#pragma once

// The info chunk, always the last chunk of a finished file: the index of all others, followed by
// the attributes as text up to the end of the payload.

#include <libCommon/export.h>
#include <libDataIO/attributechunk.h>
#include <libDataIO/chunkindex.h>
#include <libDataIO/frametimer.h>  // for applications that find it here

namespace mz {

class DATAIO_EXPORT ChunkInfo : public ChunkIndex, public AttributeChunk {
public:
    ~ChunkInfo() override;

    /// The payload: index, then attribute text in Latin-1 ("?" for what does not fit).
    /// @param len its size in bytes; payloads of 2 GiB and more are not supported
    /// @return an array that the caller owns and frees with delete[]
    char* save(int& len) override;

    /// Adds the records and attributes of a payload to those already here; clear() first to replace
    /// them.
    /// @return 1
    /// @throws IOFileException "CI_L_CHUNK" when the payload holds no whole index; nothing is
    /// changed then
    int load(const void* buf, unsigned int len) override;

    /// Empties index and attributes.
    void clear();

    /// Prints index and attributes to standard output.
    virtual void dumpDebug() const;
};

}  // namespace mz
