#pragma once

// Failures of the container that come through from every module above it.

#include <tests/support/expectfailure.h>

namespace mz::test {

/// A chunk's header, or what is left of one, cannot be written.
inline Failure headerWrite(int error) {
    return {"dataio.chunkheader", SYSCALL, "CHB_WFD_WRITE",
            systemError("Could not write chunk start header: ", error)};
}

/// A chunk's payload cannot be written.
inline Failure payloadWrite(int error) {
    return {"dataio.fdchunkwriter", SYSCALL, "FDCW_AC_WRITE",
            systemError("Could not write all data: ", error)};
}

/// What stands where a header must be is none.
inline Failure damagedHeader() {
    return {"dataio.chunkheader", SOFTWARE, "CHB_LFD_PARSE",
            QStringLiteral("Cannot read chunk header, file may be corrupted.")};
}

/// The index says more records than its chunk holds.
inline Failure indexTooSmall() {
    return {"dataio.chunkindex", SOFTWARE, "CI_L_CHUNK",
            QStringLiteral("Cannot read header index, chunk too small.")};
}

}  // namespace mz::test
