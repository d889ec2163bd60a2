#include <algorithm>
#include <cmath>
#include <random>

#include <examples/support/simulation.h>

namespace examples {
namespace {

constexpr int sceneSide = 1024;     // pixels; a power of two, so that it wraps by masking
constexpr float spotWidth = 1.25F;  // standard deviation of a fibre's spot, in pixels
constexpr int spotReach = 3;        // pixels to either side that a spot lights up
constexpr int spotSide = 2 * spotReach + 1;
constexpr float crosstalk = 0.15F;  // share of its light that a fibre gets from its neighbours
constexpr float fullSignal = 3600;  // grey levels of the brightest scene at full power
constexpr float glassGlow = 90;     // grey levels of the fibre's own fluorescence at full power
constexpr float darkLevel = 60;     // grey levels of the detector without light
constexpr float darkNoise = 5;
constexpr float levelsPerPhoton = 1.6F;
constexpr float maximum = 4095;  // 12 bits

// Small, fast, and the same everywhere.
class Random {
public:
    explicit Random(std::uint64_t seed) : _state(seed * 0x9E3779B97F4A7C15U + 1) {}
    std::uint32_t operator()() {
        _state ^= _state << 13;
        _state ^= _state >> 7;
        _state ^= _state << 17;
        return static_cast<std::uint32_t>(_state >> 32);
    }

private:
    std::uint64_t _state;
};

float smooth(float t) {
    return t * t * (3 - 2 * t);
}

constexpr std::size_t indexOf(int row, int column, int columns) {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
           static_cast<std::size_t>(column);
}

}  // namespace

Simulation::Simulation()
    : _bundle(hexagonalBundle(width, height)),
      _scene(indexOf(sceneSide, 0, sceneSide)),
      _gaussian(1 << 14),
      _light(indexOf(height, 0, width)),
      _image(indexOf(height, 0, width)) {
    std::mt19937 random(11);
    std::normal_distribution<float> normal;
    for (float& number : _gaussian)
        number = normal(random);
    for (std::size_t i = 0; i < _bundle.count(); ++i)
        _transmission.push_back(std::clamp(0.85F + 0.07F * normal(random), 0.4F, 1.0F));
    _paintScene();
    _addCells();
    _findNeighbours();
    _weighSpots();
}

float Simulation::laserPower(int frame) {
    constexpr float steps[] = {0.35F, 0.5F, 0.65F, 0.8F};
    return steps[std::min(frame / (2 * framesPerSecond), 3)];
}

// Tissue: noise of ever finer grain, each octave half as strong as the one before.
void Simulation::_paintScene() {
    Random random(3);
    float strength = 0.30F;
    for (int cells = 16; cells <= 256; cells *= 2, strength /= 2) {
        std::vector<float> lattice(static_cast<std::size_t>(cells * cells));
        for (float& value : lattice)
            value = static_cast<float>(random() & 0xffff) / 65536.0F;
        const auto at = [&](int x, int y) { return lattice[indexOf(y % cells, x % cells, cells)]; };
        const int cellSide = sceneSide / cells;
        for (int y = 0; y < sceneSide; ++y)
            for (int x = 0; x < sceneSide; ++x) {
                const int column = x / cellSide;
                const int row = y / cellSide;
                const float u =
                    smooth(static_cast<float>(x % cellSide) / static_cast<float>(cellSide));
                const float v =
                    smooth(static_cast<float>(y % cellSide) / static_cast<float>(cellSide));
                const float top = at(column, row) * (1 - u) + at(column + 1, row) * u;
                const float bottom = at(column, row + 1) * (1 - u) + at(column + 1, row + 1) * u;
                _scene[indexOf(y, x, sceneSide)] += strength * (top * (1 - v) + bottom * v);
            }
    }
}

// Bright round bodies of different sizes.
void Simulation::_addCells() {
    Random random(5);
    for (int cell = 0; cell < 700; ++cell) {
        const int x0 = static_cast<int>(random() % sceneSide);
        const int y0 = static_cast<int>(random() % sceneSide);
        const float radius = 4.0F + static_cast<float>(random() % 100) / 14.0F;
        const float brightness = 0.2F + static_cast<float>(random() % 100) / 220.0F;
        const int reach = static_cast<int>(2 * radius);
        for (int y = -reach; y <= reach; ++y)
            for (int x = -reach; x <= reach; ++x) {
                const float distance = std::hypot(static_cast<float>(x), static_cast<float>(y));
                const int column = (x0 + x) & (sceneSide - 1);
                const int row = (y0 + y) & (sceneSide - 1);
                _scene[indexOf(row, column, sceneSide)] +=
                    brightness / (1 + std::exp(1.5F * (distance - radius)));
            }
    }
    for (float& value : _scene)
        value = std::min(value, 1.2F);
}

void Simulation::_findNeighbours() {
    const auto x = [&](std::size_t i) { return _bundle.fibres[2 * i]; };
    const auto y = [&](std::size_t i) { return _bundle.fibres[2 * i + 1]; };
    // The fibres come row by row, so that neighbours are never far apart in the list.
    const auto farthest = static_cast<std::size_t>(5 * _bundle.radius / _bundle.pitch);
    for (std::size_t i = 0; i < _bundle.count(); ++i) {
        const std::size_t end = std::min(i + farthest, _bundle.count());
        for (std::size_t j = i - std::min(i, farthest); j < end; ++j)
            if (j != i && std::hypot(x(i) - x(j), y(i) - y(j)) < 1.4F * _bundle.pitch)
                _neighbours.push_back(static_cast<std::uint32_t>(j));
        _neighboursEnd.push_back(_neighbours.size());
    }
}

void Simulation::_weighSpots() {
    _spots.reserve(_bundle.count() * spotSide * spotSide);
    for (std::size_t i = 0; i < _bundle.count(); ++i) {
        // From the fibre's centre to the middle of the pixel that holds it.
        const float dx = std::floor(_bundle.fibres[2 * i]) + 0.5F - _bundle.fibres[2 * i];
        const float dy = std::floor(_bundle.fibres[2 * i + 1]) + 0.5F - _bundle.fibres[2 * i + 1];
        for (int row = -spotReach; row <= spotReach; ++row)
            for (int column = -spotReach; column <= spotReach; ++column) {
                const float x = dx + static_cast<float>(column);
                const float y = dy + static_cast<float>(row);
                _spots.push_back(std::exp(-(x * x + y * y) / (2 * spotWidth * spotWidth)));
            }
    }
}

float Simulation::_sceneAt(float x, float y) const {
    const float left = std::floor(x);
    const float top = std::floor(y);
    const float u = x - left;
    const float v = y - top;
    const auto at = [&](int column, int row) {
        return _scene[indexOf(row & (sceneSide - 1), column & (sceneSide - 1), sceneSide)];
    };
    const int column = static_cast<int>(left);
    const int row = static_cast<int>(top);
    return (at(column, row) * (1 - u) + at(column + 1, row) * u) * (1 - v) +
           (at(column, row + 1) * (1 - u) + at(column + 1, row + 1) * u) * v;
}

// The light that each fibre brings, in grey levels, with the noise of its photons.
std::vector<float> Simulation::_fibreSignals(int frame) const {
    const float seconds = static_cast<float>(frame) / framesPerSecond;
    const float driftX = 14.0F * seconds + 18.0F * std::sin(1.1F * seconds);
    const float driftY = 26.0F * std::sin(0.7F * seconds);
    const float power = laserPower(frame);

    std::vector<float> own(_bundle.count());
    for (std::size_t i = 0; i < own.size(); ++i)
        own[i] = _sceneAt(_bundle.fibres[2 * i] + driftX, _bundle.fibres[2 * i + 1] + driftY);

    Random random(1000U + static_cast<std::uint64_t>(frame));
    std::vector<float> signal(own.size());
    std::size_t neighbour = 0;
    for (std::size_t i = 0; i < own.size(); ++i) {
        const std::size_t first = neighbour;
        float others = 0;
        for (; neighbour < _neighboursEnd[i]; ++neighbour)
            others += own[_neighbours[neighbour]];
        const float around =
            neighbour == first ? 0 : others / static_cast<float>(neighbour - first);
        const float seen = (1 - crosstalk) * own[i] + crosstalk * around;
        const float light = power * _transmission[i] * (fullSignal * 0.8F * seen + glassGlow);
        const float noise =
            std::sqrt(light * levelsPerPhoton) * _gaussian[random() % _gaussian.size()];
        signal[i] = std::max(light + noise, 0.0F);
    }
    return signal;
}

const std::vector<std::uint16_t>& Simulation::image(int frame) {
    std::fill(_light.begin(), _light.end(), 0.0F);
    const std::vector<float> signals = _fibreSignals(frame);
    const float* spot = _spots.data();
    for (std::size_t i = 0; i < signals.size(); ++i) {
        const int x = static_cast<int>(_bundle.fibres[2 * i]);
        const int y = static_cast<int>(_bundle.fibres[2 * i + 1]);
        for (int row = y - spotReach; row <= y + spotReach; ++row)
            for (int column = x - spotReach; column <= x + spotReach; ++column, ++spot)
                if (row >= 0 && row < height && column >= 0 && column < width)
                    _light[indexOf(row, column, width)] += signals[i] * *spot;
    }
    Random random(500000U + static_cast<std::uint64_t>(frame));
    std::transform(_light.begin(), _light.end(), _image.begin(), [&](float light) {
        const float noise = darkNoise * _gaussian[random() % _gaussian.size()];
        return static_cast<std::uint16_t>(std::clamp(darkLevel + light + noise, 0.0F, maximum));
    });
    return _image;
}

}  // namespace examples
