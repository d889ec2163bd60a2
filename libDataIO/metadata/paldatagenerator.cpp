#include <libDataIO/base/rounding.h>
#include <libDataIO/paldatagenerator.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <numeric>

namespace mz {

namespace {

/// Once a node, so that nothing needs it once an entry.
PalColor clampedColor(const PalColor& color) {
    return {clampedToUnit(color._r), clampedToUnit(color._g), clampedToUnit(color._b)};
}

/// A component from 0 to 1 as 8 bits. Never negative, and lround would be a call for each entry.
inline uint32_t channel(double c) {
    // NOLINTNEXTLINE(bugprone-incorrect-roundings)
    return static_cast<uint32_t>(static_cast<int32_t>(255.0 * c + 0.5));
}

/// The colour on the way from one to another, t from 0 to 1.
inline QRgb between(const PalColor& from, const PalColor& to, double t) {
    const auto lerp = [t](double a, double b) { return channel(a + (b - a) * t); };
    return 0xff000000U | lerp(from._r, to._r) << 16 | lerp(from._g, to._g) << 8 |
           lerp(from._b, to._b);
}

QRgb packed(const PalColor& color) {
    const PalColor clamped = clampedColor(color);
    return between(clamped, clamped, 0.0);
}

/// The way from one node to the next: positions from to to, from < to.
struct Segment {
    int64_t from;
    int64_t to;
    PalColor fromColor;
    PalColor toColor;

    /// Colours from the k-th of the segment on.
    void write(QRgb* out, size_t count, int64_t k) const {
        const auto first = static_cast<double>(k);
        const auto n = static_cast<double>(to - from);
        for (int i = 0; i < static_cast<int>(count); ++i)
            out[i] = between(fromColor, toColor, (first + i) / n);
    }
};

/// Which entries were not written yet. Finding the next one costs next to nothing however many
/// written ones lie between.
class UnwrittenEntries {
public:
    explicit UnwrittenEntries(size_t size) : _next(size + 1) {
        std::iota(_next.begin(), _next.end(), size_t{0});
    }
    /// The first unwritten entry from `index` on, or the number of entries.
    size_t from(size_t index) {
        while (_next[index] != index)
            index = _next[index] = _next[_next[index]];
        return index;
    }
    void markWritten(size_t index) { _next[index] = index + 1; }

private:
    std::vector<size_t> _next;
};

/// A table whose positions wrap around at its size, a power of two.
class WrappedTable {
public:
    explicit WrappedTable(std::vector<QRgb>& entries) : _entries(entries) {}

    QRgb& operator[](int64_t at) { return _entries[index(at)]; }

    /// All positions from `from` to `to` inclusive; none when to < from.
    void fill(int64_t from, int64_t to, QRgb color) {
        eachRun(std::max(from, to - size() + 1), to, [&](size_t at, size_t count, int64_t) {
            std::fill_n(_entries.begin() + static_cast<ptrdiff_t>(at), count, color);
        });
    }

    /// Leaves what writing the segments one after the other leaves: the last one wins. Ordinary
    /// ramps are written just so. Many segments on top of each other, which only a damaged or made
    /// up palette has, are taken from the last to the first and write only what is unwritten.
    void write(const std::vector<Segment>& segments) {
        int64_t total = 0;
        for (const Segment& segment : segments)
            total += std::min(segment.to - segment.from + 1, size());
        if (total > 2 * size()) {
            writeFromTheLast(segments);
            return;
        }
        for (const Segment& segment : segments)
            write(segment);
    }

private:
    int64_t size() const { return static_cast<int64_t>(_entries.size()); }
    size_t index(int64_t at) const { return static_cast<size_t>(at) & (_entries.size() - 1); }

    /// Calls action(index, count, offset from `from`) for the one or two stretches of memory that
    /// hold the positions from `from` to `to`, at most as many as there are entries.
    template <class Action>
    void eachRun(int64_t from, int64_t to, Action action) {
        if (to < from) return;
        const auto count = static_cast<size_t>(to - from + 1);
        const size_t begin = index(from);
        const size_t first = std::min(count, _entries.size() - begin);
        action(begin, first, int64_t{0});
        if (first < count) action(size_t{0}, count - first, static_cast<int64_t>(first));
    }

    /// Of a segment longer than the table only the end can be seen.
    int64_t visibleFrom(const Segment& segment) const {
        return std::max(segment.from, segment.to - size() + 1);
    }

    void write(const Segment& segment) {
        const int64_t from = visibleFrom(segment);
        eachRun(from, segment.to, [&](size_t at, size_t count, int64_t offset) {
            segment.write(&_entries[at], count, from - segment.from + offset);
        });
    }

    void writeFromTheLast(const std::vector<Segment>& segments) {
        UnwrittenEntries unwritten(_entries.size());
        for (auto segment = segments.rbegin(); segment != segments.rend(); ++segment) {
            const int64_t from = visibleFrom(*segment);
            eachRun(from, segment->to, [&](size_t begin, size_t count, int64_t offset) {
                for (size_t at = unwritten.from(begin); at < begin + count;
                     at = unwritten.from(at + 1)) {
                    const int64_t k =
                        from - segment->from + offset + static_cast<int64_t>(at - begin);
                    segment->write(&_entries[at], 1, k);
                    unwritten.markWritten(at);
                }
            });
        }
    }

    std::vector<QRgb>& _entries;
};

/// The segments between neighbours of the list that lie in rising order. `positionOf` gives the
/// position of a node's value.
template <class PositionOf>
std::vector<Segment> segmentsOf(const std::list<PalNode>& nodes, PositionOf positionOf) {
    std::vector<Segment> segments;
    segments.reserve(nodes.size());
    for (auto to = std::next(nodes.begin()); to != nodes.end(); ++to) {
        const PalNode& from = *std::prev(to);
        const int64_t begin = positionOf(from._val);
        const int64_t end = positionOf(to->_val);
        if (begin < end)
            segments.push_back({begin, end, clampedColor(from._col), clampedColor(to->_col)});
    }
    return segments;
}

/// Where the ramp lies in the table, with the crop range that its nodes are placed by.
struct Placement {
    double cropMin;
    double cropMax;
    int64_t firstPos;
    int64_t lastPos;

    Placement(const MzPalette& palette, int min, int max)
        : cropMin(palette._cropMinInt), cropMax(palette._cropMaxInt) {
        firstPos = positionOf(palette._nodes.front()._val);
        lastPos = positionOf(palette._nodes.back()._val);
        // Shortening the crop range moves all nodes: a ramp wider than the samples is squeezed.
        if (firstPos < min) cropMin = static_cast<double>(firstPos = min);
        if (lastPos > max) cropMax = static_cast<double>(lastPos = max);
    }

    int64_t positionOf(float value) const {
        return roundHalfUp(cropMin + (cropMax - cropMin) * double{value});
    }
};

/// The ramp from the first to the last node in 65,536 steps, for transfer functions to choose from.
std::vector<QRgb> fineRamp(const std::list<PalNode>& nodes) {
    std::vector<QRgb> ramp(65536, 0);
    const double first = nodes.front()._val;
    const double scale = 65535.0 / (nodes.back()._val - first);
    WrappedTable(ramp).write(
        segmentsOf(nodes, [&](float value) { return roundHalfUp((value - first) * scale); }));
    return ramp;
}

void writeTransferred(WrappedTable& table, const Placement& placed, const std::vector<QRgb>& ramp,
                      PalTransfer transfer) {
    const auto width = static_cast<double>(placed.lastPos - placed.firstPos);
    for (int64_t at = placed.firstPos; at < placed.lastPos; ++at) {
        const auto x = static_cast<float>(static_cast<double>(at - placed.firstPos) / width);
        table[at] = ramp[static_cast<size_t>(roundHalfUp(65535.0 * transfer(x))) & 0xffff];
    }
}

void generate(const MzPalette& palette, std::vector<QRgb>& entries, int flags, int specialValue,
              int min, int max) {
    if (palette._nodes.empty()) return;
    entries.resize(static_cast<size_t>(max - min) + 1);
    WrappedTable table(entries);
    const Placement placed(palette, min, max);

    const bool signal = palette._saturationSignal;
    const PalColor& low = signal ? palette._lowSignalCol : palette._nodes.front()._col;
    const PalColor& high = signal ? palette._highSignalCol : palette._nodes.back()._col;
    const QRgb lowColor = packed(low);
    const QRgb highColor = packed(high);

    // The first position belongs to the ramp and the last one to the outer colour, in both ways.
    if (const PalTransfer transfer = palTransfer(palette._transfo)) {
        table.fill(min, placed.firstPos - 1, lowColor);
        table.fill(placed.lastPos, max, highColor);
        writeTransferred(table, placed, fineRamp(palette._nodes), transfer);
    } else {
        if (placed.firstPos != min) table.fill(min, placed.firstPos, lowColor);
        table.write(segmentsOf(palette._nodes, [&](float v) { return placed.positionOf(v); }));
        if (placed.lastPos != max) table.fill(placed.lastPos, max, highColor);
    }

    if (flags & MakeMinValueBlack) table[min] &= 0xff000000U;
    if (flags & MakeSpecificValueBlack) table[specialValue] &= 0xff000000U;
}

}  // namespace

template <class Lerp>
void PalDataGenerator<Lerp>::operator()(const MzPalette& palette, std::vector<QRgb>& table,
                                        int flags,
                                        typename Lerp::Info::SpecialValue specialValue) const {
    generate(palette, table, flags, specialValue, Lerp::Info::minLookupIdx,
             Lerp::Info::maxLookupIdx);
}

template class PalDataGenerator<LerpQRGB<IdxSigned8>>;
template class PalDataGenerator<LerpQRGB<IdxUnsigned8>>;
template class PalDataGenerator<LerpQRGB<IdxSigned16>>;
template class PalDataGenerator<LerpQRGB<IdxUnsigned16>>;

}  // namespace mz
