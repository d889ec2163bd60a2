// What a movie's header says, and the attributes of applications in it.

#include <tests/support/moviereader.h>

using namespace mz;
using namespace mz::test;

// --- header ----------------------------------------------------------------------------------

TEST_F(MovieReader, ReadsNumbersOfTheHeader) {
    open(MovieBytes()
             .size(512, 400)
             .attribute("framedelay", 83)
             .attribute("datadimension", 2)
             .attribute("endian", 2)
             .attribute("mask_level", -5));
    int value = 0;
    EXPECT_TRUE(reader.width(value));
    EXPECT_EQ(value, 512);
    EXPECT_TRUE(reader.height(value));
    EXPECT_EQ(value, 400);
    EXPECT_TRUE(reader.frameDelay(value));
    EXPECT_EQ(value, 83);
    EXPECT_TRUE(reader.dimension(value));
    EXPECT_EQ(value, 2);
    EXPECT_EQ(reader.endian(), 2);
    EXPECT_EQ(reader.getMaskLevel(), -5);
}

TEST_F(MovieReader, MissingNumbersHaveTheirDefaults) {
    open(MovieBytes());
    int value = 77;
    EXPECT_FALSE(reader.width(value));
    EXPECT_FALSE(reader.height(value));
    EXPECT_FALSE(reader.frameDelay(value));
    EXPECT_FALSE(reader.dimension(value));
    EXPECT_FALSE(reader.pixBits(value));
    EXPECT_EQ(value, 77);
    EXPECT_EQ(reader.endian(), 0);
    EXPECT_EQ(reader.getMaskLevel(), -32768);
}

namespace {

struct PixelCase {
    const char* attributes;
    bool hasBits;
    int bits;
    int bytes;
    MZImagePixelType type;
};

void PrintTo(const PixelCase& pixel, std::ostream* out) {
    *out << testing::PrintToString(pixel.attributes);
}

class PixelsOfTheHeader : public MovieReader, public testing::WithParamInterface<PixelCase> {};

}  // namespace

TEST_P(PixelsOfTheHeader, AreRead) {
    const PixelCase& expected = GetParam();
    open(MovieBytes().text(expected.attributes));
    int bits = 0;
    EXPECT_EQ(reader.pixBits(bits), expected.hasBits);
    EXPECT_EQ(bits, expected.bits);
    EXPECT_EQ(reader.pixBytes(), expected.bytes);
    MZImagePixelType type = MZ_DOUBLE;
    EXPECT_EQ(reader.pixType(type), expected.type != MZ_UNKNOWN);
    EXPECT_EQ(type, expected.type);
}

INSTANTIATE_TEST_SUITE_P(
    TypeOrBits, PixelsOfTheHeader,
    testing::Values(PixelCase{"", false, 0, 0, MZ_UNKNOWN},
                    PixelCase{"pixbits=16\n", true, 16, 2, MZ_USHORT},
                    PixelCase{"pixbits=8\n", true, 8, 1, MZ_UCHAR},
                    PixelCase{"pixbits=12\n", true, 12, 2, MZ_UNKNOWN},
                    PixelCase{"pixbits=1\n", true, 1, 1, MZ_UNKNOWN},
                    PixelCase{"pixbits=0\n", true, 0, 1, MZ_UNKNOWN},
                    PixelCase{"pixbits=-2147483648\n", true, -2147483647 - 1, -268435455,
                              MZ_UNKNOWN},
                    PixelCase{"pixtype=6\npixbits=8\n", true, 16, 2, MZ_SHORT},
                    PixelCase{"pixtype=2\n", true, 64, 8, MZ_DOUBLE},
                    PixelCase{"pixtype=0\npixbits=8\n", true, 0, 1, MZ_UNKNOWN},
                    PixelCase{"pixtype=99\n", true, 0, 1, static_cast<MZImagePixelType>(99)}));

TEST_F(MovieReader, ReadsTheUtcOffset) {
    bool present = false;
    bool trustable = false;
    open(MovieBytes().attribute("utc_offset_seconds", 3600));
    EXPECT_EQ(reader.utcOffsetSeconds(present, trustable), 3600);
    EXPECT_TRUE(present);
    EXPECT_TRUE(trustable);
    open(MovieBytes().attribute("utc_offset_seconds", 3600).attribute("utc_offset_untrustable", 1));
    EXPECT_EQ(reader.utcOffsetSeconds(present, trustable), 3600);
    EXPECT_TRUE(present);
    EXPECT_FALSE(trustable);
    open(
        MovieBytes().attribute("utc_offset_seconds", -7200).attribute("utc_offset_untrustable", 0));
    EXPECT_EQ(reader.utcOffsetSeconds(present, trustable), -7200);
    EXPECT_TRUE(trustable);
    open(MovieBytes().attribute("utc_offset_untrustable", 0));
    EXPECT_EQ(reader.utcOffsetSeconds(present, trustable), 0);
    EXPECT_FALSE(present);
    EXPECT_FALSE(trustable);
}

TEST_F(MovieReader, GuessesTheDataTypeByTheWidth) {
    open(MovieBytes().size(896, 1));
    EXPECT_EQ(reader.dataType(), QStringLiteral("raw"));
    open(MovieBytes().size(895, 1));
    EXPECT_EQ(reader.dataType(), QStringLiteral("imp"));
    open(MovieBytes().attribute("height", 1));
    EXPECT_EQ(reader.dataType(), QStringLiteral("imp"));
    open(MovieBytes().attribute("width", 896));
    EXPECT_EQ(reader.dataType(), QStringLiteral("imp"));
    open(MovieBytes().size(896, 1).attribute("data_type", "imp"));
    EXPECT_EQ(reader.dataType(), QStringLiteral("imp"));
    open(MovieBytes().attribute("data_type", "other"));
    EXPECT_EQ(reader.dataType(), QStringLiteral("other"));
}

TEST_F(MovieReader, RestoresTheLineBreaksOfComments) {
    open(MovieBytes().attribute("comment", "a\ab").attribute("specific_comment", "c\a\ad"));
    EXPECT_EQ(reader.getComment(), QStringLiteral("a\nb"));
    EXPECT_EQ(reader.getSpecificComment(), QStringLiteral("c\n\nd"));
    open(MovieBytes());
    EXPECT_TRUE(reader.getComment().isNull());
    EXPECT_TRUE(reader.getSpecificComment().isNull());
}

TEST_F(MovieReader, TextIsLatin1) {
    open(MovieBytes().attribute("comment", "\xe9t\xe9"));
    EXPECT_EQ(reader.getComment(), QStringLiteral("été"));
}

namespace {

const PalNode firstNode(0.5F, PalColor(1, 0.25F, 0));

/// A palette of so many nodes, of which the first alone is there.
MovieBytes withFirstNode(int nodes) {
    return MovieBytes()
        .attribute("pal_nbcols", nodes)
        .attribute("pal_n0_val", "0.5")
        .attribute("pal_n0_r", "1")
        .attribute("pal_n0_g", "0.25")
        .attribute("pal_n0_b", "0");
}

}  // namespace

TEST_F(MovieReader, ReadsThePalette) {
    open(withFirstNode(1));
    MzPalette palette;
    EXPECT_TRUE(reader.palette(palette));
    ASSERT_EQ(palette._nodes.size(), 1U);
    EXPECT_EQ(palette._nodes.front(), firstNode);
}

TEST_F(MovieReader, APaletteWithoutNodesBecomesTheDefault) {
    MzPalette expected;
    expected.initDefault();
    MzPalette palette;
    open(MovieBytes());
    EXPECT_FALSE(reader.palette(palette));
    EXPECT_EQ(palette, expected);
    palette = MzPalette();
    open(MovieBytes().attribute("pal_nbcols", 0));
    EXPECT_TRUE(reader.palette(palette)) << "the attributes held a palette, if an empty one";
    EXPECT_EQ(palette, expected);
}

TEST_F(MovieReader, ABrokenPaletteKeepsTheNodesInFrontOfTheBreak) {
    open(withFirstNode(2));
    MzPalette palette;
    EXPECT_FALSE(reader.palette(palette));
    ASSERT_EQ(palette._nodes.size(), 1U) << "not the default";
    EXPECT_EQ(palette._nodes.front(), firstNode);
}

// --- attributes ------------------------------------------------------------------------------

TEST_F(MovieReader, ReadsAttributesByTheirWholeName) {
    open(MovieBytes().attribute("plug_gain", "1.5").attribute("plug_count", 7));
    int count = 0;
    float gain = 0;
    QString text;
    EXPECT_TRUE(reader.attribute(QStringLiteral("plug_count"), count));
    EXPECT_EQ(count, 7);
    EXPECT_TRUE(reader.attribute(QStringLiteral("plug_gain"), gain));
    EXPECT_EQ(gain, 1.5F);
    EXPECT_TRUE(reader.attribute(QStringLiteral("plug_gain"), text));
    EXPECT_EQ(text, QStringLiteral("1.5"));
    EXPECT_FALSE(reader.attribute(QStringLiteral("gain"), text));
    EXPECT_EQ(text, QStringLiteral("1.5"));
}

TEST_F(MovieReader, SetsAttributesUnderAPrefix) {
    open(MovieBytes());
    reader.setAttribute(QStringLiteral("k"), 1);
    reader.setAttribute(QStringLiteral("f"), 1.5F);
    reader.setAttribute(QStringLiteral("t"), QStringLiteral("text"));
    int value = 0;
    EXPECT_FALSE(reader.attribute(QStringLiteral("k"), value));
    EXPECT_TRUE(reader.attribute(QStringLiteral("plug_k"), value));
    EXPECT_EQ(value, 1);
    QString text;
    EXPECT_TRUE(reader.attribute(QStringLiteral("plug_f"), text));
    EXPECT_EQ(text, QStringLiteral("1.500000e+00"));
    EXPECT_TRUE(reader.attribute(QStringLiteral("plug_t"), text));
    EXPECT_EQ(text, QStringLiteral("text"));

    reader.removeAttribute(QStringLiteral("k"));
    EXPECT_TRUE(reader.attribute(QStringLiteral("plug_k"), value));
    reader.removeAttribute(QStringLiteral("plug_k"));
    EXPECT_FALSE(reader.attribute(QStringLiteral("plug_k"), value));
}

TEST_F(MovieReader, ChangedAttributesStayInMemory) {
    open(twoFrames());
    const QByteArray before = file.bytes();
    reader.setAttribute(QStringLiteral("k"), 1);
    reader.attributeChunk().set(QStringLiteral("width"), 9);
    int width = 0;
    EXPECT_TRUE(reader.width(width));
    EXPECT_EQ(width, 9);
    const ImageReader& constant = reader;
    EXPECT_EQ(constant.attributeChunk().attributes().count(QStringLiteral("plug_k")), 1U);
    reader.reloadHeader();
    EXPECT_TRUE(reader.width(width));
    EXPECT_EQ(width, 2);
    EXPECT_EQ(file.bytes(), before);
}

TEST_F(MovieReader, DumpsIndexAndAttributes) {
    open(MovieBytes().frame("ab").frame("cde").attribute("width", 2));
    testing::internal::CaptureStdout();
    reader.dumpDebug();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Chunk index----------------------\n"
              "index[2][0] -> first: off 0 - len 2 \n"
              "index[2][1] -> first: off 34 - len 3 \n"
              "---------------------------------\n"
              "Attribute Chunk Dump:\n"
              "Number of items: 1\n"
              "width -> 2\n");
}
