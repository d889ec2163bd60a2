#pragma once

// What a salvaged movie is going to hold: which chunks of the damaged one, in which order, and what
// stands behind the frames.

#include <libDataIO/salvage/damagedmovie.h>
#include <libDataIO/filewriter.h>
#include <libDataIO/salvage/framelist.h>
#include <libDataIO/salvagereport.h>

#include <vector>

namespace mz {

/// Whether chunks stay where they are or are written anew.
enum class SalvageMode { InPlace, Copy };

class SalvagePlan {
public:
    /// @param given attributes for what the movie does not say itself
    /// @param fibers positions for a movie without fibres; may be empty
    SalvagePlan(DamagedMovie& movie, SalvageMode mode, AttributeChunk const& given,
                std::vector<float> const& fibers);

    size_t frameCount() const { return _list.frames.size(); }

    /// Takes frames out, by their numbers in ascending order; they become gaps of the report.
    void dropFrames(std::vector<size_t> const& numbers, QString const& why);

    /// Copies the frames to the writer's cursor, and what else there is but fibres, times and
    /// powers. Frames with which the file would outgrow its index are dropped.
    void writeChunks(FileWriter& writer);

    /// Writes fibres, times and powers, as far as they do not stay where they are, and the info
    /// chunk at the writer's cursor.
    void writeTail(FileWriter& writer);

    /// Whether the movie's own info chunk is whole and says just what writeTail has written.
    bool ownInfoStands();

    /// @param keepsOwnInfo the movie's own info chunk stays the last chunk
    SalvageReport report(bool keepsOwnInfo) const;

private:
    /// Fibres, times or powers.
    struct Trailing {
        unsigned int type;
        boost::optional<ChunkSpan> original;
        size_t entrySize;  ///< of what runs parallel to the frames, 0 for fibres
        bool isDropped;    ///< nothing of it can be used
        bool staysAsItIs;  ///< decided when it is written
    };

    void _sortChunks();
    void _orderFrames(std::vector<ChunkSpan> const& frames);
    void _keepLast(Trailing& trailing, ChunkSpan const& chunk);
    std::vector<qint64> _holes() const;
    size_t _recordedFrames() const;
    void _dropUnrelatedLists();
    qint64 _tailSize() const;
    QByteArray _payload(Trailing& trailing);
    QByteArray _givenFibers() const;
    void _addGap(ChunkSpan const& chunk, QString const& why);

    DamagedMovie& _movie;
    const SalvageMode _mode;
    AttributeChunk _attributes;
    const std::vector<float> _fibers;
    FrameList _list;
    std::vector<KeptChunk> _others;
    std::vector<Trailing> _trailing;
    std::vector<SalvageGap> _gaps;
    QByteArray _info;  ///< payload of the info chunk last written
};

}  // namespace mz
