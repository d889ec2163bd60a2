#pragma once

// Finds the whole chunks of a damaged file: walks the framing forwards and, where it breaks,
// searches for the next place at which a whole chunk stands. Looks at headers alone and never
// changes the file.

#include <QString>
#include <boost/optional.hpp>

#include <vector>

namespace mz {

/// A chunk whose start and end header agree and lie inside the file.
struct ChunkSpan {
    qint64 offset;  ///< of the start header
    unsigned int type;
    unsigned int size;  ///< of the payload

    qint64 end() const;
};

/// Bytes that belong to no whole chunk.
struct ChunkGap {
    qint64 offset;
    qint64 length;
    bool beginsChunk;  ///< a start header, or what a cut file left of one, stands at its start
};

struct ChunkScan {
    std::vector<ChunkSpan> chunks;
    std::vector<ChunkGap>
        gaps;  ///< in ascending order; a last one that reaches the end is the torn end
    qint64 fileSize = 0;
    int readError = 0;  ///< of a place that the system did not give, 0 when it gave all

    /// The gap at the end of the file, if there is one.
    boost::optional<ChunkGap> tornEnd() const;
};

/// Scans the whole file of that size behind a descriptor, whose position it moves. What cannot be
/// read counts as damaged. Takes time in proportion to the chunks and to the bytes of the gaps.
ChunkScan scanChunks(int fd, qint64 fileSize);

}  // namespace mz
