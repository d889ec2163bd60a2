// Laser powers as bytes, both ways.

#include <libDataIO/payloads/laserpower.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace mz;

namespace {

using Bytes = std::vector<unsigned char>;
using Powers = std::vector<float>;

Powers decoded(const Bytes& bytes) {
    return decodeLaserPowers(bytes.data(), bytes.size());
}

}  // namespace

TEST(LaserPower, AByteIsAFractionOf254) {
    EXPECT_EQ(decoded({0, 127, 254, 1}), (Powers{0, 0.5F, 1, static_cast<float>(1 / 254.0)}));
}

TEST(LaserPower, TheLastByteMeansNone) {
    EXPECT_EQ(decoded({255}), Powers{-1.0F});
    EXPECT_EQ(noLaserPower, -1.0F);
}

TEST(LaserPower, NoBytesNoPowers) {
    EXPECT_TRUE(decodeLaserPowers(nullptr, 0).empty());
    EXPECT_TRUE(encodeLaserPowers({}).empty());
}

TEST(LaserPower, IsRoundedToAByte) {
    EXPECT_EQ(encodeLaserPowers({0, 0.5F, 1, 0.0019F, 0.0020F}), (Bytes{0, 127, 254, 0, 1}));
}

TEST(LaserPower, NegativeOrNotANumberIsNone) {
    EXPECT_EQ(encodeLaserPowers({-1, -0.001F, std::nanf(""), -1e30F}), (Bytes{255, 255, 255, 255}));
    EXPECT_EQ(encodeLaserPowers({-0.0F}), Bytes{0});
}

TEST(LaserPower, AboveOneWraps) {
    EXPECT_EQ(encodeLaserPowers({1.004F, 1.01F}), (Bytes{255, 1}));
    // Beyond the range of an int: the low bits of the largest one.
    EXPECT_EQ(encodeLaserPowers({1e30F, std::numeric_limits<float>::infinity()}),
              (Bytes{255, 255}));
}

TEST(LaserPower, EveryByteSurvives) {
    Bytes bytes;
    for (int byte = 0; byte < 256; ++byte)
        bytes.push_back(static_cast<unsigned char>(byte));
    EXPECT_EQ(encodeLaserPowers(decoded(bytes)), bytes);
}
