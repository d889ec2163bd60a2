#include <tests/support/moviereader.h>

using namespace mz;
using namespace mz::test;

namespace {

Failure missingInfo(QString const& fileName) {
    return readerFailure("IR_MISSINFO", "File " + fileName + ": missing info, bad file format.");
}

MovieBytes twoFrames() {
    MovieBytes movie;
    movie.size(2, 1).attribute("pixtype", MZ_UCHAR).frame("ab").frame("cd");
    return movie;
}

}  // namespace

// --- opening ---------------------------------------------------------------------------------

TEST_F(MovieReader, IsEmptyBeforeItIsOpened) {
    void const* data = nullptr;
    EXPECT_TRUE(reader.getFilename().isNull());
    EXPECT_EQ(reader.nbFrames(), 0u);
    EXPECT_EQ(reader.currFrameIdx(), 0u);
    EXPECT_TRUE(reader.attributeChunk().attributes().empty());
    EXPECT_FALSE(reader.getFrame(data, 0));
    EXPECT_FALSE(reader.getRawFrame(data, 0));
    EXPECT_FALSE(reader.nextFrame(data));
    EXPECT_EQ(reader.nbFibers(ImageReader::NoFiberFiltering), 0);
    expectFailure<IOFileException>(missingInfo(QString()), [&] { reader.reloadHeader(); });
}

TEST_F(MovieReader, OpensAMovie) {
    open(twoFrames());
    EXPECT_EQ(reader.getFilename(), file.path());
    EXPECT_EQ(reader.nbFrames(), 2u);
    EXPECT_EQ(reader.currFrameIdx(), 0u);
    EXPECT_EQ(rawFrame(1), QByteArray("cd"));
}

TEST_F(MovieReader, TheConstructorOpens) {
    put(twoFrames());
    EXPECT_EQ(ImageReader(file.path()).nbFrames(), 2u);
    const QString missing = file.sibling("missing");
    const LogCapture quiet;
    EXPECT_THROW(ImageReader{missing}, IOFileException);
}

TEST_F(MovieReader, AMovieWithoutFramesOpens) {
    open(MovieBytes().size(2, 1));
    EXPECT_EQ(reader.nbFrames(), 0u);
}

TEST_F(MovieReader, TheLastInfoChunkCounts) {
    const MovieBytes earlier = MovieBytes().attribute("comment", "earlier");
    open(MovieBytes().raw(earlier.bytes()).frame("ab").attribute("comment", "last"));
    EXPECT_EQ(reader.getComment(), QStringLiteral("last"));
    EXPECT_EQ(reader.nbFrames(), 1u);
}

TEST_F(MovieReader, OpeningForgetsTheMovieBefore) {
    open(twoFrames().times({1, 2, 3, 4}).laserPowers(QByteArray("\x01\x02")));
    void const* data = nullptr;
    ASSERT_TRUE(reader.getFrame(data, 1));
    open(MovieBytes().attribute("comment", "new"));
    EXPECT_EQ(reader.nbFrames(), 0u);
    EXPECT_EQ(reader.currFrameIdx(), 0u);
    EXPECT_FALSE(reader.getLaserPower(0));
    EXPECT_FALSE(reader.getFrameTiming(0));
    int width = 0;
    EXPECT_FALSE(reader.width(width));
    EXPECT_EQ(reader.getComment(), QStringLiteral("new"));
}

TEST_F(MovieReader, OpeningCanBeRepeatedWithItsOwnName) {
    open(twoFrames());
    reader.open(reader.getFilename());
    EXPECT_EQ(reader.nbFrames(), 2u);
    EXPECT_EQ(reader.getFilename(), file.path());
}

// --- what cannot be opened -------------------------------------------------------------------

TEST_F(MovieReader, FailuresToOpenTheFilePassUnchanged) {
    const QString missing = file.sibling("missing");
    expectFailure<IOFileException>({"dataio.filereader", FILESYSTEM, "FR_OF_STAT",
                                    "File " + missing + " : No such file or directory"},
                                   [&] { reader.open(missing); });
    EXPECT_EQ(reader.getFilename(), missing);
    const QString folder = file.sibling("");
    expectFailure<IOFileException>({"dataio.filereader", FILESYSTEM, "FR_OF_REGFILE",
                                    "File " + folder + " is not a regular file."},
                                   [&] { reader.open(folder); });
}

TEST_F(MovieReader, AFileThatDoesNotEndInAnInfoChunkIsNone) {
    const QByteArray frame = chunk(MovieBytes::Frame, "ab");
    for (QByteArray const& bytes : {QByteArray(), frame, twoFrames().bytes() + frame}) {
        writeFile(file.path(), bytes);
        expectFailure<IOFileException>(missingInfo(file.path()), [&] { reader.open(file.path()); });
    }
}

TEST_F(MovieReader, ADamagedEndPassesUnchanged) {
    writeFile(file.path(), twoFrames().bytes().chopped(1));
    expectFailure<IOFileException>({"dataio.chunkheader", SOFTWARE, "CHB_LFD_PARSE",
                                    "Cannot read chunk header, file may be corrupted."},
                                   [&] { reader.open(file.path()); });
    writeFile(file.path(), chunk(MovieBytes::Info, le32(1)));
    expectFailure<IOFileException>(
        {"dataio.chunkindex", SOFTWARE, "CI_L_CHUNK", "Cannot read header index, chunk too small."},
        [&] { reader.open(file.path()); });
}

TEST_F(MovieReader, AFailedOpenLeavesTheNameAndAnEmptyHeader) {
    open(twoFrames());
    writeFile(file.path(), chunk(MovieBytes::Frame, "ab"));
    expectFailure<IOFileException>(missingInfo(file.path()), [&] { reader.open(file.path()); });
    EXPECT_EQ(reader.getFilename(), file.path());
    EXPECT_EQ(reader.nbFrames(), 0u);
    EXPECT_TRUE(reader.attributeChunk().attributes().empty());

    put(twoFrames());
    reader.reloadHeader();  // the file is open
    EXPECT_FALSE(reader.attributeChunk().attributes().empty());
    reader.open(file.path());
    EXPECT_EQ(reader.nbFrames(), 2u);
}

TEST_F(MovieReader, AFailureBehindTheHeaderLeavesTheSame) {
    put(MovieBytes()
            .attribute("data_type", "vec")
            .frame("ab")
            .fibers({0, 0})
            .times({1, 2})
            .laserPowers(QByteArray("\x01")));
    expectFailure<IOFileException>(
        readerFailure("IR_GRFI_NOSIZE", QStringLiteral("Size not available.")),
        [&] { reader.open(file.path()); });
    EXPECT_EQ(reader.getFilename(), file.path());
    EXPECT_EQ(reader.nbFrames(), 0u);
    EXPECT_TRUE(reader.attributeChunk().attributes().empty());
    EXPECT_FALSE(reader.getLaserPower(0));
    EXPECT_FALSE(reader.getFrameTiming(0));
}

// --- reloading and closing -------------------------------------------------------------------

TEST_F(MovieReader, ReloadingRefreshesIndexAndAttributesOnly) {
    open(twoFrames()
             .attribute("comment", "old")
             .times({1, 2, 3, 4})
             .laserPowers(QByteArray("\x00\xfe", 2)));
    reader.setAttribute(QStringLiteral("mine"), 1);
    put(MovieBytes()
            .frame("xyz")
            .attribute("comment", "new")
            .attribute("compression_type", "gz")
            .attribute("data_type", "vec"));
    reader.reloadHeader();
    EXPECT_EQ(reader.getComment(), QStringLiteral("new"));
    int value = 0;
    EXPECT_FALSE(reader.attribute(QStringLiteral("plug_mine"), value));
    EXPECT_FALSE(reader.width(value));
    EXPECT_EQ(reader.dataType(), QStringLiteral("vec"));

    EXPECT_EQ(reader.nbFrames(), 2u);
    EXPECT_EQ(frame(0, 3), QByteArray("xyz")) << "neither compressed nor vectorized";
    EXPECT_EQ(reader.getLaserPower(1), 1.0F);
    ASSERT_TRUE(reader.getFrameTiming(1));
    EXPECT_EQ(reader.getFrameTiming(1)->tv_sec, 3);
}

TEST_F(MovieReader, ReloadingAFileWithoutInfoKeepsTheHeader) {
    open(twoFrames());
    writeFile(file.path(), chunk(MovieBytes::Frame, "ab"));
    expectFailure<IOFileException>(missingInfo(file.path()), [&] { reader.reloadHeader(); });
    int width = 0;
    EXPECT_TRUE(reader.width(width));
}

TEST_F(MovieReader, AfterReloadingAShorterIndexItsBoundsCount) {
    open(twoFrames().frame("ef").frame("gh"));
    put(twoFrames());
    reader.reloadHeader();
    EXPECT_EQ(reader.nbFrames(), 4u);
    EXPECT_EQ(rawFrame(1), QByteArray("cd"));
    EXPECT_EQ(rawFrame(2), boost::none) << "one behind the last is nothing";
    EXPECT_EQ(reader.currFrameIdx(), 1u);
    expectFailure<IOFileException>(
        readerFailure("IR_RC_BOUND", QStringLiteral("Chunk number out of bounds.")),
        [&] { rawFrame(3); });
    EXPECT_EQ(reader.currFrameIdx(), 1u);
}

TEST_F(MovieReader, ClosingKeepsWhatWasLoaded) {
    open(twoFrames()
             .attribute("comment", "here")
             .fibers({0, 0})
             .times({1, 2, 3, 4})
             .laserPowers(QByteArray("\xfe\xfe")));
    reader.close();
    EXPECT_TRUE(reader.getFilename().isNull());
    EXPECT_EQ(reader.nbFrames(), 2u);
    EXPECT_EQ(reader.getComment(), QStringLiteral("here"));
    EXPECT_EQ(reader.getLaserPower(0), 1.0F);
    EXPECT_TRUE(reader.getFrameTiming(0));
    EXPECT_NO_THROW(reader.close());
}

TEST_F(MovieReader, AClosedReaderFindsNoFramesAndNoFibers) {
    open(twoFrames().fibers({0, 0}));
    reader.close();
    int untouched = 0;
    void const* data = &untouched;
    EXPECT_FALSE(reader.getFrame(data, 0));
    EXPECT_FALSE(reader.getRawFrame(data, 1));
    EXPECT_FALSE(reader.nextFrame(data));
    EXPECT_EQ(data, &untouched);
    EXPECT_EQ(reader.nbFibers(ImageReader::NoFiberFiltering), 0);
    expectFailure<IOFileException>(missingInfo(QString()), [&] { reader.reloadHeader(); });
}

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

void PrintTo(PixelCase const& pixel, std::ostream* out) {
    *out << testing::PrintToString(pixel.attributes);
}

class PixelsOfTheHeader : public MovieReader, public testing::WithParamInterface<PixelCase> {};

}  // namespace

TEST_P(PixelsOfTheHeader, AreRead) {
    PixelCase const& expected = GetParam();
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

TEST_F(MovieReader, ReadsThePalette) {
    open(MovieBytes()
             .attribute("pal_nbcols", 1)
             .attribute("pal_n0_val", "0.5")
             .attribute("pal_n0_r", "1")
             .attribute("pal_n0_g", "0.25")
             .attribute("pal_n0_b", "0"));
    MzPalette palette;
    EXPECT_TRUE(reader.palette(palette));
    ASSERT_EQ(palette._nodes.size(), 1u);
    EXPECT_EQ(palette._nodes.front(), PalNode(0.5F, PalColor(1, 0.25F, 0)));
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
    ImageReader const& constant = reader;
    EXPECT_EQ(constant.attributeChunk().attributes().count(QStringLiteral("plug_k")), 1u);
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

TEST_F(MovieReader, AFileThatCannotBeOpenedEndsTheMovieBefore) {
    open(twoFrames().times({1, 2, 3, 4}).laserPowers(QByteArray("\x01\x02")));
    const QString missing = file.sibling("missing");
    {
        const LogCapture quiet;
        EXPECT_THROW(reader.open(missing), IOFileException);
    }
    EXPECT_EQ(reader.nbFrames(), 0u);
    EXPECT_TRUE(reader.attributeChunk().attributes().empty());
    EXPECT_FALSE(reader.getLaserPower(0));
    EXPECT_FALSE(reader.getFrameTiming(0));
    EXPECT_EQ(rawFrame(0), boost::none);
    expectFailure<IOFileException>(missingInfo(missing), [&] { reader.reloadHeader(); });
}

TEST_F(MovieReader, ReloadingADamagedInfoChunkLeavesAnEmptyHeader) {
    open(twoFrames());
    writeFile(file.path(), chunk(MovieBytes::Frame, "ab") + chunk(MovieBytes::Info, le32(1)));
    expectFailure<IOFileException>(
        {"dataio.chunkindex", SOFTWARE, "CI_L_CHUNK", "Cannot read header index, chunk too small."},
        [&] { reader.reloadHeader(); });
    EXPECT_TRUE(reader.attributeChunk().attributes().empty());
    EXPECT_EQ(reader.nbFrames(), 2u);
    EXPECT_EQ(rawFrame(0), boost::none);
}

TEST_F(MovieReader, ABrokenPaletteKeepsTheNodesInFrontOfTheBreak) {
    open(MovieBytes()
             .attribute("pal_nbcols", 2)
             .attribute("pal_n0_val", "0.5")
             .attribute("pal_n0_r", "1")
             .attribute("pal_n0_g", "0.25")
             .attribute("pal_n0_b", "0"));
    MzPalette palette;
    EXPECT_FALSE(reader.palette(palette));
    ASSERT_EQ(palette._nodes.size(), 1u) << "not the default";
    EXPECT_EQ(palette._nodes.front(), PalNode(0.5F, PalColor(1, 0.25F, 0)));
}
