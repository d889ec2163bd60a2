#pragma once

// What stands behind the frames of a finished movie. The writer appends it in this order, modify()
// takes it off from behind, and salvage looks for it.

#include <libDataIO/container/chunktypes.h>
#include <libDataIO/frametimer.h>

#include <array>
#include <cstddef>

namespace mz {

struct TrailingChunk {
    MZImageChunkType type;
    std::size_t bytesPerFrame;  ///< of a list that runs parallel to the frames; 0 when it is none
};

/// In the order of the file; the info chunk is the last, since readers find all others through it.
inline constexpr std::array trailingChunks = {
    TrailingChunk{MZ_CT_FIBERCENTER, 0},
    TrailingChunk{MZ_CT_FRAMETIMER, FrameTimer::rawRecordSize},
    TrailingChunk{MZ_CT_LASERPOWER, 1},
    TrailingChunk{MZ_CT_INFO, 0},
};

/// Whether every type of that role has its place above, once.
constexpr bool areTrailingChunksComplete() {
    constexpr unsigned int beyondAnyType = 256;
    for (unsigned int type = 0; type < beyondAnyType; ++type) {
        int places = 0;
        for (const TrailingChunk& chunk : trailingChunks)
            places += chunk.type == type ? 1 : 0;
        if (places != (roleOfChunk(type) == ChunkRole::Trailing ? 1 : 0)) return false;
    }
    return trailingChunks.back().type == MZ_CT_INFO;
}
static_assert(areTrailingChunksComplete());

}  // namespace mz
