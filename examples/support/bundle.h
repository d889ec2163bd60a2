#pragma once

// The imaging bundle as the examples need it: where its fibres end in the image, and what each of
// them sees.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace examples {

/// A round bundle in the middle of an image.
struct Bundle {
    std::vector<float> fibres;  ///< x, y of each fibre's centre, in pixels
    float pitch = 0;            ///< distance of neighbours, in pixels
    float centreX = 0;
    float centreY = 0;
    float radius = 0;

    std::size_t count() const { return fibres.size() / 2; }
};

/// A hexagonal bundle that nearly fills the shorter side, of some ten thousand fibres where the
/// image has room for them (at least twelve pixels a fibre). The fibres lie a little off the
/// perfect grid, as they do in glass, always in the same way.
Bundle hexagonalBundle(int width, int height);

/// One sample a fibre: the mean of the three by three pixels around its centre.
/// @param image width * height samples, rows from the top
std::vector<std::uint16_t> sampleFibres(const std::uint16_t* image, int width, int height,
                                        const std::vector<float>& fibres);

}  // namespace examples
