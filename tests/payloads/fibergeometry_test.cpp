// Fibre positions: their words in the payload, and how they are filtered, sorted and converted.

#include <libDataIO/payloads/fibergeometry.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <vector>

#include <tests/support/moviebytes.h>

using namespace mz;
using namespace mz::test;

namespace {

using Floats = std::vector<float>;
using Words = std::vector<uint32_t>;

constexpr ImageSize image{100, 50};
constexpr uint32_t all = 0xffffffff;

Floats fractions(const QByteArray& payload, bool otherByteOrder = false) {
    return decodeFiberFractions(payload.constData(), static_cast<size_t>(payload.size()),
                                otherByteOrder);
}

Floats centers(const QByteArray& payload, ImageSize size = image) {
    return decodeFiberCenters(payload.constData(), static_cast<size_t>(payload.size()), size);
}

}  // namespace

// --- the payload -----------------------------------------------------------------------------

TEST(FiberFractions, AreWordsOfTheWholeScale) {
    EXPECT_EQ(fractions(bytes32({0, all, 0x80000000})), (Floats{0, 1, 0.5F}));
    EXPECT_EQ(fractions(bytes32({1})), Floats{static_cast<float>(1 / 4294967295.0)});
}

TEST(FiberFractions, OfTheOtherOrderAreSwapped) {
    EXPECT_EQ(fractions(bytes32({0x80000000, 0x40000000}, Order::Big), true),
              (Floats{0.5F, 0.25F}));
}

TEST(FiberFractions, LeaveABrokenWordOut) {
    EXPECT_EQ(fractions(bytes32({all}) + "abc"), Floats{1});
    EXPECT_TRUE(fractions("abc").empty());
    EXPECT_TRUE(decodeFiberFractions(nullptr, 0, true).empty());
}

TEST(FiberCenters, AreStoredAsTruncatedFractions) {
    EXPECT_EQ(encodeFiberCenters({0, 0, 50, 25, 1, 1}, image),
              (Words{0, 0, 2147483647, 2147483647, 42949672, 85899345}));
}

TEST(FiberCenters, AreClampedIntoTheImage) {
    const auto lastColumn = static_cast<uint32_t>(99 * 4294967295.0 / 100);
    const auto lastRow = static_cast<uint32_t>(49 * 4294967295.0 / 50);
    constexpr float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(encodeFiberCenters({-1, -0.5F, 99.5F, 50, 1e30F, infinity, -infinity, -1e30F}, image),
              (Words{0, 0, lastColumn, lastRow, lastColumn, lastRow, 0, 0}));
    EXPECT_EQ(encodeFiberCenters({std::nanf(""), std::nanf("")}, image), (Words{0, 0}));
    EXPECT_EQ(encodeFiberCenters({5, 5}, {1, 1}), (Words{0, 0}));
}

TEST(FiberCenters, AreReadBackWithinTheImage) {
    const Floats read = centers(bytes32({0, all, 0x80000000, 0x40000000, all, 0}));
    EXPECT_EQ(read, (Floats{0, 49, 50, 12.5F, 99, 0}));
}

TEST(FiberCenters, LeaveABrokenPairOut) {
    EXPECT_EQ(centers(bytes32({0, 0, all})), (Floats{0, 0}));
    EXPECT_EQ(centers(bytes32({0, 0}) + "abcdefg"), (Floats{0, 0}));
    EXPECT_TRUE(centers("abcd").empty());
    EXPECT_TRUE(decodeFiberCenters(nullptr, 0, image).empty());
}

TEST(FiberCenters, SurviveTheirStoredForm) {
    const Floats positions = {0.25F, 49, 12.75F, 7.125F, 98.5F, 0};
    QByteArray payload;
    for (const uint32_t word : encodeFiberCenters(positions, image))
        payload += le32(word);
    const Floats read = centers(payload);
    ASSERT_EQ(read.size(), positions.size());
    for (size_t i = 0; i < read.size(); ++i)
        EXPECT_NEAR(read[i], positions[i], 1e-5);
}

// --- lists -----------------------------------------------------------------------------------

TEST(RasterPositions, ScaleTheFractions) {
    EXPECT_EQ(rasterPositions({0, 1, 0.5F, 0.25F}, image, FiberFilter::All, std::nullopt),
              (Floats{0, 50, 50, 12.5F}));
}

TEST(RasterPositions, LeaveAFractionWithoutPartnerOut) {
    EXPECT_EQ(rasterPositions({0, 0, 1}, image, FiberFilter::All, std::nullopt), (Floats{0, 0}));
    EXPECT_TRUE(rasterPositions({1}, image, FiberFilter::All, std::nullopt).empty());
}

TEST(RasterPositions, OnlyTheBundleFilterLooksAtTheBox) {
    const BundleBox box{0, 0, 10, 10};
    const Floats inTheMiddle = {0.5F, 0.5F};
    const Floats found = {50, 25};
    EXPECT_EQ(rasterPositions(inTheMiddle, image, FiberFilter::All, box), found);
    EXPECT_EQ(rasterPositions(inTheMiddle, image, FiberFilter::Clamped, box), found);
    EXPECT_TRUE(rasterPositions(inTheMiddle, image, FiberFilter::InBundle, box).empty());
    EXPECT_EQ(rasterPositions(inTheMiddle, image, FiberFilter::InBundle, std::nullopt), found);
}

TEST(RasterPositions, ABoxOfAnyCornersDescribesOneEllipse) {
    // Its half axes are squared, so exchanged edges are no other ellipse.
    const BundleBox exchanged{100, 50, 0, 0};
    EXPECT_EQ(rasterPositions({0.5F, 0.5F}, image, FiberFilter::InBundle, exchanged),
              (Floats{50, 25}));
    const BundleBox unknown{std::nanf(""), 0, 100, 50};
    EXPECT_TRUE(rasterPositions({0.5F, 0.5F}, image, FiberFilter::InBundle, unknown).empty());
}

TEST(SortedPositions, RunByRowsThenColumns) {
    Floats positions = {5, 1.4F, 7, 0.6F, 2, 1.2F, 3, 0.4F};
    sortPositions(positions);
    EXPECT_EQ(positions, (Floats{3, 0.4F, 2, 1.2F, 5, 1.4F, 7, 0.6F}));
    Floats none;
    sortPositions(none);
    EXPECT_TRUE(none.empty());
}

TEST(SortedPositions, AHalfBelongsToTheRowBelow) {
    Floats positions = {1, 1.5F, 9, 1.4F, 0, 0.5F};
    sortPositions(positions);
    EXPECT_EQ(positions, (Floats{0, 0.5F, 9, 1.4F, 1, 1.5F}));
}

TEST(RoundedPositions, RoundHalvesUp) {
    EXPECT_EQ(roundedPositions({1.5F, 2.5F, 0.4F, 99.49F}),
              (std::vector<unsigned int>{2, 3, 0, 99}));
}

TEST(PixelOffsets, AreRowTimesWidthPlusColumn) {
    EXPECT_EQ(pixelOffsets({3, 2, 0, 0}, 100), (std::vector<unsigned int>{203, 0}));
    EXPECT_EQ(pixelOffsets({0, 4000000000U}, 2), std::vector<unsigned int>{3705032704U})
        << "in unsigned arithmetic";
}

TEST(SamplesAtOffsets, AreThePixelsThere) {
    // Behind one byte more, so that no pixel is aligned.
    const QByteArray pixels = "?" + bytes16({10, 11, 12, 0xfffe});
    std::vector<uint16_t> samples = {1, 2, 3, 4, 5};
    EXPECT_TRUE(sampleAtOffsets(pixels.constData() + 1, 4, {3, 0, 0}, samples));
    EXPECT_EQ(samples, (std::vector<uint16_t>{0xfffe, 10, 10}));
    EXPECT_TRUE(sampleAtOffsets(pixels.constData() + 1, 4, {}, samples));
    EXPECT_TRUE(samples.empty());
}

TEST(SamplesAtOffsets, LieInTheImage) {
    const QByteArray pixels = bytes16({10, 11});
    std::vector<uint16_t> samples;
    EXPECT_FALSE(sampleAtOffsets(pixels.constData(), 2, {0, 2}, samples));
    EXPECT_FALSE(sampleAtOffsets(pixels.constData(), 2, {0xffffffff}, samples));
    EXPECT_FALSE(sampleAtOffsets(pixels.constData(), 0, {0}, samples));
}

TEST(WorldPositions, PointUpFromPixelCentres) {
    const Floats world = worldPositions({0, 0, 199, 99}, {200, 100});
    EXPECT_FLOAT_EQ(world[0], 0.0025F);
    EXPECT_FLOAT_EQ(world[1], 0.4975F);
    EXPECT_FLOAT_EQ(world[2], 0.9975F);
    EXPECT_FLOAT_EQ(world[3], 0.0025F);
}
