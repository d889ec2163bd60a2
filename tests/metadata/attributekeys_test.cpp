// What follows from attributes: sizes, kinds of frames, numbers and texts, and what their absence
// stands for.

#include <libDataIO/metadata/attributekeys.h>

#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>
#include <utility>

using namespace mz;

namespace {

constexpr int most = std::numeric_limits<int>::max();

AttributeChunk with(std::initializer_list<std::pair<const char*, const char*>> entries) {
    AttributeChunk attributes;
    for (const auto& [key, value] : entries)
        attributes.set(QString::fromLatin1(key), QString::fromLatin1(value));
    return attributes;
}

AttributeChunk withLayout(int width, int height, int bits) {
    AttributeChunk attributes;
    attributes.set(QStringLiteral("width"), width);
    attributes.set(QStringLiteral("height"), height);
    attributes.set(QStringLiteral("pixbits"), bits);
    return attributes;
}

TEST(ImageSizeAttributes, NeedBothSides) {
    EXPECT_FALSE(imageSize(with({{"width", "3"}})));
    EXPECT_FALSE(imageSize(with({{"height", "3"}})));
    EXPECT_FALSE(imageSize(with({{"width", "3"}, {"height", "x"}})));
    const auto size = imageSize(with({{"width", "3"}, {"height", "-4"}}));
    ASSERT_TRUE(size);
    EXPECT_EQ(size->width, 3);
    EXPECT_EQ(size->height, -4);
    EXPECT_FALSE(size->isPositive());
    EXPECT_TRUE((ImageSize{1, 1}.isPositive()));
    EXPECT_FALSE((ImageSize{0, 1}.isPositive()));
}

TEST(PixelLayoutAttributes, GiveTheBytesOfAFrame) {
    EXPECT_FALSE(pixelLayout(with({{"width", "3"}, {"height", "4"}})));
    EXPECT_FALSE(pixelLayout(with({{"width", "3"}, {"pixbits", "8"}})));
    EXPECT_EQ(pixelLayout(withLayout(3, 4, 12))->frameBytes(), 24);
    EXPECT_EQ(pixelLayout(withLayout(3, 0, 12))->frameBytes(), 0);
    EXPECT_EQ(pixelLayout(withLayout(-3, 4, 12))->frameBytes(), std::nullopt);
    EXPECT_EQ(pixelLayout(withLayout(most, most, most))->frameBytes(), std::nullopt);
}

TEST(CompressibleBytes, AreTwoAPixel) {
    EXPECT_EQ(compressibleBytes(withLayout(3, 4, 32)), 24);
    EXPECT_EQ(compressibleBytes(withLayout(most, most, 8)), int64_t{most} * most * 2);
    for (const auto& [width, height] : {std::pair(0, 4), std::pair(4, 0), std::pair(-1, -1)})
        EXPECT_EQ(compressibleBytes(withLayout(width, height, 16)), std::nullopt);
    EXPECT_EQ(compressibleBytes(with({{"width", "3"}})), std::nullopt);
}

TEST(DataTypeAttribute, IsGuessedFromTheWidthOfOlderMovies) {
    EXPECT_EQ(dataType(with({})), QStringLiteral("imp"));
    EXPECT_EQ(dataType(with({{"width", "896"}})), QStringLiteral("imp"));
    EXPECT_EQ(dataType(with({{"width", "895"}, {"height", "1"}})), QStringLiteral("imp"));
    EXPECT_EQ(dataType(with({{"width", "896"}, {"height", "1"}})), QStringLiteral("raw"));
    EXPECT_EQ(dataType(with({{"width", "896"}, {"height", "1"}, {"data_type", "other"}})),
              QStringLiteral("other"));
}

TEST(DataTypeAttribute, SaysWhetherFramesAreVectorized) {
    EXPECT_TRUE(isVectorized(with({{"data_type", "vec"}})));
    EXPECT_FALSE(isVectorized(with({{"data_type", "Vec"}})));
    EXPECT_FALSE(isVectorized(with({})));
}

TEST(FieldOfView, IsWideAbove700OnEitherSide) {
    EXPECT_FALSE(hasWideField(with({{"fovx", "700"}, {"fovy", "700"}})));
    EXPECT_TRUE(hasWideField(with({{"fovx", "700.1"}, {"fovy", "0"}})));
    EXPECT_TRUE(hasWideField(with({{"fovx", "0"}, {"fovy", "700.1"}})));
    EXPECT_FALSE(hasWideField(with({{"fovx", "800"}})));
    EXPECT_FALSE(hasWideField(with({{"fovx", "800"}, {"fovy", "wide"}})));
}

TEST(NumberAttributes, FallBackWhenTheyAreNoNumbers) {
    const AttributeChunk attributes = with({{"n", "7"}, {"x", "1.5"}, {"text", "t"}});
    EXPECT_EQ(intAttribute(attributes, QStringLiteral("n"), 3), 7);
    EXPECT_EQ(intAttribute(attributes, QStringLiteral("text"), 3), 3);
    EXPECT_EQ(intAttribute(attributes, QStringLiteral("missing"), 3), 3);
    EXPECT_EQ(floatAttribute(attributes, QStringLiteral("x"), 3), 1.5F);
    EXPECT_EQ(floatAttribute(attributes, QStringLiteral("text"), 3), 3.0F);
    EXPECT_EQ(floatAttribute(attributes, QStringLiteral("missing"), 3), 3.0F);
}

TEST(MultiLineText, HasItsLineBreaksBack) {
    EXPECT_EQ(multiLineText(with({{"comment", "a\ab\a"}}), QStringLiteral("comment")),
              QStringLiteral("a\nb\n"));
    EXPECT_TRUE(multiLineText(with({}), QStringLiteral("comment")).isNull());
}

struct LastFrame {
    const char* recorded;  ///< "data_type", null for none
    unsigned int size;
    const char* reconciled;
};

class ReconciledDataType : public testing::TestWithParam<LastFrame> {};

TEST_P(ReconciledDataType, FollowsTheLastFrame) {
    AttributeChunk attributes = withLayout(3, 4, 16);
    if (GetParam().recorded != nullptr)
        attributes.set(QStringLiteral("data_type"), QString::fromLatin1(GetParam().recorded));
    reconcileDataType(attributes, GetParam().size);
    QString type = QStringLiteral("none");
    attributes.get(QStringLiteral("data_type"), type);
    EXPECT_EQ(type, QString::fromLatin1(GetParam().reconciled));
}

INSTANTIATE_TEST_SUITE_P(Images, ReconciledDataType,
                         testing::Values(LastFrame{nullptr, 24, "none"},
                                         LastFrame{"raw", 24, "raw"}, LastFrame{"vec", 24, "imp"},
                                         LastFrame{nullptr, 0, "none"},
                                         LastFrame{"vec", 0, "vec"}));
INSTANTIATE_TEST_SUITE_P(Samples, ReconciledDataType,
                         testing::Values(LastFrame{nullptr, 23, "vec"}, LastFrame{"imp", 25, "vec"},
                                         LastFrame{"raw", 2, "vec"}, LastFrame{"vec", 2, "vec"}));

TEST(ReconciledDataType, NeedsTheSizeOfTheImage) {
    AttributeChunk attributes = with({{"width", "3"}, {"height", "4"}, {"data_type", "vec"}});
    reconcileDataType(attributes, 24);
    EXPECT_TRUE(isVectorized(attributes));
}

}  // namespace
