#pragma once

// Which whole chunks of a damaged movie the salvaged one keeps, in which order its frames come, and
// why it does not keep the rest.

#include <libDataIO/metadata/trailingchunks.h>
#include <libDataIO/salvage/damagedmovie.h>
#include <libDataIO/salvage/framelist.h>
#include <libDataIO/salvagereport.h>

#include <array>
#include <optional>
#include <vector>

namespace mz {

/// A frame whose chunk is whole and which cannot be kept nevertheless.
struct UselessFrame {
    size_t number;
    QString why;
};

struct SalvageSelection {
    FrameList frames;

    /// The one chunk of each kind, if there is one, in the order of trailingChunks; as info chunk
    /// only the last whole chunk of the file.
    std::array<std::optional<ChunkSpan>, trailingChunks.size()> trailing;

    std::vector<ChunkSpan> others;    ///< of types that nobody is known to write; kept as they are
    std::vector<SalvageGap> leftOut;  ///< all other bytes of the file, in no order

    void leaveOut(const ChunkSpan& chunk, const QString& why);

    /// The selection less some frames, given in ascending order of their numbers.
    SalvageSelection without(const std::vector<UselessFrame>& useless) const;
};

SalvageSelection selectChunks(const MovieRemains& movie);

/// Why a chunk that is beyond `maxFileSize` is not kept.
QString beyondAnyIndex();
/// Why an info chunk is not kept.
QString replacedInfo();

}  // namespace mz
