#include <libDataIO/base/byteorder.h>
#include <libDataIO/base/rounding.h>
#include <libDataIO/payloads/fibergeometry.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace mz {

namespace {

constexpr double fullScale = 4294967295.0;  // the word that stands for the whole width or height

struct Position {
    float x, y;
};

std::vector<uint32_t> words(const void* payload, size_t count) {
    std::vector<uint32_t> out(count);
    if (count > 0) std::memcpy(out.data(), payload, count * sizeof(uint32_t));
    return out;
}

uint32_t encoded(float coordinate, int side) {
    const double inside =
        std::isnan(coordinate) ? 0.0 : std::clamp<double>(coordinate, 0.0, side - 1.0);
    return static_cast<uint32_t>(static_cast<int64_t>(inside * fullScale / side));
}

float decoded(uint32_t word, int side) {
    const auto coordinate = static_cast<float>(word * (side / fullScale));
    return std::min(coordinate, static_cast<float>(side) - 1.0F);
}

bool isInImage(Position p, ImageSize image) {
    return p.x >= 0 && p.x <= static_cast<float>(image.width) - 1.0F && p.y >= 0 &&
           p.y <= static_cast<float>(image.height) - 1.0F;
}

/// The ellipse inscribed in the bundle box; everything where there is none.
class Bundle {
public:
    explicit Bundle(const std::optional<BundleBox>& box) {
        if (!box) return;
        _isKnown = true;
        _a2 = 0.25F * (box->maxX - box->minX) * (box->maxX - box->minX);
        _b2 = 0.25F * (box->maxY - box->minY) * (box->maxY - box->minY);
        _cx = (box->minX + box->maxX) * 0.5F;
        _cy = (box->minY + box->maxY) * 0.5F;
    }

    /// Whether both the exact and the rounded position lie in it: the rounded one is the pixel in
    /// which the fibre is sampled.
    bool contains(Position p) const {
        return !_isKnown || (_isInside(p.x, p.y) && _isInside(static_cast<float>(iRound(p.x)),
                                                              static_cast<float>(iRound(p.y))));
    }

private:
    bool _isInside(float x, float y) const {
        return (x - _cx) * (x - _cx) / _a2 + (y - _cy) * (y - _cy) / _b2 <= 1.0F;
    }

    bool _isKnown = false;
    float _a2 = 0, _b2 = 0, _cx = 0, _cy = 0;
};

bool lessIndex(const Position& a, const Position& b) {
    const int rowOfA = iRound(a.y);
    const int rowOfB = iRound(b.y);
    return rowOfA < rowOfB || (rowOfA == rowOfB && a.x < b.x);
}

}  // namespace

std::vector<float> decodeFiberFractions(const void* payload, size_t size, bool otherByteOrder) {
    std::vector<uint32_t> raw = words(payload, size / sizeof(uint32_t));
    if (otherByteOrder) copySwapped32(raw.data(), raw.data(), raw.size());
    std::vector<float> fractions(raw.size());
    std::transform(raw.begin(), raw.end(), fractions.begin(),
                   [](uint32_t word) { return static_cast<float>(word / fullScale); });
    return fractions;
}

std::vector<uint32_t> encodeFiberCenters(const std::vector<float>& positions, ImageSize image) {
    std::vector<uint32_t> out(positions.size());
    for (size_t i = 0; i < positions.size(); ++i) {
        out[i] = encoded(positions[i], i % 2 == 0 ? image.width : image.height);
    }
    return out;
}

std::vector<float> decodeFiberCenters(const void* payload, size_t size, ImageSize image) {
    const std::vector<uint32_t> raw = words(payload, size / (2 * sizeof(uint32_t)) * 2);
    std::vector<float> out(raw.size());
    for (size_t i = 0; i < raw.size(); ++i) {
        out[i] = decoded(raw[i], i % 2 == 0 ? image.width : image.height);
    }
    return out;
}

std::vector<float> rasterPositions(const std::vector<float>& fractions, ImageSize image,
                                   FiberFilter filter, const std::optional<BundleBox>& box) {
    const auto width = static_cast<float>(image.width);
    const auto height = static_cast<float>(image.height);
    const Bundle bundle(box);
    std::vector<float> out;
    out.reserve(fractions.size());
    for (size_t i = 0; i + 1 < fractions.size(); i += 2) {
        Position p{width * fractions[i], height * fractions[i + 1]};
        if (filter == FiberFilter::Clamped) {
            p = {std::min(std::max(p.x, 0.0F), width - 1.0F),
                 std::min(std::max(p.y, 0.0F), height - 1.0F)};
        } else if (filter == FiberFilter::InBundle) {
            if (!isInImage(p, image) || !bundle.contains(p)) continue;
        }
        out.push_back(p.x);
        out.push_back(p.y);
    }
    return out;
}

void sortPositions(std::vector<float>& positions) {
    std::vector<Position> pairs(positions.size() / 2);
    for (size_t i = 0; i < pairs.size(); ++i)
        pairs[i] = {positions[2 * i], positions[2 * i + 1]};
    std::sort(pairs.begin(), pairs.end(), lessIndex);
    for (size_t i = 0; i < pairs.size(); ++i) {
        positions[2 * i] = pairs[i].x;
        positions[2 * i + 1] = pairs[i].y;
    }
}

std::vector<unsigned int> roundedPositions(const std::vector<float>& positions) {
    std::vector<unsigned int> out(positions.size());
    std::transform(positions.begin(), positions.end(), out.begin(),
                   [](float coordinate) { return static_cast<unsigned int>(iRound(coordinate)); });
    return out;
}

std::vector<unsigned int> pixelOffsets(const std::vector<unsigned int>& positions, int width) {
    std::vector<unsigned int> out(positions.size() / 2);
    for (size_t i = 0; i < out.size(); ++i) {
        out[i] = positions[2 * i + 1] * static_cast<unsigned int>(width) + positions[2 * i];
    }
    return out;
}

bool sampleAtOffsets(const void* image, int64_t pixels, const std::vector<unsigned int>& offsets,
                     std::vector<uint16_t>& samples) {
    const auto* bytes = static_cast<const char*>(image);
    samples.resize(offsets.size());
    for (size_t i = 0; i < offsets.size(); ++i) {
        if (offsets[i] >= pixels) return false;
        std::memcpy(&samples[i], bytes + size_t{offsets[i]} * sizeof(uint16_t), sizeof(uint16_t));
    }
    return true;
}

std::vector<float> worldPositions(const std::vector<float>& positions, ImageSize image) {
    const float scale = 1.0F / static_cast<float>(std::max(image.width, image.height));
    const auto height = static_cast<float>(image.height);
    std::vector<float> out(positions.size());
    for (size_t i = 0; i + 1 < positions.size(); i += 2) {
        out[i] = (positions[i] + 0.5F) * scale;
        out[i + 1] = ((height - 0.5F) - positions[i + 1]) * scale;
    }
    return out;
}

}  // namespace mz
