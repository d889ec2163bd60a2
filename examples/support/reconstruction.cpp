#include <algorithm>
#include <cmath>

#include <examples/support/reconstruction.h>

namespace examples {
namespace {

// The fibres in squares as wide as the search radius: those near a pixel are in nine of them.
class FibreGrid {
public:
    FibreGrid(boost::iterator_range<const float*> fibres, int width, int height, float radius)
        : _radius(radius),
          _columns(static_cast<int>(static_cast<float>(width) / radius) + 1),
          _rows(static_cast<int>(static_cast<float>(height) / radius) + 1),
          _squares(static_cast<std::size_t>(_columns) * static_cast<std::size_t>(_rows)) {
        for (std::size_t i = 0; i + 1 < fibres.size(); i += 2) {
            const float x = fibres.begin()[i];
            const float y = fibres.begin()[i + 1];
            if (x >= 0 && x <= static_cast<float>(width) && y >= 0 &&
                y <= static_cast<float>(height))
                _squares[_at(_index(x), _index(y))].push_back(static_cast<std::uint32_t>(i / 2));
        }
    }

    template <class Visit>
    void near(float x, float y, Visit&& visit) const {
        const int column = _index(x);
        const int row = _index(y);
        for (int r = std::max(row - 1, 0); r <= std::min(row + 1, _rows - 1); ++r)
            for (int c = std::max(column - 1, 0); c <= std::min(column + 1, _columns - 1); ++c)
                for (const std::uint32_t fibre : _squares[_at(c, r)])
                    visit(fibre);
    }

private:
    int _index(float coordinate) const { return static_cast<int>(coordinate / _radius); }
    std::size_t _at(int column, int row) const {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(_columns) +
               static_cast<std::size_t>(column);
    }

    float _radius;
    int _columns;
    int _rows;
    std::vector<std::vector<std::uint32_t>> _squares;
};

// The distance of neighbours in a hexagonal bundle that fills the box around its fibres' centres.
float pitchOf(boost::iterator_range<const float*> fibres) {
    float low[2] = {fibres.begin()[0], fibres.begin()[1]};
    float high[2] = {low[0], low[1]};
    for (std::size_t i = 0; i < fibres.size(); ++i) {
        low[i % 2] = std::min(low[i % 2], fibres.begin()[i]);
        high[i % 2] = std::max(high[i % 2], fibres.begin()[i]);
    }
    constexpr float ellipseInBox = 3.14159265F / 4;
    const float area = ellipseInBox * (high[0] - low[0]) * (high[1] - low[1]);
    const float cell = area / static_cast<float>(fibres.size() / 2);
    return std::max(std::sqrt(cell * 2 / std::sqrt(3.0F)), 1.0F);
}

}  // namespace

bool Reconstruction::prepare(boost::iterator_range<const float*> fibers, int width, int height,
                             float, float, float, float, float, float) {
    _shares.clear();
    _sharesEnd.clear();
    _fibres = fibers.size() / 2;
    if (_fibres == 0 || width < 1 || height < 1) return false;

    const float pitch = pitchOf(fibers);
    const float radius = 1.5F * pitch;
    const float width2 = 2 * (0.45F * pitch) * (0.45F * pitch);
    const FibreGrid grid(fibers, width, height, radius);
    for (int row = 0; row < height; ++row)
        for (int column = 0; column < width; ++column) {
            const float x = static_cast<float>(column) + 0.5F;
            const float y = static_cast<float>(row) + 0.5F;
            const std::size_t first = _shares.size();
            float sum = 0;
            grid.near(x, y, [&](std::uint32_t fibre) {
                const float dx = fibers.begin()[2 * fibre] - x;
                const float dy = fibers.begin()[2 * fibre + 1] - y;
                const float distance2 = dx * dx + dy * dy;
                if (distance2 > radius * radius) return;
                const float weight = std::exp(-distance2 / width2);
                sum += weight;
                _shares.push_back({fibre, weight});
            });
            for (std::size_t i = first; i < _shares.size(); ++i)
                _shares[i].weight /= sum;
            _sharesEnd.push_back(_shares.size());
        }
    return true;
}

bool Reconstruction::reconstruct(boost::iterator_range<const std::uint16_t*> input,
                                 boost::iterator_range<std::uint16_t*> output) {
    if (input.size() != _fibres || output.size() != _sharesEnd.size()) {
        std::fill(output.begin(), output.end(), std::uint16_t{0});
        return false;
    }
    std::size_t share = 0;
    std::size_t pixel = 0;
    for (std::uint16_t& sample : output) {
        float value = 0.5F;
        for (; share < _sharesEnd[pixel]; ++share)
            value +=
                _shares[share].weight * static_cast<float>(input.begin()[_shares[share].fibre]);
        ++pixel;
        sample = static_cast<std::uint16_t>(std::min(value, 65535.0F));
    }
    return true;
}

}  // namespace examples
