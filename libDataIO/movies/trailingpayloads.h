#pragma once

// The payloads of the chunks that stand behind the frames of a finished movie, encoding and
// decoding side by side.

#include <libDataIO/chunkinfo.h>
#include <libDataIO/dataiocommon.h>
#include <libDataIO/movies/framelists.h>

#include <QByteArray>

#include <optional>
#include <vector>

namespace mz {

/// What a recording holds besides the bytes of its frames.
struct MovieContents {
    ChunkInfo info;             ///< attributes, and the places of all chunks but the frames
    FrameLists frames;          ///< places, times and powers
    std::vector<float> fibers;  ///< x, y pairs in raster pixel coordinates
    bool hasAutotime = true;    ///< a movie that is timed has a timer, though it be empty

    void clear();
};

/// The payload of a trailing chunk; empty when the movie needs none of that type. Sorts the times,
/// which stand in the file in ascending order.
/// @throws IOFileException "IW_ARFCI_INFO" when there are fibres but no positive size
std::optional<QByteArray> trailingPayload(MZImageChunkType type, MovieContents& contents);

/// The reverse, for all but the info chunk, which is loaded first.
/// @throws IOFileException "IW_ARFCI_INFO2" for fibres of a movie without a positive size
void loadTrailingPayload(MZImageChunkType type, const void* payload, unsigned int size,
                         MovieContents& contents);

}  // namespace mz
