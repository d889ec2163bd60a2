#pragma once

// The frames that are left of a damaged movie, and the place that each had among all that were
// recorded: times and laser powers are lists that run parallel to the frames, so that with a lost
// frame its entries must go as well, or all later frames would show those of others.

#include <libDataIO/chunkindex.h>
#include <libDataIO/container/chunkscan.h>

#include <QByteArray>

#include <cstddef>
#include <optional>
#include <vector>

namespace mz {

struct FrameList {
    std::vector<ChunkSpan> frames;  ///< in the order of the recording
    std::vector<size_t> places;     ///< of each among the recorded frames, ascending
    bool arePlacesKnown = true;
    bool isComplete = true;  ///< as far as can be told, no frame is missing

    /// Takes frames out, by their numbers in ascending order.
    void remove(const std::vector<size_t>& numbers);
};

/// The frames in the order of the index that the movie had, which may be that of a ring. Empty when
/// it does not know one of the frames and so describes another file.
std::optional<FrameList> framesOfIndex(const std::vector<ChunkSpan>& frames,
                                       const std::vector<ChunkRecord>& index);

/// The frames in the order of the file.
/// @param holes offsets of the gaps in which frames may have stood
/// @param recorded how many frames there were, 0 when nothing tells. With one hole only, the lost
///        ones are known to have stood there
FrameList framesOfFile(const std::vector<ChunkSpan>& frames, const std::vector<qint64>& holes,
                       size_t recorded);

/// How many of the frames at these places have an entry in a list of `count` entries.
size_t entriesLeft(const std::vector<size_t>& places, size_t count);

/// Their entries, of a list of `size` bytes.
QByteArray entriesAt(const std::vector<size_t>& places, const char* entries, size_t size,
                     size_t entrySize);

}  // namespace mz
