// Creating a movie, its header, and closing it: what is in the file then, byte by byte.

#include <libDataIO/imagewriter.h>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <memory>
#include <regex>
#include <vector>

#include <tests/support/expectfailure.h>
#include <tests/support/limits.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

const char* const emptyHeader = "compression_type=none\nendian=2\n";

/// The text of an attribute in memory; null when it is missing.
QString text(ImageWriter& writer, const char* key) {
    QString value;
    writer.attributeChunk().get(QString::fromLatin1(key), value);
    return value;
}

bool has(ImageWriter& writer, const char* key) {
    QString value;
    return writer.attributeChunk().get(QString::fromLatin1(key), value);
}

class TimeZone {
public:
    explicit TimeZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
    ~TimeZone() {
        unsetenv("TZ");
        tzset();
    }
    TimeZone(TimeZone const&) = delete;
    TimeZone& operator=(TimeZone const&) = delete;
};

// --- create ---

TEST(ImageWriterCreate, LeavesAnEmptyFileOfItsOwnerAlone) {
    const ScratchFile file("an older movie");
    ImageWriter writer;
    EXPECT_FALSE(writer.isOpen());
    writer.create(file.path(), true);
    EXPECT_TRUE(writer.isOpen());
    EXPECT_EQ(file.bytes(), "");

    writer.create(file.sibling("new"), true);
    struct stat status {};
    ASSERT_EQ(stat(file.sibling("new").toLocal8Bit().constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST(ImageWriterCreate, StartsWithByteOrderAndNoCompression) {
    ImageWriter writer;
    EXPECT_EQ(text(writer, "endian"), "2");
    EXPECT_EQ(text(writer, "compression_type"), "none");
    EXPECT_EQ(writer.attributeChunk().attributes().size(), 2u);
}

TEST(ImageWriterCreate, ForgetsWhatWasSetOrRecordedBefore) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.sibling("first"), true);
    setSize(writer, 2, 2);
    add(writer, frame16(4), 0.5F);
    writer.addRasterFiberContinuousIndexes({1, 1});
    writer.setCompression(CompressionType::GZip);
    writer.attribute(QStringLiteral("endian"), 7);

    writer.create(file.path(), false);
    writer.close();
    EXPECT_EQ(file.bytes(), chunk(5, le32(0) + emptyHeader));
}

TEST(ImageWriterCreate, ResetsCompressionForFramesAsWell) {
    const ScratchFile file;
    ImageWriter writer;
    writer.setCompression(CompressionType::ZLib);
    writer.create(file.path(), false);
    add(writer, "abcd");
    EXPECT_EQ(file.bytes(), chunk(2, "abcd"));
}

TEST(ImageWriterCreate, ForgetsTheSizeOfTheLastFrame) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    add(writer, "abc");
    writer.create(file.path(), false);
    setSize(writer, 2, 2);
    writer.close();
    EXPECT_FALSE(soundMovie(file.path()).has("data_type"));
}

TEST(ImageWriterCreate, DropsAnOpenFileAsItStands) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.sibling("first"), true);
    add(writer, "abc");
    writer.create(file.path(), true);
    EXPECT_EQ(readFile(file.sibling("first")), chunk(2, "abc"));
}

TEST(ImageWriterCreate, FailureLeavesAClosedAndEmptyWriter) {
    const ScratchFile file;
    const QString missing = file.sibling("no/such/folder");
    ImageWriter writer;
    writer.create(file.path(), true);
    writer.width(3);
    expectFailure<IOFileException>({"dataio.filewriter", SYSCALL, "FW_OF_OPEN",
                                    "File " + missing + " : No such file or directory"},
                                   [&] { writer.create(missing, true); });
    EXPECT_FALSE(writer.isOpen());
    EXPECT_FALSE(has(writer, "width"));
    writer.close();
    EXPECT_EQ(file.bytes(), "");
}

// --- header ---

TEST(ImageWriterHeader, SettersWriteTheirKeys) {
    ImageWriter writer;
    writer.width(640);
    writer.height(-1);
    writer.frameDelay(83);
    writer.dimension(2);
    writer.indexed(true);
    writer.addBundleBoundingBoxCoords(1.5F, 2, 30, 40.25F);
    EXPECT_EQ(text(writer, "width"), "640");
    EXPECT_EQ(text(writer, "height"), "-1");
    EXPECT_EQ(text(writer, "framedelay"), "83");
    EXPECT_EQ(text(writer, "datadimension"), "2");
    EXPECT_EQ(text(writer, "indexed"), "1");
    EXPECT_EQ(text(writer, "bbox_min_x"), "1.500000e+00");
    EXPECT_EQ(text(writer, "bbox_min_y"), "2.000000e+00");
    EXPECT_EQ(text(writer, "bbox_max_x"), "3.000000e+01");
    EXPECT_EQ(text(writer, "bbox_max_y"), "4.025000e+01");
    writer.indexed(false);
    writer.width(641);
    EXPECT_EQ(text(writer, "indexed"), "0");
    EXPECT_EQ(text(writer, "width"), "641");
    EXPECT_EQ(writer.attributeChunk().attributes().size(), 11u);
}

TEST(ImageWriterHeader, AnyAttributeKeepsTheTypeItWasGiven) {
    ImageWriter writer;
    writer.attribute(QStringLiteral("i"), 3);
    writer.attribute(QStringLiteral("f"), 0.25F);
    writer.attribute(QStringLiteral("s"), QStringLiteral(" as it is "));
    writer.setPlugAttribute(QStringLiteral("x"), 3);
    writer.setPlugAttribute(QStringLiteral("y"), -300.0F);
    writer.setPlugAttribute(QStringLiteral("z"), QStringLiteral("text"));
    EXPECT_EQ(text(writer, "i"), "3");
    EXPECT_EQ(text(writer, "f"), "2.500000e-01");
    EXPECT_EQ(text(writer, "s"), " as it is ");
    EXPECT_EQ(text(writer, "plug_x"), "3");
    EXPECT_EQ(text(writer, "plug_y"), "-3.000000e+02");
    EXPECT_EQ(text(writer, "plug_z"), "text");

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
    for (auto const& [type, expected] : bits) {
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
    for (auto const& [bits, bytes] : expected) {
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
    for (auto const& [type, name] : names) {
        writer.setCompression(type);
        EXPECT_EQ(text(writer, "compression_type"), QString::fromLatin1(name));
    }
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

// --- close ---

TEST(ImageWriterClose, MovieWithoutFramesAndTimesIsAnInfoChunk) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    writer.close();
    EXPECT_FALSE(writer.isOpen());
    EXPECT_EQ(file.bytes(), chunk(5, le32(0) + emptyHeader));
    EXPECT_TRUE(soundMovie(file.path()).problems.empty());
}

TEST(ImageWriterClose, AutotimeWritesAnEmptyTimerWithoutFrames) {
    const TimeZone zone("XXX-2");
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), true);
    writer.close();
    EXPECT_EQ(file.bytes(), chunk(7, "") + chunk(5, le32(1) + indexRecord(7, 0, 0) + emptyHeader +
                                                        "utc_offset_seconds=7200\n"));
}

TEST(ImageWriterClose, WithoutTimesThereIsNoOffsetFromUtc) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    add(writer, "a");
    writer.close();
    const Movie movie = soundMovie(file.path());
    EXPECT_EQ(movie.types(), (std::vector<uint32_t>{2, 8, 5}));
    EXPECT_FALSE(movie.has("utc_offset_seconds"));
}

TEST(ImageWriterClose, WritesTheWholeLayout) {
    const TimeZone zone("XXX5");
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    writer.width(100);
    writer.height(50);
    writer.addRasterFiberContinuousIndexes({0, 0, 50, 25, 250, -3});
    add(writer, "frame 0", timeOf(20, 5), 0.5F);
    add(writer, "frame 1..", timeOf(10, 999999), -1);
    writer.close();

    // 99/100 and 49/50 of the full scale are the furthest that fibres go.
    const QByteArray frames = chunk(2, "frame 0") + chunk(2, "frame 1..");
    const QByteArray fibers = chunk(
        6, le32(0) + le32(0) + le32(2147483647) + le32(2147483647) + le32(4252017622) + le32(0));
    const QByteArray times = chunk(7, le32(10) + le32(999999) + le32(20) + le32(5));
    const QByteArray powers = chunk(8, "\x7f\xff");
    const QByteArray index = le32(5) + indexRecord(2, 0, 7) + indexRecord(2, 39, 9) +
                             indexRecord(6, 80, 24) + indexRecord(7, 136, 16) +
                             indexRecord(8, 184, 2);
    EXPECT_EQ(file.bytes(), frames + fibers + times + powers +
                                chunk(5, index + "compression_type=none\nendian=2\nheight=50\n"
                                                 "utc_offset_seconds=-18000\nwidth=100\n"));
    soundMovie(file.path());
}

TEST(ImageWriterClose, PowersAreRoundedToBytes) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    for (const float power : {0.0F, 0.5F, 1.0F, -1.0F, -0.001F, 1.004F, 1.01F, NAN})
        add(writer, "", power);
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).powers,
              (std::vector<int>{0, 127, 254, 255, 255, 255, 1, 255}));
}

TEST(ImageWriterClose, FibersAreClampedIntoTheImage) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    writer.width(2);
    writer.height(1);
    writer.addRasterFiberContinuousIndexes({9, 9});
    writer.addRasterFiberContinuousIndexes({1e30F, NAN, -INFINITY, 0.5F, 0.5F});
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).fiberWords,
              (std::vector<uint32_t>{2147483647, 0, 0, 0, 1073741823}));
}

struct DataTypeCase {
    const char* before;
    int bits, width, height, frameSize;
    const char* after;
};

class ImageWriterDataType : public testing::TestWithParam<DataTypeCase> {};

TEST_P(ImageWriterDataType, FollowsTheSizeOfTheLastFrame) {
    const DataTypeCase c = GetParam();
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    writer.width(c.width);
    writer.height(c.height);
    writer.attribute(QStringLiteral("pixbits"), c.bits);
    if (*c.before != '\0') writer.attribute(QStringLiteral("data_type"), QString(c.before));
    add(writer, QByteArray(7, 'x'));
    add(writer, QByteArray(c.frameSize, 'x'));
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).attribute("data_type"), c.after);
}

INSTANTIATE_TEST_SUITE_P(
    ImageWriter, ImageWriterDataType,
    testing::Values(DataTypeCase{"", 12, 4, 3, 24, ""}, DataTypeCase{"", 12, 4, 3, 18, "vec"},
                    DataTypeCase{"", 8, 4, 3, 24, "vec"}, DataTypeCase{"imp", 16, 4, 3, 24, "imp"},
                    DataTypeCase{"raw", 16, 4, 3, 24, "raw"},
                    DataTypeCase{"raw", 16, 4, 3, 23, "vec"},
                    DataTypeCase{"imp", 16, 4, 3, 25, "vec"},
                    DataTypeCase{"vec", 16, 4, 3, 24, "imp"},
                    DataTypeCase{"vec", 16, 4, 3, 10, "vec"}, DataTypeCase{"", 0, 4, 3, 12, "vec"},
                    DataTypeCase{"vec", 16, 4, 3, 0, "vec"}, DataTypeCase{"", 16, 4, 3, 0, ""},
                    DataTypeCase{"", 16, 65536, 32768, 1, "vec"},
                    DataTypeCase{"", 2147483647, 2147483647, 2147483647, 1, "vec"}));

TEST(ImageWriterClose, DataTypeStaysWithoutAWholeHeader) {
    for (const char* missing : {"width", "height", "pixbits"}) {
        const ScratchFile file;
        ImageWriter writer;
        writer.create(file.path(), false);
        setSize(writer, 2, 2);
        writer.removeAttribute(QString::fromLatin1(missing));
        add(writer, "abc");
        writer.close();
        EXPECT_FALSE(soundMovie(file.path()).has("data_type")) << missing;
    }
}

TEST(ImageWriterClose, SecondCloseAndLaterHeaderDoNothing) {
    const ScratchFile file;
    ImageWriter writer;
    writer.close();
    writer.create(file.path(), true);
    add(writer, "abc");
    writer.close();
    const QByteArray before = file.bytes();
    writer.width(3);
    writer.close();
    EXPECT_EQ(file.bytes(), before);
    EXPECT_EQ(text(writer, "width"), "3");
}

TEST(ImageWriterClose, FibersWithoutASizeAreRefusedAndCanBeMended) {
    using Setting = std::vector<std::pair<const char*, int>>;
    for (Setting const& sizes :
         {Setting{{"width", 2}}, Setting{{"height", 2}}, Setting{{"width", 0}, {"height", 2}},
          Setting{{"width", 2}, {"height", -1}}}) {
        const ScratchFile file;
        ImageWriter writer;
        writer.create(file.path(), true);
        add(writer, "abc", 0.5F);
        writer.addRasterFiberContinuousIndexes({1, 1});
        for (auto const& [key, value] : sizes)
            writer.attribute(QString::fromLatin1(key), value);
        expectFailure<IOFileException>(
            {"dataio.imagewriter", SOFTWARE, "IW_ARFCI_INFO",
             QStringLiteral("Width and height of the picture must be defined before saving "
                            "fibers.")},
            [&] { writer.close(); });
        EXPECT_TRUE(writer.isOpen());
        EXPECT_EQ(file.bytes(), chunk(2, "abc"));

        writer.width(2);
        writer.height(2);
        writer.close();
        EXPECT_EQ(soundMovie(file.path()).types(), (std::vector<uint32_t>{2, 6, 7, 8, 5}));
    }
}

TEST(ImageWriterClose, FullDiskIsTakenBackAndCloseTriedAgain) {
    const ScratchFile file;
    const auto record = [&file](ImageWriter& writer) {
        writer.create(file.path(), false);
        setSize(writer, 2, 2);
        writer.addRasterFiberContinuousIndexes({1, 1});
        add(writer, frame16(4), timeOf(1), 0.5F);
    };
    {
        ImageWriter writer;
        record(writer);
        writer.close();
    }
    const QByteArray whole = file.bytes();
    const QByteArray frames = whole.left(40);
    for (qsizetype room = frames.size(); room < whole.size(); ++room) {
        ImageWriter writer;
        record(writer);
        {
            const LogCapture log;
            const FileSizeLimit limit(static_cast<rlim_t>(room));
            EXPECT_THROW(writer.close(), IOFileException) << room;
            EXPECT_EQ(log.records().size(), 1u);
        }
        ASSERT_TRUE(writer.isOpen());
        ASSERT_EQ(file.bytes(), frames) << room;
        writer.close();
        ASSERT_EQ(file.bytes(), whole) << room;
    }
}

TEST(ImageWriterClose, AFailedCloseLeavesTheRecordingGoing) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    add(writer, "abc", timeOf(1), 0.5F);
    {
        const LogCapture log;
        const FileSizeLimit limit(100);
        EXPECT_THROW(writer.close(), IOFileException);
    }
    add(writer, "de", timeOf(2), 1.0F);
    writer.close();
    const Movie movie = soundMovie(file.path());
    EXPECT_EQ(movie.frames, (std::vector<QByteArray>{"abc", "de"}));
    EXPECT_EQ(movie.powers, (std::vector<int>{127, 254}));
}

TEST(ImageWriterClose, FileThatCannotBeSoughtIsRefused) {
    const ScratchFile file;
    const QByteArray pipe = file.sibling("pipe").toLocal8Bit();
    ASSERT_EQ(mkfifo(pipe.constData(), 0600), 0);
    const Failure noSeek = {"dataio.imagewriter", SYSCALL, "FDCW_AC_SEEK",
                            QStringLiteral("Cannot seek in file before writing data.")};
    Failure noSeekBelow = noSeek;
    noSeekBelow.logger = "dataio.fdchunkwriter";

    auto writer = std::make_unique<ImageWriter>();
    writer->create(file.sibling("pipe"), false);
    expectFailure<IOFileException>(noSeekBelow, [&] { add(*writer, "abc"); });
    expectFailure<IOFileException>(noSeek, [&] { writer->addFrameAtEnd("abc", 3); });
    expectFailure<IOFileException>(noSeek, [&] { writer->addFrameAtEnd("abc", 3, timeOf(1)); });
    expectFailure<IOFileException>(noSeek, [&] { writer->close(); });
    EXPECT_TRUE(writer->isOpen());
    const LogCapture log;
    writer.reset();
    EXPECT_EQ(log.records().size(), 1u);
}

// --- the end of a writer ---

TEST(ImageWriterEnd, ClosesAnOpenMovie) {
    const ScratchFile file;
    {
        ImageWriter writer;
        writer.create(file.path(), false);
        add(writer, "abc");
    }
    EXPECT_EQ(soundMovie(file.path()).frames, (std::vector<QByteArray>{"abc"}));
}

TEST(ImageWriterEnd, SwallowsAFailureWithNoRecordButItsOwn) {
    const ScratchFile file;
    auto writer = std::make_unique<ImageWriter>();
    writer->create(file.path(), false);
    add(*writer, "abc");
    writer->addRasterFiberContinuousIndexes({1, 1});
    const LogCapture log;
    writer.reset();
    ASSERT_EQ(log.records().size(), 1u);
    EXPECT_EQ(log.records().front().code, "IW_ARFCI_INFO");
    EXPECT_EQ(file.bytes(), chunk(2, "abc"));
}

// --- debugging output ---

TEST(ImageWriterDump, ShowsIndexHeaderAndFile) {
    ImageWriter writer;
    char address[64];
    std::snprintf(address, sizeof address, "%p", static_cast<const void*>(&writer));
    const std::string head = std::string("-------------------------- Dump debug ImageWriter ") +
                             address + "\nInfo Header:\nChunk index----------------------\n";
    const std::string attributes =
        "---------------------------------\nAttribute Chunk Dump:\nNumber of items: 2\n"
        "compression_type -> none\nendian -> 2\n";

    testing::internal::CaptureStdout();
    writer.dumpDebug();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              head + attributes + "writer = (nil)\nfd = 4294967295\n");

    const ScratchFile file;
    writer.create(file.path(), false);
    add(writer, "abc");
    add(writer, "");
    testing::internal::CaptureStdout();
    writer.dumpDebug();
    const std::string expected = head +
                                 "index[2][0] -> first: off 0 - len 3 \n"
                                 "index[2][1] -> first: off 35 - len 0 \n" +
                                 attributes;
    const std::string text = testing::internal::GetCapturedStdout();
    ASSERT_EQ(text.substr(0, expected.size()), expected);
    EXPECT_TRUE(std::regex_match(text.substr(expected.size()),
                                 std::regex("writer = 0x[0-9a-f]+\nfd = [0-9]+\n")));
}

}  // namespace
