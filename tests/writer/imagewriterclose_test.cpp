// Closing a movie: what is in the file then, byte by byte, and what a failure leaves.

#include <libDataIO/imagewriter.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include <tests/support/expectfailure.h>
#include <tests/support/limits.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>
#include <tests/support/timezone.h>

using namespace mz;
using namespace mz::test;

namespace {

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
    for (const Setting& sizes :
         {Setting{{"width", 2}}, Setting{{"height", 2}}, Setting{{"width", 0}, {"height", 2}},
          Setting{{"width", 2}, {"height", -1}}}) {
        const ScratchFile file;
        ImageWriter writer;
        writer.create(file.path(), true);
        add(writer, "abc", 0.5F);
        writer.addRasterFiberContinuousIndexes({1, 1});
        for (const auto& [key, value] : sizes)
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
            EXPECT_EQ(log.records().size(), 1U);
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
    const Failure noSeek = {"dataio.imagewriter", SOFTWARE, "FDCW_AC_SEEK",
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
    EXPECT_EQ(log.records().size(), 1U);
}

}  // namespace
