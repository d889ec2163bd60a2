#pragma once

// Finds the whole chunks of a damaged file: walks the framing forwards and, where it breaks,
// searches for the next place at which a whole chunk stands. Looks at headers alone and never
// changes the file.

#include <libDataIO/container/chunkframing.h>

#include <vector>

namespace mz {

/// A chunk whose start and end header agree and lie inside the file.
struct ChunkSpan {
    qint64 offset;  ///< of the start header
    unsigned int type;
    unsigned int size;  ///< of the payload

    qint64 length() const { return chunkFramingSize + size; }
    qint64 end() const { return offset + length(); }
};

/// Bytes that belong to no whole chunk.
struct ChunkGap {
    qint64 offset;
    qint64 length;
    bool beginsChunk;   ///< a start header stands there, or what a cut file left of one, at least
                        ///< the six bytes that name it
    bool isTorn;        ///< the file ends before the chunk that begins there does
    int readError = 0;  ///< errno when bytes of it cannot be read

    qint64 end() const { return offset + length; }
};

struct ChunkScan {
    std::vector<ChunkSpan> chunks;  ///< in the order of the file
    std::vector<ChunkGap> gaps;     ///< in the order of the file; only the last one can be torn
    /// -1 when the system does not tell. An unfinished end does not count: all is as it was before
    /// somebody was killed who wrote it.
    qint64 fileSize = -1;
    qint64 unfinishedBytes = 0;  ///< of an unfinished end behind that, its mark included
    int readError = 0;           ///< errno where a gap or the size cannot be read, else 0

    /// The start of the chunk at which the file was cut off; its end when there is none.
    qint64 soundEnd() const;
};

/// Scans the file behind a descriptor, whose position stays. Bytes that cannot be read belong to
/// gaps. An end is unfinished that begins with its mark and holds no other whole chunks than
/// trailing ones, which whoever writes it has from in front of the mark or from memory, and no info
/// chunk: with that it is complete, and may have been changed since. Takes time in proportion to
/// the chunks and to the bytes of the gaps, and memory in proportion to the numbers of both.
ChunkScan scanChunks(int fd);

}  // namespace mz
