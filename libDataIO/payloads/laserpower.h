#pragma once

// The laser-power payload: one byte a frame. 0 to 254 are the fraction b / 254 of full power, 255
// means that the frame has none.

#include <cstddef>
#include <vector>

namespace mz {

/// Stands for "no laser power" in memory; readers take any negative value as that.
constexpr float noLaserPower = -1.0F;

/// noLaserPower for 255.
float decodeLaserPower(unsigned char byte);

/// One power a byte.
std::vector<float> decodeLaserPowers(const void* payload, size_t size);

/// One byte a power: 255 for negative powers and NaN, else the low 8 bits of round(power × 254).
/// Powers above 1 are not clamped, so 1.004 becomes 255 and 1.01 wraps to 1.
std::vector<unsigned char> encodeLaserPowers(const std::vector<float>& powers);

}  // namespace mz
