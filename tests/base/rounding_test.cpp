// Rounding of coordinates at halves, at their neighbours and beyond all integers.

#include <libDataIO/base/rounding.h>

#include <gtest/gtest.h>

using namespace mz;

namespace {

constexpr int lowest = std::numeric_limits<int>::min();
constexpr int highest = std::numeric_limits<int>::max();

}  // namespace

TEST(Rounding, HalvesGoUp) {
    EXPECT_EQ(iRound(1.5F), 2);
    EXPECT_EQ(iRound(2.5F), 3);
    EXPECT_EQ(iRound(0.5F), 1);
    EXPECT_EQ(iRound(-0.5F), 0);
    EXPECT_EQ(iRound(-1.5F), -1);
}

TEST(Rounding, OthersGoToTheNearest) {
    EXPECT_EQ(iRound(0.0F), 0);
    EXPECT_EQ(iRound(-0.6F), -1);
    EXPECT_EQ(iRound(0.4F), 0);
    EXPECT_EQ(iRound(1.49999F), 1);
    EXPECT_EQ(iRound(7.0F), 7);
}

TEST(Rounding, TheNeighboursOfAHalfAreNotHalves) {
    EXPECT_EQ(iRound(std::nextafter(0.5F, 0.0F)), 0);
    EXPECT_EQ(iRound(std::nextafter(-0.5F, -1.0F)), -1);
}

TEST(Rounding, LargeWholeNumbersStay) {
    EXPECT_EQ(iRound(8388609.0F), 8388609);
    EXPECT_EQ(iRound(-16777215.0F), -16777215);
    EXPECT_EQ(iRound(1073741824.0F), 1073741824);
}

TEST(Rounding, WhatDoesNotFitIsClamped) {
    EXPECT_EQ(iRound(2147483648.0F), highest);
    EXPECT_EQ(iRound(-2147483648.0F), lowest);
    EXPECT_EQ(iRound(1e30F), highest);
    EXPECT_EQ(iRound(-1e30F), lowest);
    EXPECT_EQ(iRound(std::numeric_limits<float>::infinity()), highest);
    EXPECT_EQ(iRound(-std::numeric_limits<float>::infinity()), lowest);
    EXPECT_EQ(roundHalfUp(2147483646.4), 2147483646);
    EXPECT_EQ(roundHalfUp(2147483647.6), highest);
    EXPECT_EQ(roundHalfUp(1e300), highest);
}

TEST(Rounding, NotANumberIsZero) {
    EXPECT_EQ(iRound(std::numeric_limits<float>::quiet_NaN()), 0);
}
