#pragma once

// How a movie's samples are to be shown: a range of sample values and a ramp of colours over it.

#include <libCommon/export.h>

#include <QString>

#include <list>

namespace mz {

/// Red, green and blue, each from 0 to 1.
struct PalColor {
    PalColor() = default;
    PalColor(float r, float g, float b) : _r(r), _g(g), _b(b) {}

    float _r = 0;
    float _g = 0;
    float _b = 0;
};

/// A colour at a position of the ramp, 0 at its lower and 1 at its upper end.
struct PalNode {
    PalNode() = default;
    PalNode(float val, PalColor col) : _val(val), _col(col) {}

    float _val = 0;
    PalColor _col;
};

/// How a position x on the way from the first node (0) to the last (1) is bent before the ramp
/// gives it a colour.
enum PalTransfoType : int {
    PTID = 0,       ///< not at all
    PTGAMMA = 1,    ///< x ^ (1 / 2.2), the usual display gamma: lifts dark tissue
    PTSIGMOID = 2,  ///< logistic curve around 0.5 with steepness 10, scaled to run from 0 to 1
};

/// Clamped to [0, 1], 0 for a NaN: what positions and colours outside their range count as.
inline float clampedToUnit(float value) {
    if (!(value > 0.0F)) return 0.0F;
    return value < 1.0F ? value : 1.0F;
}

/// Maps [0, 1) into [0, 1].
using PalTransfer = float (*)(float);

/// The function of a transfer type; null for PTID and for values outside the enumeration.
DATAIO_EXPORT PalTransfer palTransfer(PalTransfoType type);

/// A plain value. As constructed it has no nodes, so it shows nothing: no name, identity transfer,
/// the crop range of all signed 16-bit samples, signal colours red and blue but not in use.
///
/// Of its fields, a file keeps crop range, name and nodes; the others come back as constructed.
struct DATAIO_EXPORT MzPalette {
    int _cropMinInt = -32768;  ///< sample value at position 0 of the ramp
    int _cropMaxInt = 32767;   ///< sample value at position 1 of the ramp
    QString _name;
    PalColor _highSignalCol{1, 0, 0};  ///< for samples above the ramp
    PalColor _lowSignalCol{0, 0, 1};   ///< for samples below the ramp
    bool _saturationSignal = false;    ///< whether the two signal colours are used
    std::list<PalNode> _nodes;         ///< the ramp, in ascending order of _val
    PalTransfoType _transfo = PTID;

    /// Resets everything and makes the ramp from black to white: what a movie without a palette is
    /// shown with.
    void initDefault();

    /// Squeezes the ramp into a part of the crop range: each node's _val becomes
    /// min + _val * (max - min). Used to spread the ramp over the samples that a frame really
    /// holds.
    void adjustNodeValues(float min, float max);
};

inline bool operator==(const PalColor& a, const PalColor& b) {
    return a._r == b._r && a._g == b._g && a._b == b._b;
}
inline bool operator!=(const PalColor& a, const PalColor& b) {
    return !(a == b);
}
inline bool operator==(const PalNode& a, const PalNode& b) {
    return a._val == b._val && a._col == b._col;
}
inline bool operator!=(const PalNode& a, const PalNode& b) {
    return !(a == b);
}
DATAIO_EXPORT bool operator==(const MzPalette& a, const MzPalette& b);
inline bool operator!=(const MzPalette& a, const MzPalette& b) {
    return !(a == b);
}

}  // namespace mz
