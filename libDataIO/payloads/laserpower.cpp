#include <libDataIO/base/rounding.h>
#include <libDataIO/payloads/laserpower.h>

#include <array>

namespace mz {

namespace {

constexpr unsigned char noPowerByte = 255;
constexpr float fullPower = 254.0F;

unsigned char encoded(float power) {
    if (!(power >= 0)) return noPowerByte;
    return static_cast<unsigned char>(static_cast<unsigned int>(iRound(power * fullPower)) & 0xffU);
}

}  // namespace

float decodeLaserPower(unsigned char byte) {
    return byte == noPowerByte ? noLaserPower : static_cast<float>(byte / 254.0);
}

std::vector<float> decodeLaserPowers(const void* payload, size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(payload);
    std::array<float, 256> powerOf{};
    for (size_t byte = 0; byte < powerOf.size(); ++byte)
        powerOf[byte] = decodeLaserPower(static_cast<unsigned char>(byte));
    std::vector<float> powers(size);
    for (size_t i = 0; i < size; ++i)
        powers[i] = powerOf[bytes[i]];
    return powers;
}

std::vector<unsigned char> encodeLaserPowers(const std::vector<float>& powers) {
    std::vector<unsigned char> bytes(powers.size());
    for (size_t i = 0; i < powers.size(); ++i)
        bytes[i] = encoded(powers[i]);
    return bytes;
}

}  // namespace mz
