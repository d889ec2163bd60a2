// Palettes as attributes, both ways, with prefixes and with keys that are missing or wrong.

#include <libDataIO/attributechunk.h>
#include <libDataIO/attributepaletteadaptor.h>

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include <tests/support/attributetext.h>

using namespace mz;
using namespace mz::test;

namespace {

std::string written(const MzPalette& palette, const QString& prefix = QString()) {
    AttributeChunk chunk;
    AttributePaletteAdaptor::paletteToAttributes(palette, chunk, prefix);
    return dumped(chunk);
}

std::string node(int index, const std::string& val, const std::string& r = "0",
                 const std::string& g = "0", const std::string& b = "0") {
    const std::string start = "pal_n" + std::to_string(index) + "_";
    return start + "val=" + val + "\n" + start + "r=" + r + "\n" + start + "g=" + g + "\n" + start +
           "b=" + b + "\n";
}

bool read(const std::string& text, MzPalette& palette, const QString& prefix = QString()) {
    return AttributePaletteAdaptor::attributesToPalette(parsed(text), palette, prefix);
}

std::vector<float> values(const MzPalette& palette) {
    std::vector<float> result;
    for (const PalNode& node : palette._nodes)
        result.push_back(node._val);
    return result;
}

TEST(PaletteToAttributes, WritesEveryKey) {
    MzPalette palette;
    palette._cropMinInt = -5;
    palette._cropMaxInt = 4000;
    palette._name = QStringLiteral("hot iron");
    palette._nodes = {PalNode(-0.5F, PalColor(0, 0.25F, 2)), PalNode(1.5F, PalColor(1, 1, -1))};
    EXPECT_EQ(written(palette),
              "pal_cropMax=4000\npal_cropMin=-5\n"
              "pal_n0_b=2.000000e+00\npal_n0_g=2.500000e-01\npal_n0_r=0.000000e+00\n"
              "pal_n0_val=0.000000e+00\n"
              "pal_n1_b=-1.000000e+00\npal_n1_g=1.000000e+00\npal_n1_r=1.000000e+00\n"
              "pal_n1_val=1.000000e+00\n"
              "pal_name=hot iron\npal_nbcols=2\n");
}

TEST(PaletteToAttributes, PutsThePrefixInFront) {
    EXPECT_EQ(written(MzPalette(), QStringLiteral("%1p")),
              "%1p_pal_cropMax=32767\n%1p_pal_cropMin=-32768\n%1p_pal_name=\n%1p_pal_nbcols=0\n");
    MzPalette palette;
    palette._nodes = {PalNode()};
    EXPECT_NE(written(palette, QStringLiteral("%1p")).find("\n%1p_pal_n0_val=0.000000e+00\n"),
              std::string::npos);
}

TEST(PaletteToAttributes, WritesANanPositionAsZeroAndKeepsLaterKeys) {
    MzPalette palette;
    palette._nodes = {PalNode(std::numeric_limits<float>::quiet_NaN(), PalColor())};
    AttributeChunk chunk = parsed(node(1, "0.5"));
    AttributePaletteAdaptor::paletteToAttributes(palette, chunk);
    QString value;
    EXPECT_TRUE(chunk.get(QStringLiteral("pal_n0_val"), value));
    EXPECT_EQ(value, QStringLiteral("0.000000e+00"));
    EXPECT_TRUE(chunk.get(QStringLiteral("pal_n1_val"), value));
    EXPECT_EQ(value, QStringLiteral("0.5"));
}

TEST(AttributesToPalette, BringsBackWhatAFileKeeps) {
    MzPalette palette;
    palette._cropMinInt = 12;
    palette._cropMaxInt = 3000;
    palette._name = QStringLiteral("fire");
    palette._nodes = {PalNode(0, PalColor(0, 0.5F, 1)), PalNode(0.25F, PalColor(1, 0, 0)),
                      PalNode(1, PalColor(1, 1, 0.75F))};
    MzPalette stored = palette;
    stored._saturationSignal = true;
    stored._transfo = PTSIGMOID;
    stored._highSignalCol = PalColor(0, 1, 0);
    stored._lowSignalCol = PalColor(0, 1, 1);

    for (const QString& prefix : {QString(), QStringLiteral("other")}) {
        AttributeChunk chunk;
        AttributePaletteAdaptor::paletteToAttributes(stored, chunk, prefix);
        MzPalette back;
        ASSERT_TRUE(AttributePaletteAdaptor::attributesToPalette(chunk, back, prefix));
        EXPECT_EQ(back, palette);
        EXPECT_FALSE(AttributePaletteAdaptor::attributesToPalette(chunk, back, prefix + "x"));
    }
}

TEST(AttributesToPalette, WithoutACountFailsWithANewPalette) {
    for (const std::string& count :
         {std::string(), std::string("pal_nbcols=two\npal_nbnodes=x\n")}) {
        MzPalette palette;
        palette.initDefault();
        palette._name = QStringLiteral("old");
        EXPECT_FALSE(read(count + "pal_name=new\n" + node(0, "0"), palette));
        EXPECT_EQ(palette, MzPalette());
    }
}

TEST(AttributesToPalette, TakesTheOlderNameOfTheCount) {
    MzPalette palette;
    EXPECT_TRUE(read("pal_nbnodes=2\n" + node(0, "0") + node(1, "1"), palette));
    EXPECT_EQ(values(palette), (std::vector<float>{0, 1}));
    EXPECT_TRUE(read("pal_nbcols=1\npal_nbnodes=2\n" + node(0, "0") + node(1, "1"), palette));
    EXPECT_EQ(values(palette), (std::vector<float>{0}));
    EXPECT_TRUE(read("pal_nbcols=?\npal_nbnodes=2\n" + node(0, "0") + node(1, "1"), palette));
    EXPECT_EQ(values(palette), (std::vector<float>{0, 1}));
}

TEST(AttributesToPalette, OfNoNodesIsAPalette) {
    MzPalette palette;
    palette.initDefault();
    EXPECT_TRUE(read("pal_nbcols=0\n", palette));
    EXPECT_EQ(palette, MzPalette());
    EXPECT_TRUE(read("pal_nbcols=-3\npal_name=n\npal_cropMax=7\n", palette));
    EXPECT_TRUE(palette._nodes.empty());
    EXPECT_EQ(palette._name, QStringLiteral("n"));
    EXPECT_EQ(palette._cropMaxInt, 7);
    EXPECT_EQ(palette._cropMinInt, MzPalette()._cropMinInt);
}

TEST(AttributesToPalette, StopsAtAnIncompleteNode) {
    const std::string head = "pal_nbcols=3\npal_name=n\npal_cropMin=1\npal_cropMax=2\n";
    const std::string third = node(2, "0.1");
    for (const std::string& damaged :
         {third.substr(0, third.find("pal_n2_b")), third.substr(third.find("pal_n2_r")),
          node(2, "0.1", "red"), node(2, "1e40")}) {
        MzPalette palette;
        EXPECT_FALSE(read(head + node(0, "0.8") + node(1, "0.2") + damaged, palette));
        EXPECT_EQ(values(palette), (std::vector<float>{0.2F, 0.8F}));
        EXPECT_TRUE(palette._name.isEmpty());
        EXPECT_EQ(palette._cropMinInt, MzPalette()._cropMinInt);
        EXPECT_EQ(palette._cropMaxInt, MzPalette()._cropMaxInt);
    }
}

TEST(AttributesToPalette, SortsNodesAndKeepsTheOrderOfEqualOnes) {
    MzPalette palette;
    ASSERT_TRUE(read("pal_nbcols=5\n" + node(0, "0.8", "0.1") + node(1, "0.2", "0.2") +
                         node(2, "0.5", "0.3") + node(3, "0.2", "0.4") + node(4, "0.8", "0.5"),
                     palette));
    EXPECT_EQ(values(palette), (std::vector<float>{0.2F, 0.2F, 0.5F, 0.8F, 0.8F}));
    std::vector<float> reds;
    for (const PalNode& node : palette._nodes)
        reds.push_back(node._col._r);
    EXPECT_EQ(reds, (std::vector<float>{0.2F, 0.4F, 0.3F, 0.1F, 0.5F}));
}

TEST(AttributesToPalette, ClampsPositionsAndColours) {
    MzPalette palette;
    ASSERT_TRUE(read("pal_nbcols=3\n" + node(0, "7", "2.0", "-1", "0.5") +
                         node(1, "-3", "nan", "inf", "-inf") + node(2, "nan"),
                     palette));
    EXPECT_EQ(values(palette), (std::vector<float>{0, 0, 1}));
    EXPECT_EQ(palette._nodes.front()._col, PalColor(0, 1, 0));
    EXPECT_EQ(palette._nodes.back()._col, PalColor(1, 0, 0.5F));
}

TEST(AttributesToPalette, IgnoresCropEndsThatAreNoNumbers) {
    MzPalette palette;
    ASSERT_TRUE(read("pal_nbcols=0\npal_cropMin=low\npal_cropMax=99999999999\n", palette));
    EXPECT_EQ(palette, MzPalette());
    ASSERT_TRUE(read("pal_nbcols=0\npal_cropMin=9\npal_cropMax=-9\n", palette));
    EXPECT_EQ(palette._cropMinInt, 9);
    EXPECT_EQ(palette._cropMaxInt, -9);
}

TEST(AttributesToPalette, DoesNotTrustACount) {
    MzPalette palette;
    EXPECT_FALSE(read("pal_nbcols=2147483647\n" + node(0, "0") + node(1, "1"), palette));
    EXPECT_EQ(values(palette), (std::vector<float>{0, 1}));
}

TEST(AttributesToPalette, TakesManyFallingNodes) {
    constexpr int count = 40000;
    std::string text = "pal_nbcols=" + std::to_string(count) + "\n";
    std::vector<float> expected;
    for (int i = 0; i < count; ++i) {
        text += node(i, std::to_string(count - i) + "e-5");
        expected.push_back(static_cast<float>((i + 1) * 1e-5));
    }
    MzPalette palette;
    ASSERT_TRUE(read(text, palette));
    EXPECT_EQ(values(palette), expected);
}

}  // namespace
