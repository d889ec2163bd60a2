// The header of a movie that is being recorded: what each setter writes into it.

#include <libDataIO/imagewriter.h>

#include <gtest/gtest.h>

#include <limits>
#include <utility>
#include <vector>

#include <tests/support/expectfailure.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

using Texts = std::vector<std::pair<const char*, const char*>>;

/// Each key with the text that its attribute must have.
void expectTexts(ImageWriter& writer, const Texts& expected) {
    for (const auto& [key, value] : expected)
        EXPECT_EQ(text(writer, key), value) << key;
}

TEST(ImageWriterHeader, SettersWriteTheirKeys) {
    ImageWriter writer;
    writer.width(640);
    writer.height(-1);
    writer.frameDelay(83);
    writer.dimension(2);
    writer.indexed(true);
    writer.addBundleBoundingBoxCoords(1.5F, 2, 30, 40.25F);
    expectTexts(writer, {{"width", "640"},
                         {"height", "-1"},
                         {"framedelay", "83"},
                         {"datadimension", "2"},
                         {"indexed", "1"},
                         {"bbox_min_x", "1.500000e+00"},
                         {"bbox_min_y", "2.000000e+00"},
                         {"bbox_max_x", "3.000000e+01"},
                         {"bbox_max_y", "4.025000e+01"}});
    writer.indexed(false);
    writer.width(641);
    EXPECT_EQ(text(writer, "indexed"), "0");
    EXPECT_EQ(text(writer, "width"), "641");
    EXPECT_EQ(writer.attributeChunk().attributes().size(), 11U);
}

TEST(ImageWriterHeader, AnyAttributeKeepsTheTypeItWasGiven) {
    ImageWriter writer;
    writer.attribute(QStringLiteral("i"), 3);
    writer.attribute(QStringLiteral("f"), 0.25F);
    writer.attribute(QStringLiteral("s"), QStringLiteral(" as it is "));
    writer.setPlugAttribute(QStringLiteral("x"), 3);
    writer.setPlugAttribute(QStringLiteral("y"), -300.0F);
    writer.setPlugAttribute(QStringLiteral("z"), QStringLiteral("text"));
    expectTexts(writer, {{"i", "3"},
                         {"f", "2.500000e-01"},
                         {"s", " as it is "},
                         {"plug_x", "3"},
                         {"plug_y", "-3.000000e+02"},
                         {"plug_z", "text"}});

    writer.removeAttribute(QStringLiteral("i"));
    writer.removeAttribute(QStringLiteral("x"));  // not "plug_x"
    EXPECT_FALSE(has(writer, "i"));
    EXPECT_TRUE(has(writer, "plug_x"));
}

TEST(ImageWriterHeader, PixelTypeSetsItsBitsToo) {
    const std::vector<std::pair<MZImagePixelType, const char*>> bits = {
        {MZ_FLOAT, "32"},  {MZ_DOUBLE, "64"}, {MZ_UCHAR, "8"}, {MZ_CHAR, "8"},
        {MZ_USHORT, "16"}, {MZ_SHORT, "16"},  {MZ_UINT, "32"}, {MZ_INT, "32"},
        {MZ_ULONG, "32"},  {MZ_LONG, "32"},   {MZ_RGB, "24"},  {MZ_RGBA, "32"}};
    for (const auto& [type, expected] : bits) {
        ImageWriter writer;
        writer.pixType(type);
        EXPECT_EQ(text(writer, "pixtype"), QString::number(type));
        EXPECT_EQ(text(writer, "pixbits"), QString::fromLatin1(expected));
    }
}

TEST(ImageWriterHeader, UnknownPixelTypeIsSetButItsBitsStay) {
    for (const auto type : {MZ_UNKNOWN, static_cast<MZImagePixelType>(99)}) {
        ImageWriter writer;
        writer.pixType(MZ_USHORT);
        expectFailure<IOFileException>(
            {"dataio.imagewriter", SOFTWARE, "IW_PT_INFO",
             QStringLiteral("Image pixel type is unknown: cannot guess pixbits")},
            [&] { writer.pixType(type); });
        EXPECT_EQ(text(writer, "pixtype"), QString::number(type));
        EXPECT_EQ(text(writer, "pixbits"), "16");
    }
}

TEST(ImageWriterHeader, WholeBytesPerPixel) {
    ImageWriter writer;
    EXPECT_EQ(writer.pixBytes(), 0);
    const std::vector<std::pair<int, int>> expected = {
        {0, 1},
        {1, 1},
        {8, 1},
        {9, 2},
        {12, 2},
        {16, 2},
        {17, 3},
        {64, 8},
        {-6, 1},
        {-7, 0},
        {std::numeric_limits<int>::min(), -268435455}};
    for (const auto& [bits, bytes] : expected) {
        writer.attribute(QStringLiteral("pixbits"), bits);
        EXPECT_EQ(writer.pixBytes(), bytes) << bits;
    }
}

TEST(ImageWriterHeader, CommentsHaveSeveralLinesAndNoBells) {
    ImageWriter writer;
    EXPECT_TRUE(writer.getComment().isNull());
    writer.setComment(QStringLiteral("a\nb"));
    EXPECT_EQ(text(writer, "comment"), "a\ab");
    EXPECT_EQ(writer.getComment(), "a\nb");

    writer.setComment(QStringLiteral("a\ab\r\nc"));
    EXPECT_EQ(text(writer, "comment"), "a b\r\ac");
    EXPECT_EQ(writer.getComment(), "a b\r\nc");

    writer.setSpecificComment(QStringLiteral("\n\a\n"));
    EXPECT_EQ(text(writer, "specific_comment"), "\a \a");
    EXPECT_EQ(writer.getComment(), "a b\r\nc");
}

TEST(ImageWriterHeader, CompressionHasFourNames) {
    ImageWriter writer;
    const std::vector<std::pair<CompressionType::e, const char*>> names = {
        {CompressionType::ZLib, "z"},
        {CompressionType::GZip, "gz"},
        {CompressionType::BZip2, "bz2"},
        {CompressionType::None, "none"}};
    for (const auto& [type, name] : names) {
        writer.setCompression(type);
        EXPECT_EQ(text(writer, "compression_type"), QString::fromLatin1(name));
    }
}

TEST(ImageWriterHeader, UnknownCompressionsAreNone) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    writer.setCompression(CompressionType::ZLib);
    writer.setCompression(static_cast<CompressionType::e>(77));
    EXPECT_EQ(text(writer, "compression_type"), "none");
    add(writer, "as it is");
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).frames, std::vector<QByteArray>{"as it is"});
}

TEST(ImageWriterHeader, FurtherNodesOfAnEarlierPaletteStay) {
    MzPalette palette;
    palette.initDefault();
    palette._nodes.emplace_back(1.0F, PalColor(0, 1, 0));
    ImageWriter writer;
    writer.setPalette(palette);
    palette._nodes.pop_back();
    writer.setPalette(palette);
    EXPECT_EQ(text(writer, "pal_nbcols"), "2");
    EXPECT_TRUE(has(writer, "pal_n2_g"));
}

TEST(ImageWriterHeader, PaletteReplacesItsOwnKeysOnly) {
    MzPalette palette;
    palette.initDefault();
    palette._name = QStringLiteral("green");
    ImageWriter writer;
    writer.width(4);
    writer.attribute(QStringLiteral("pal_name"), QStringLiteral("old"));
    writer.attribute(QStringLiteral("pal_other"), 1);
    writer.setPalette(palette);
    EXPECT_EQ(text(writer, "pal_name"), "green");
    EXPECT_EQ(text(writer, "pal_other"), "1");
    EXPECT_EQ(text(writer, "width"), "4");
    EXPECT_TRUE(has(writer, "pal_n0_val"));
}

TEST(ImageWriterHeader, AttributeChunkIsTheHeaderItself) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    writer.attributeChunk().set(QStringLiteral("operator"), QStringLiteral("\u00b5-lab \u2192"));
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).attribute("operator"), "\xb5-lab ?");
}

}  // namespace
