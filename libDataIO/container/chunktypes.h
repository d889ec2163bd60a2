#pragma once

// What the types of chunks are for. A type that is added to the enumeration must be given a role
// here, and one that stands behind the frames a place among the trailing chunks.

#include <libDataIO/dataiocommon.h>

#include <optional>

namespace mz {

enum class ChunkRole {
    Frame,
    Trailing,  ///< stands behind the frames of a finished movie (metadata/trailingchunks.h)
    Reserved   ///< written by nobody, left where it is when it is found
};

/// Empty for a number that is no type of the format.
constexpr std::optional<ChunkRole> roleOfChunk(unsigned int type) {
    switch (static_cast<MZImageChunkType>(type)) {
        case MZ_CT_FRAME:
            return ChunkRole::Frame;
        case MZ_CT_INFO:
        case MZ_CT_FIBERCENTER:
        case MZ_CT_FRAMETIMER:
        case MZ_CT_LASERPOWER:
            return ChunkRole::Trailing;
        case MZ_CT_HEADER:
        case MZ_CT_PALETTE:
        case MZ_CT_THUMBNAIL:
        case MZ_CT_INDEX:
            return ChunkRole::Reserved;
    }
    return std::nullopt;
}

}  // namespace mz
