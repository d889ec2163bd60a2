#pragma once

// Palettes that several tests look through.

#include <libCommon/mzpalette.h>

namespace mz::test {

/// Black at the lower end of the crop range, white at the upper.
inline MzPalette grey(int cropMin, int cropMax) {
    MzPalette palette;
    palette.initDefault();
    palette._cropMinInt = cropMin;
    palette._cropMaxInt = cropMax;
    return palette;
}

}  // namespace mz::test
