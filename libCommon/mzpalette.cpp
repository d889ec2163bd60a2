#include <libCommon/mzpalette.h>

#include <cmath>

namespace mz {

namespace {

float gammaTransfer(float x) {
    return std::pow(x, 1.0F / 2.2F);
}

/// The logistic function 1 / (1 + exp(-10 (x - 0.5))), shifted and scaled onto [0, 1].
float sigmoidTransfer(float x) {
    return 0.5F + 0.5F * std::tanh(5.0F * x - 2.5F) / std::tanh(2.5F);
}

}  // namespace

PalTransfer palTransfer(PalTransfoType type) {
    switch (type) {
        case PTGAMMA:
            return &gammaTransfer;
        case PTSIGMOID:
            return &sigmoidTransfer;
        case PTID:
            break;
    }
    return nullptr;
}

void MzPalette::initDefault() {
    *this = MzPalette();
    _nodes.emplace_back(0.0F, PalColor(0, 0, 0));
    _nodes.emplace_back(1.0F, PalColor(1, 1, 1));
}

void MzPalette::adjustNodeValues(float min, float max) {
    for (PalNode& node : _nodes)
        node._val = min + node._val * (max - min);
}

bool operator==(const MzPalette& a, const MzPalette& b) {
    return a._cropMinInt == b._cropMinInt && a._cropMaxInt == b._cropMaxInt && a._name == b._name &&
           a._highSignalCol == b._highSignalCol && a._lowSignalCol == b._lowSignalCol &&
           a._saturationSignal == b._saturationSignal && a._nodes == b._nodes &&
           a._transfo == b._transfo;
}

}  // namespace mz
