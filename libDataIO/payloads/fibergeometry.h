#pragma once

// Where the fibres of the imaging bundle fall in the image: the payload of the fibre-centre chunk
// in both directions, and the filtered, sorted and rounded lists that callers ask for. Positions
// are x, y pairs in raster pixel coordinates: 0 is the left or top edge of pixel 0.

#include <libDataIO/metadata/attributekeys.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace mz {

/// Edges of the bundle in raster pixel coordinates.
struct BundleBox {
    float minX, minY, maxX, maxY;
};

/// Which positions are kept.
enum class FiberFilter {
    All,      ///< every fibre, unchanged
    Clamped,  ///< every fibre, moved onto the border when outside the image
    InBundle  ///< fibres inside the image and inside the ellipse of the bundle box, where there is
              ///< one
};

// --- the payload: two unsigned 32-bit fractions (of width and height) a fibre ---

/// Each whole 32-bit word as a fraction from 0 to 1; up to 3 bytes left over are ignored.
std::vector<float> decodeFiberFractions(const void* payload, size_t size, bool otherByteOrder);

/// The words of a list of positions, each clamped into the image first. Width and height are
/// positive.
std::vector<uint32_t> encodeFiberCenters(const std::vector<float>& positions, ImageSize image);

/// The positions of whole pairs of words in native order, at most the image's last column and row.
std::vector<float> decodeFiberCenters(const void* payload, size_t size, ImageSize image);

// --- lists ---

/// Positions of all whole pairs of fractions, filtered, in recording order.
std::vector<float> rasterPositions(const std::vector<float>& fractions, ImageSize image,
                                   FiberFilter filter, const std::optional<BundleBox>& box);

/// Row by row from the top, left to right within a row; a row is a rounded y. Not stable.
void sortPositions(std::vector<float>& positions);

/// Each coordinate rounded to the nearest pixel, halves up.
std::vector<unsigned int> roundedPositions(const std::vector<float>& positions);

/// Pixel offset y × width + x of each rounded position, in unsigned arithmetic.
std::vector<unsigned int> pixelOffsets(const std::vector<unsigned int>& positions, int width);

/// The 16-bit samples of an image of `pixels` pixels at those offsets, which makes a vectorized
/// frame of it. `image` may lie at any address.
/// @return false when an offset lies outside the image; `samples` then holds anything
bool sampleAtOffsets(const void* image, int64_t pixels, const std::vector<unsigned int>& offsets,
                     std::vector<uint16_t>& samples);

/// Pixel centres scaled by the longer side of the image, y pointing up.
std::vector<float> worldPositions(const std::vector<float>& positions, ImageSize image);

}  // namespace mz
