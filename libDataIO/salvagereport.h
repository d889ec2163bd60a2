#pragma once

// What salvaging a damaged movie says of its work.

#include <QString>

#include <vector>

namespace mz {

/// Bytes of a damaged file that were not kept.
struct SalvageGap {
    qint64 offset;
    qint64 length;
    QString why;  ///< in English; ends with the system's reason where that did not give them
};

/// What salvaging a file has kept and what it has not. Of a file that was not sound, each byte was
/// either kept or lies in one gap.
struct SalvageReport {
    bool wasSound = false;         ///< the file opened as it was; its frames were not looked at
    unsigned int framesKept = 0;   ///< each has been read back, unless the file was sound
    qint64 bytesKept = 0;          ///< of whole chunks, framing included; all of a sound file
    qint64 bytesCut = 0;           ///< in place: cut off the file; else: not in the new file
    std::vector<SalvageGap> gaps;  ///< in ascending order of offset; what was cut is among them
};

}  // namespace mz
