#pragma once

// What a recording keeps of each frame: its place in the file, its time and its laser power, in
// lists that run parallel to each other.

#include <libDataIO/chunkindex.h>
#include <libDataIO/frametimer.h>

#include <cstddef>
#include <optional>
#include <vector>

namespace mz {

/// Every frame has a place and, since frames are added here alone, a power, though perhaps "none".
/// Frames without a time leave the times shorter than the frames. Movies of other recorders may
/// lack powers.
class FrameLists {
public:
    const std::vector<ChunkRecord>& records() const { return _records; }
    FrameTimer& times() { return _times; }
    const FrameTimer& times() const { return _times; }
    std::vector<float>& powers() { return _powers; }
    const std::vector<float>& powers() const { return _powers; }

    std::size_t size() const { return _records.size(); }
    bool empty() const { return _records.empty(); }
    void clear();

    /// Takes over the places of a movie that is reopened; its times and powers are loaded into the
    /// lists themselves.
    void setRecords(std::vector<ChunkRecord> records) { _records = std::move(records); }

    /// A frame that is in the file must get its entries without anything that can fail: makes sure
    /// that the next add() does not allocate.
    void makeRoomForOne();
    void add(ChunkRecord record, std::optional<timeval> time, float power) noexcept;

    bool hasTime(std::size_t frame) const { return frame < _times.size(); }
    /// Makes sure that replace() does not allocate.
    void makeRoomForPowers() { _powers.reserve(_records.size()); }
    /// The time, if one is given, of a frame that has one. Powers missing up to the last frame are
    /// filled up with "none" when `power` is not negative.
    void replace(std::size_t frame, std::optional<timeval> time, float power) noexcept;

    /// Frames 0 to count - 1 are a ring whose oldest one is `first`, which becomes frame 0. Times
    /// stay, since they are written in ascending order.
    /// @return false when there are powers but not one a frame: they stay as they are then
    bool rotate(std::size_t first, std::size_t count);

private:
    std::vector<ChunkRecord> _records;
    FrameTimer _times;
    std::vector<float> _powers;
};

}  // namespace mz
