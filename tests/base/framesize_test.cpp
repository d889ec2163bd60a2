// The arithmetic of frame sizes up to the numbers that overflow.

#include <libDataIO/base/framesize.h>

#include <gtest/gtest.h>

#include <limits>
#include <optional>

using namespace mz;

namespace {

constexpr int lowest = std::numeric_limits<int>::min();
constexpr int highest = std::numeric_limits<int>::max();

}  // namespace

TEST(FrameSize, FramesTakeWholeBytesPerPixel) {
    EXPECT_EQ(wholeBytes(0), 0);
    EXPECT_EQ(wholeBytes(1), 1);
    EXPECT_EQ(wholeBytes(8), 1);
    EXPECT_EQ(wholeBytes(9), 2);
    EXPECT_EQ(wholeBytes(12), 2);
    EXPECT_EQ(wholeBytes(64), 8);
    EXPECT_EQ(wholeBytes(highest), 268435456);
}

TEST(FrameSize, ReadersReportOneByteForNoBits) {
    EXPECT_EQ(pixelBytes(0), 1);
    EXPECT_EQ(pixelBytes(1), 1);
    EXPECT_EQ(pixelBytes(8), 1);
    EXPECT_EQ(pixelBytes(12), 2);
    EXPECT_EQ(pixelBytes(24), 3);
    EXPECT_EQ(pixelBytes(-7), 0);
    EXPECT_EQ(pixelBytes(lowest), -268435455);
}

TEST(FrameSize, IsTheProductOfItsSides) {
    EXPECT_EQ(frameBytes(512, 400, 2), int64_t{409600});
    EXPECT_EQ(frameBytes(0, 400, 2), int64_t{0});
    EXPECT_EQ(frameBytes(highest, highest, 2), int64_t{highest} * highest * 2);
}

TEST(FrameSize, IsNoneWhenItCannotBe) {
    EXPECT_EQ(frameBytes(-1, 4, 2), std::nullopt);
    EXPECT_EQ(frameBytes(4, -1, 2), std::nullopt);
    EXPECT_EQ(frameBytes(4, 4, -2), std::nullopt);
    EXPECT_EQ(frameBytes(-4, -4, 2), std::nullopt);
    EXPECT_EQ(frameBytes(highest, highest, 3), std::nullopt);
}
