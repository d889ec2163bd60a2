#pragma once

// One time stamp a frame, and its two stored forms: the payload of the frame-timer chunk, and
// attributes in files of older recorders.

#include <libCommon/export.h>

#include <sys/time.h>

#include <cstddef>
#include <vector>

namespace mz {

class AttributeChunk;

/// Earlier before later: by seconds, then microseconds, as signed numbers.
struct TimevalLessThan {
    bool operator()(const timeval& a, const timeval& b) const {
        return a.tv_sec != b.tv_sec ? a.tv_sec < b.tv_sec : a.tv_usec < b.tv_usec;
    }
};

/// Seconds since 1970 (UTC) and microseconds of each frame; entry i belongs to frame i once sorted.
/// A vector with nothing added but its stored forms. Both keep the low 32 bits of seconds and
/// microseconds and read them back as signed numbers, so that stamps from 1901 to January 2038
/// survive. Nothing here throws on bad content or logs.
class DATAIO_EXPORT FrameTimer : public std::vector<timeval> {
public:
    /// Bytes of one time stamp in the raw form.
    static constexpr size_t rawRecordSize = 8;

    /// Sorts the timer and writes one record an entry: seconds, microseconds, each 32-bit signed in
    /// this machine's byte order. `size` must be that of all records; it is only checked to be that
    /// of whole ones: false if not, with nothing sorted or written.
    bool dumpToRawBuffer(char* buffer, unsigned int size);

    /// Replaces the entries by the records of `buffer`, in their order. False, and the timer left
    /// as it was, when `size` is not that of whole records.
    bool readFromRawBuffer(const char* buffer, unsigned int size);

    /// Sorts the timer and sets "frame_timer" to 1, "utc_offset_seconds" to the local time zone's
    /// present offset (east positive), and "frame_timer_n%d_sec" and "frame_timer_n%d_usec" for
    /// each entry; for an empty timer sets only "frame_timer", to 0. Keys of an earlier, longer
    /// timer stay (removeFromAttChunk removes them). Always true. Takes a ChunkInfo as well.
    bool dumpToChunkInfo(AttributeChunk& info);

    /// Replaces the entries by those of the attributes, up to the first index that is missing.
    /// False with an empty timer when "frame_timer" is no number or absent (its value does not
    /// matter); false with the entries so far when an index has seconds but no microseconds.
    bool readFromChunkInfo(const AttributeChunk& info);

    /// Removes "frame_timer" and the keys of the entries, up to the first that is missing. Nothing
    /// happens where "frame_timer" is no number or absent. "utc_offset_seconds" stays.
    static void removeFromAttChunk(AttributeChunk& attributes);
};

}  // namespace mz
