#pragma once

// From floating point to integers without surprises: halves go up, what does not fit is clamped,
// and not a number counts as zero. Every conversion of a coordinate, a power or a palette position
// comes here.

#include <cmath>
#include <limits>

namespace mz {

/// The nearest integer, halves rounded up (1.5 gives 2, -0.5 gives 0), clamped to the 32-bit range;
/// NaN gives 0.
inline int roundHalfUp(double value) {
    if (std::isnan(value)) return 0;
    const double rounded = std::floor(value + 0.5);
    if (rounded <= std::numeric_limits<int>::min()) return std::numeric_limits<int>::min();
    if (rounded >= std::numeric_limits<int>::max()) return std::numeric_limits<int>::max();
    return static_cast<int>(rounded);
}

/// The rounding of raster coordinates. Done in double, where adding a half to a float is exact.
inline int iRound(float value) {
    return roundHalfUp(static_cast<double>(value));
}

}  // namespace mz
