#pragma once

// A palette's colour table once more, entry by entry and backwards: which step wrote an entry last?

#include <libDataIO/paldatagenerator.h>

#include <cmath>
#include <cstdint>
#include <iterator>
#include <list>
#include <optional>
#include <vector>

namespace mz::test {

inline int64_t rounded(double x) {
    if (std::isnan(x)) return 0;
    if (x < -2147483648.0) return -2147483648LL;
    if (x > 2147483647.0) return 2147483647LL;
    return std::llrint(2 * x + 0.5) >> 1;
}

inline QRgb mixed(const PalColor& a, const PalColor& b, double k, double n) {
    const auto channel = [&](double from, double to) {
        return static_cast<int>(rounded(255 * (from + (to - from) * k / n)));
    };
    return qRgb(channel(a._r, b._r), channel(a._g, b._g), channel(a._b, b._b));
}

inline QRgb plain(const PalColor& color) {
    return mixed(color, color, 0, 1);
}

/// The largest position from `from` to `to` that falls on `index` of a table of that size.
inline std::optional<int64_t> lastOn(int64_t index, int64_t from, int64_t to, int64_t size) {
    const int64_t back = (((to - index) % size) + size) % size;
    if (to - back < from) return std::nullopt;
    return to - back;
}

template <class PositionOf>
std::optional<QRgb> segmentOn(int64_t index, int64_t size, const std::list<PalNode>& nodes,
                              PositionOf positionOf) {
    for (auto b = nodes.rbegin(); std::next(b) != nodes.rend(); ++b) {
        const PalNode& a = *std::next(b);
        const int64_t pa = positionOf(a._val);
        const int64_t pb = positionOf(b->_val);
        if (pb <= pa) continue;
        if (auto p = lastOn(index, pa, pb, size))
            return mixed(a._col, b->_col, static_cast<double>(*p - pa),
                         static_cast<double>(pb - pa));
    }
    return std::nullopt;
}

class Naive {
public:
    Naive(const MzPalette& palette, int min, int max) : _palette(palette), _min(min), _max(max) {
        _cropMin = palette._cropMinInt;
        _cropMax = palette._cropMaxInt;
        _first = positionOf(palette._nodes.front()._val);
        _last = positionOf(palette._nodes.back()._val);
        if (_first < min) {
            _first = min;
            _cropMin = min;
        }
        if (_last > max) {
            _last = max;
            _cropMax = max;
        }
    }

    QRgb entry(int64_t index, QRgb before) const {
        return _palette._transfo == PTID ? straight(index, before) : bent(index, before);
    }

private:
    int64_t positionOf(float value) const {
        return rounded(_cropMin + (_cropMax - _cropMin) * static_cast<double>(value));
    }
    int64_t size() const { return _max - _min + 1; }
    QRgb low() const {
        return plain(_palette._saturationSignal ? _palette._lowSignalCol
                                                : _palette._nodes.front()._col);
    }
    QRgb high() const {
        return plain(_palette._saturationSignal ? _palette._highSignalCol
                                                : _palette._nodes.back()._col);
    }

    QRgb straight(int64_t index, QRgb before) const {
        if (_last != _max && lastOn(index, _last, _max, size())) return high();
        if (auto color = segmentOn(index, size(), _palette._nodes,
                                   [this](float v) { return positionOf(v); }))
            return *color;
        if (_first != _min && lastOn(index, _min, _first, size())) return low();
        return before;
    }

    QRgb bent(int64_t index, QRgb before) const {
        if (auto at = lastOn(index, _first, _last - 1, size())) {
            const auto x = static_cast<float>(static_cast<double>(*at - _first) /
                                              static_cast<double>(_last - _first));
            return fine(rounded(65535.0 * palTransfer(_palette._transfo)(x)));
        }
        if (lastOn(index, _last, _max, size())) return high();
        if (lastOn(index, _min, _first - 1, size())) return low();
        return before;
    }

    QRgb fine(int64_t index) const {
        const double first = _palette._nodes.front()._val;
        const double scale = 65535 / (_palette._nodes.back()._val - first);
        return segmentOn(index, 65536, _palette._nodes,
                         [&](float v) { return rounded((v - first) * scale); })
            .value_or(0);
    }

    const MzPalette& _palette;
    int64_t _min;
    int64_t _max;
    double _cropMin;
    double _cropMax;
    int64_t _first;
    int64_t _last;
};

}  // namespace mz::test
