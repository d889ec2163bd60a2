#pragma once

// A thumbnail of a frame, by what the header says of its pixels. The pixels themselves are made in
// payloads/thumbnail.h.

#include <libDataIO/attributechunk.h>
#include <libDataIO/movies/openmovie.h>
#include <libDataIO/payloads/thumbnail.h>

#include <QString>

namespace mz {

/// @param fileName named in the warnings about samples outside the palette's crop range
/// @return false, with `image` as it was, when the frame is too short or no thumbnail is made of
///         such pixels
bool renderThumbnail(FrameView frame, const AttributeChunk& header, const ThumbnailGrid& grid,
                     const QString& fileName, QImage& image);

}  // namespace mz
