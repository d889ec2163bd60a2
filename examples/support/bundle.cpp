#include <algorithm>
#include <cmath>
#include <random>

#include <examples/support/bundle.h>

namespace examples {

Bundle hexagonalBundle(int width, int height) {
    constexpr float wantedFibres = 10000;
    constexpr float pixelsPerFibre = 12;
    constexpr float pi = 3.14159265F;

    Bundle bundle;
    const float shorterSide = static_cast<float>(std::min(width, height));
    bundle.radius = 0.485F * shorterSide;
    bundle.centreX = 0.5F * static_cast<float>(width);
    bundle.centreY = 0.5F * static_cast<float>(height);
    const float area = pi * bundle.radius * bundle.radius;
    const float cell = area / std::clamp(area / pixelsPerFibre, 1.0F, wantedFibres);
    bundle.pitch = std::sqrt(cell * 2.0F / std::sqrt(3.0F));

    std::mt19937 random(7);
    std::normal_distribution<float> offGrid(0.0F, 0.06F * bundle.pitch);
    const float rowStep = bundle.pitch * std::sqrt(3.0F) / 2.0F;
    const int rows = static_cast<int>(bundle.radius / rowStep);
    const int columns = static_cast<int>(bundle.radius / bundle.pitch) + 1;
    for (int row = -rows; row <= rows; ++row) {
        const float shift = row % 2 == 0 ? 0.0F : 0.5F;
        for (int column = -columns; column <= columns; ++column) {
            const float x = (static_cast<float>(column) + shift) * bundle.pitch;
            const float y = static_cast<float>(row) * rowStep;
            if (std::hypot(x, y) + 0.5F * bundle.pitch > bundle.radius) continue;
            bundle.fibres.push_back(bundle.centreX + x + offGrid(random));
            bundle.fibres.push_back(bundle.centreY + y + offGrid(random));
        }
    }
    return bundle;
}

std::vector<std::uint16_t> sampleFibres(const std::uint16_t* image, int width, int height,
                                        const std::vector<float>& fibres) {
    std::vector<std::uint16_t> samples(fibres.size() / 2);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const int x = static_cast<int>(fibres[2 * i]);
        const int y = static_cast<int>(fibres[2 * i + 1]);
        unsigned int sum = 0;
        unsigned int pixels = 0;
        for (int row = std::max(y - 1, 0); row <= std::min(y + 1, height - 1); ++row)
            for (int column = std::max(x - 1, 0); column <= std::min(x + 1, width - 1); ++column) {
                sum += image[static_cast<std::ptrdiff_t>(row) * width + column];
                ++pixels;
            }
        samples[i] = static_cast<std::uint16_t>((sum + pixels / 2) / std::max(pixels, 1U));
    }
    return samples;
}

}  // namespace examples
