#include <QFile>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <random>

#include <bench/material.h>

namespace bench {

namespace {

constexpr int planeWidth = 512;
constexpr int planeHeight = 400;
constexpr int planes = 30;
constexpr int largeMovie = 960;
constexpr size_t planeSamples = size_t{planeWidth} * planeHeight;

std::shared_ptr<std::vector<uint16_t>> realPlanes() {
    QFile file(qEnvironmentVariable("DATAIO_SAMPLES") + QStringLiteral("/brain-planes/frames.u16"));
    auto samples = std::make_shared<std::vector<uint16_t>>(planeSamples * planes);
    const auto size = static_cast<qint64>(samples->size() * sizeof(uint16_t));
    if (!file.open(QIODevice::ReadOnly)) return nullptr;
    if (file.read(reinterpret_cast<char*>(samples->data()), size) != size) return nullptr;
    return samples;
}

/// Dim tissue that drifts from plane to plane, under the noise of a detector.
std::shared_ptr<std::vector<uint16_t>> generatedPlanes() {
    auto samples = std::make_shared<std::vector<uint16_t>>();
    samples->reserve(planeSamples * planes);
    std::mt19937 random(1);
    std::normal_distribution<double> noise(0.0, 60.0);
    for (int plane = 0; plane < planes; ++plane) {
        for (int y = 0; y < planeHeight; ++y) {
            for (int x = 0; x < planeWidth; ++x) {
                const double tissue =
                    500.0 + 300.0 * std::sin((x + 2 * plane) / 40.0) * std::cos(y / 55.0);
                samples->push_back(static_cast<uint16_t>(std::max(0.0, tissue + noise(random))));
            }
        }
    }
    return samples;
}

/// Short enough that 32 bits hold it.
uint32_t sumOfBlock(const char* samples, size_t count) {
    uint32_t sum = 0;
    for (size_t i = 0; i < count; ++i) {
        uint16_t sample;
        std::memcpy(&sample, samples + 2 * i, sizeof sample);
        sum += sample;
    }
    return sum;
}

}  // namespace

// Compiled for the wide registers as well: a sum that is slower than the memory would hide what is
// compared.
[[gnu::target_clones("avx2", "default"), gnu::flatten]] Sum sumOf(const void* samples,
                                                                  size_t bytes) {
    constexpr size_t block = 65536;
    Sum sum = 0;
    const auto* at = static_cast<const char*>(samples);
    for (size_t left = bytes / 2; left > 0;) {
        const size_t count = std::min(left, block);
        sum += sumOfBlock(at, count);
        at += 2 * count;
        left -= count;
    }
    return sum;
}

Material::Material(std::shared_ptr<const std::vector<uint16_t>> samples, int width, int height,
                   int frames)
    : _samples(std::move(samples)), _width(width), _height(height), _frames(frames) {
    _ring = static_cast<int>(_samples->size() * 2 / frameBytes());
}

const uint16_t* Material::frame(int i) const {
    return _samples->data() + static_cast<size_t>(i % _ring) * (frameBytes() / 2);
}

Sum Material::sum() const {
    Sum sum = 0;
    for (int i = 0; i < _frames; ++i)
        sum += sumOf(frame(i), frameBytes());
    return sum;
}

QString Material::describe() const {
    return QStringLiteral("%1 frames of %2 KiB, %3 MB")
        .arg(_frames)
        .arg(static_cast<double>(frameBytes()) / 1024)
        .arg(bytes() / 1e6, 0, 'f', 0);
}

Material largeFrames(bool& areReal) {
    std::shared_ptr<std::vector<uint16_t>> samples = realPlanes();
    areReal = samples != nullptr;
    if (!areReal) samples = generatedPlanes();
    return {samples, planeWidth, planeHeight, largeMovie};
}

std::vector<int> inOrder(int frames) {
    std::vector<int> order(static_cast<size_t>(frames));
    std::iota(order.begin(), order.end(), 0);
    return order;
}

std::vector<int> shuffled(int frames) {
    std::vector<int> order = inOrder(frames);
    std::shuffle(order.begin(), order.end(), std::mt19937(7));
    return order;
}

}  // namespace bench
