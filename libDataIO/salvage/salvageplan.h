#pragma once

// What a salvaged movie is going to be: where each chunk stands that it keeps, and what is written
// behind the frames. Follows from what was found and given alone, and changes with nothing that is
// written or read later: what turns out to be of no use makes another plan.

#include <libDataIO/salvage/salvageselection.h>

#include <QByteArray>

#include <memory>
#include <variant>
#include <vector>

namespace mz {

/// Whether chunks stay where they are or are written anew.
enum class SalvageMode { InPlace, Copy };

/// A whole chunk of the damaged movie.
struct KeptChunk {
    ChunkSpan original;
    qint64 offset;  ///< where it stands in the salvaged file
};

/// Those entries of a list parallel to the recorded frames that belong to frames which are left.
struct LeftEntries {
    ChunkSpan list;
    size_t entrySize;
    std::vector<size_t> places;
};

/// What is written as a payload: that of a chunk of the damaged movie, a part of one, or new bytes.
using PlannedPayload = std::variant<ChunkSpan, LeftEntries, QByteArray>;

/// A chunk that is to be written.
struct PlannedChunk {
    unsigned int type;
    qint64 offset;      ///< where it stands in the salvaged file
    unsigned int size;  ///< of the payload
    PlannedPayload payload;
};

class SalvagePlan {
public:
    /// @param attributes those of the salvaged movie
    /// @param fibers positions for a movie without fibres; may be empty
    /// @throws IOFileException "IU_S_SIZE" when these positions are needed, but the attributes do
    ///         not tell the size of the image in which they lie
    static SalvagePlan of(const MovieRemains& movie, SalvageMode mode,
                          const AttributeChunk& attributes, const std::vector<float>& fibers);

    /// The plan for the movie less some frames, given in ascending order of their numbers.
    SalvagePlan without(const std::vector<UselessFrame>& useless) const;
    /// The plan with its tail from another offset on, for a movie that stays in place.
    SalvagePlan withTailAt(qint64 offset) const;

    size_t frameCount() const { return _selection.frames.frames.size(); }
    const std::vector<ChunkSpan>& frames() const { return _selection.frames.frames; }
    const AttributeChunk& attributes() const { return _basis->attributes; }
    /// How many samples a vectorized frame has.
    unsigned int fiberCount() const;

    /// The frames in the order of the recording, then the chunks that are neither frames nor
    /// trailing ones. They stay, or are copied in this order.
    const std::vector<KeptChunk>& kept() const { return _kept; }

    /// What is written behind them without gaps: the trailing chunks that do not stay where they
    /// are, the info chunk last. In place it begins at the end of the file, unless it was moved.
    const std::vector<PlannedChunk>& tail() const { return _tail; }
    qint64 tailSize() const;

    /// Whether the movie stays in place and its last chunk, but for a torn one, is an info chunk
    /// that says just what the planned one does. Nothing need be written then.
    bool ownInfoStands() const;

    /// What is kept when the plan has been carried out.
    SalvageReport report() const;

private:
    /// What does not differ from plan to plan.
    struct Basis {
        SalvageMode mode;
        AttributeChunk attributes;
        /// Payloads of the trailing chunks that the movie has not, in the order of trailingChunks.
        std::array<QByteArray, trailingChunks.size()> supplied;
        QByteArray ownInfo;
        qint64 fileSize;  ///< with an unfinished end
        qint64 soundEnd;
    };

    SalvagePlan(std::shared_ptr<const Basis> basis, SalvageSelection selection, qint64 tailOffset);

    void _placeKept();
    void _planTail(qint64 offset);
    PlannedPayload _payloadOf(size_t kind, const ChunkSpan& original) const;
    std::vector<UselessFrame> _framesBeyondAnyIndex() const;

    std::shared_ptr<const Basis> _basis;
    SalvageSelection _selection;
    std::vector<KeptChunk> _kept;
    std::vector<PlannedChunk> _tail;
};

}  // namespace mz
