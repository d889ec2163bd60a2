#pragma once

// Frames for the library's own use. Not installed.

#include <libDataIO/imagereader.h>
#include <libDataIO/movies/openmovie.h>

#include <optional>

namespace mz {

/// What ImageReader::getRawFrame gives, but always read by system calls, so that a page that the
/// disk cannot give, and a file that is cut meanwhile, are errors and never signals.
struct FrameReading {
    /// @return empty when there is no such frame; valid as getRawFrame's
    static std::optional<FrameView> rawFrame(ImageReader& reader, unsigned int index);
};

}  // namespace mz
