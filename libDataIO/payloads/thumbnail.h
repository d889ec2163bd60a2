#pragma once

// The pixels of a movie's thumbnail, from a frame and plain values. What the file says about the
// frame, and what is logged, is the reader's business. Nothing here throws.

#include <libCommon/mzpalette.h>

#include <QImage>

#include <cstdint>
#include <optional>

namespace mz {

/// How a frame is sampled to make it fit into a given size. Sizes are pixels, at least 1.
struct ThumbnailGrid {
    int frameWidth;
    int frameHeight;
    int width;
    int height;
    float step;   ///< frame pixels for one thumbnail pixel, the larger one of both axes
    float stepX;  ///< the same along each axis, with what rounding the size left over
    float stepY;
};

/// The largest size of the frame's proportions that fits; small frames are enlarged. Empty when any
/// argument is below 1 or a side would have no pixel.
std::optional<ThumbnailGrid> thumbnailGrid(int frameWidth, int frameHeight, int maxWidth,
                                           int maxHeight);

/// Lowest and highest sample of a frame, roughly.
struct ContrastWindow {
    int min;
    int max;
};

/// The window of a frame of width x height 16-bit samples in this machine's byte order, of any
/// alignment, rows from the top without padding. Looks at every fourth sample of every fourth row
/// of the middle, as signed values. A sample that raises the maximum is never taken as the minimum;
/// the window is at least 32 wide, and lies at 16383 where there is nothing to look at.
ContrastWindow contrastWindow(const char* frame, int width, int height);

/// What was wrong with a window within a palette's crop range.
struct ContrastFaults {
    bool badCropRange = false;  ///< the crop range is empty; nothing else was looked at
    bool minOutside = false;    ///< the window begins outside the crop range
    bool maxOutside = false;
};

/// Squeezes the palette's ramp onto the window; an end that lies outside the crop range is put at
/// the end of the crop range. A palette with an empty crop range is left as it is.
ContrastFaults squeezeRamp(MzPalette& palette, const ContrastWindow& window);

/// Thumbnail of a frame of 8-bit samples. `image` becomes an 8-bit indexed image that owns its
/// pixels, the samples themselves; it has no colour table, so that whoever shows it chooses one.
/// False, and `image` left as it was, when there is no memory for the image.
bool renderThumbnail8(const char* frame, const ThumbnailGrid& grid, QImage& image);

/// Thumbnail of a frame of 16-bit samples (see contrastWindow) through the palette, which has
/// nodes, as a 32-bit RGB image. Samples of the bit pattern `maskLevel` are black. False, and
/// `image` left as it was, when there is no memory for the image.
bool renderThumbnail16(const char* frame, const ThumbnailGrid& grid, const MzPalette& palette,
                       uint16_t maskLevel, QImage& image);

/// A drawn picture of 160 x 120 pixels for movies whose frames are no images.
QImage placeholderThumbnail();

}  // namespace mz
