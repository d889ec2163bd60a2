// Adding frames: their size, time and power, the order of the errors, and what each leaves behind.

#include <libDataIO/imagewriter.h>

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <vector>

#include <tests/support/expectfailure.h>
#include <tests/support/limits.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr int anySize = 3;
const char* const data = "abcdefghijklmnopqrstuvwxyz";
using Action = std::function<void(ImageWriter&)>;

/// The failure of `action`, after which a movie of one frame, one time and one power is as it was.
void expectRefused(const char* code, const char* message, bool autotime, const Action& prepare,
                   const Action& action) {
    SCOPED_TRACE(code);
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), autotime);
    setSize(writer, 2, 2, MZ_UCHAR);
    if (autotime)
        add(writer, "wxyz", 0.5F);
    else
        add(writer, "wxyz", timeOf(1), 0.5F);
    prepare(writer);
    expectFailure<IOFileException>(
        {"dataio.imagewriter", SOFTWARE, code, QString::fromLatin1(message)},
        [&] { action(writer); });
    EXPECT_EQ(file.bytes(), chunk(2, "wxyz"));

    setSize(writer, 2, 2, MZ_UCHAR);
    writer.close();
    const Movie movie = soundMovie(file.path());
    EXPECT_EQ(movie.types(), (std::vector<uint32_t>{2, 7, 8, 5}));
    EXPECT_EQ(movie.times.size(), 1U);
    EXPECT_EQ(movie.powers, (std::vector<int>{127}));
    EXPECT_FALSE(movie.has("data_type"));
}

Action removing(const char* key) {
    return [key](ImageWriter& writer) { writer.removeAttribute(QString::fromLatin1(key)); };
}

Action sized(int width, int height, int bits) {
    return [=](ImageWriter& writer) {
        writer.width(width);
        writer.height(height);
        writer.attribute(QStringLiteral("pixbits"), bits);
    };
}

void nothing(ImageWriter&) {}

// --- size ---

TEST(AddFrame, SizeComesFromTheHeaderInWholeBytes) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    sized(4, 3, 12)(writer);
    const QByteArray frame = frame16(12);
    writer.addFrame(frame.constData(), 0.5F);
    writer.addFrame(frame.constData(), timeOf(1), 0.5F);
    sized(4, 3, 8)(writer);
    writer.addFrame(frame.constData());
    sized(4, 3, 17)(writer);
    const QByteArray wide = frame16(18);
    writer.addFrame(wide.constData(), 0.5);
    EXPECT_EQ(file.bytes(),
              chunk(2, frame) + chunk(2, frame) + chunk(2, frame.left(12)) + chunk(2, wide));
}

TEST(AddFrame, PixelsOfNoBitsTakeNoBytes) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    sized(4, 3, 0)(writer);
    writer.addFrame(data);
    EXPECT_EQ(file.bytes(), chunk(2, ""));
}

TEST(AddFrame, GivenSizeNeedsNoHeader) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    writer.addFrame(data, 5);
    writer.addFrame(data, 0, 0.5F);
    writer.addFrame(nullptr, 0, timeOf(1));
    EXPECT_EQ(file.bytes(), chunk(2, "abcde") + chunk(2, "") + chunk(2, ""));
}

TEST(AddFrame, IncompleteHeaderIsRefused) {
    const char* message =
        "Width, height and pixbitsof the picture must be defined before adding frames.";
    for (const char* key : {"width", "height", "pixbits"}) {
        expectRefused("IW_AF_INFO1", message, false, removing(key),
                      [](ImageWriter& writer) { writer.addFrame(data, 0.5F); });
        expectRefused("IW_AF_INFO2", message, false, removing(key),
                      [](ImageWriter& writer) { writer.addFrame(data, timeOf(2), 0.5F); });
        const auto noNumber = [key](ImageWriter& writer) {
            writer.attribute(QString::fromLatin1(key), QStringLiteral("wide"));
        };
        expectRefused("IW_AF_INFO1", message, true, noNumber,
                      [](ImageWriter& writer) { writer.addFrame(data); });
    }
}

TEST(AddFrame, SizesThatAreNoneAreRefused) {
    const char* message = "Frame size is invalid.";
    const auto withHeaderSize = [](ImageWriter& writer) { writer.addFrame(data, 0.5F); };
    const auto withHeaderSizeAndTime = [](ImageWriter& writer) {
        writer.addFrame(data, timeOf(2), 0.5F);
    };
    const int most = std::numeric_limits<int>::max();
    for (const Action& header :
         {sized(-1, 4, 8), sized(4, -1, 8), sized(-4, -4, 8), sized(4, 4, -17), sized(most, 2, 8),
          sized(65536, 32768, 8), sized(46341, 46341, 8), sized(65536, 65536, 16),
          sized(most, most, most)}) {
        expectRefused("IW_AF_SIZE", message, false, header, withHeaderSize);
        expectRefused("IW_AF_SIZE", message, false, header, withHeaderSizeAndTime);
    }
    for (const int size : {-1, std::numeric_limits<int>::min()}) {
        for (const Action& action :
             {Action([size](ImageWriter& writer) { writer.addFrame(data, size, 0.5F); }),
              Action([size](ImageWriter& writer) { writer.addFrame(data, size, timeOf(2), 0.5F); }),
              Action([size](ImageWriter& writer) { writer.addFrameAtEnd(data, size, 0.5F); }),
              Action([size](ImageWriter& writer) {
                  writer.addFrameAtEnd(data, size, timeOf(2), 0.5F);
              }),
              Action([size](ImageWriter& writer) {
                  writer.addFrame(data, static_cast<unsigned int>(size), boost::none, boost::none);
              })}) {
            expectRefused("IW_AF_SIZE", message, false, nothing, action);
        }
    }
}

// --- time ---

TEST(AddFrame, GivenTimeIsRefusedWhileTheWriterTakesIt) {
    const char* message = "AddFrame with a frametiming cannot be used with autotime=true";
    expectRefused("IW_AF_AUTOTIME1", message, true, nothing,
                  [](ImageWriter& writer) { writer.addFrame(data, timeOf(2), 0.5F); });
    expectRefused("IW_AF_AUTOTIME2", message, true, nothing,
                  [](ImageWriter& writer) { writer.addFrame(data, anySize, timeOf(2), 0.5F); });
    expectRefused("IW_AF_AUTOTIME3", message, true, nothing, [](ImageWriter& writer) {
        writer.addFrameAtEnd(data, anySize, timeOf(2), 0.5F);
    });
}

TEST(AddFrame, HeaderIsCheckedBeforeTimeAndTimeBeforeSize) {
    const char* incomplete =
        "Width, height and pixbitsof the picture must be defined before adding frames.";
    const char* automatic = "AddFrame with a frametiming cannot be used with autotime=true";
    expectRefused("IW_AF_INFO2", incomplete, true, removing("pixbits"),
                  [](ImageWriter& writer) { writer.addFrame(data, timeOf(2), 0.5F); });
    expectRefused("IW_AF_AUTOTIME1", automatic, true, sized(-1, 1, 8),
                  [](ImageWriter& writer) { writer.addFrame(data, timeOf(2), 0.5F); });
    expectRefused("IW_AF_AUTOTIME2", automatic, true, nothing,
                  [](ImageWriter& writer) { writer.addFrame(data, -1, timeOf(2), 0.5F); });
    expectRefused("IW_AF_AUTOTIME3", automatic, true, nothing,
                  [](ImageWriter& writer) { writer.addFrameAtEnd(data, -1, timeOf(2), 0.5F); });
}

TEST(AddFrame, AutomaticTimeIsThatOfTheCall) {
    const ScratchFile file;
    ImageWriter writer;
    timeval before{};
    timeval after{};
    gettimeofday(&before, nullptr);
    writer.create(file.path(), true);
    setSize(writer, 1, 1, MZ_UCHAR);
    writer.addFrame(data, 0.5F);
    writer.addFrame(data, anySize, 0.5F);
    writer.addFrameAtEnd(data, anySize, 0.5F);
    gettimeofday(&after, nullptr);
    writer.close();

    const Movie movie = soundMovie(file.path());
    ASSERT_EQ(movie.times.size(), 3U);
    const auto micros = [](int64_t sec, int64_t usec) { return sec * 1000000 + usec; };
    int64_t last = micros(before.tv_sec, before.tv_usec);
    for (const MovieTime& time : movie.times) {
        EXPECT_GE(micros(time.sec, time.usec), last);
        last = micros(time.sec, time.usec);
    }
    EXPECT_LE(last, micros(after.tv_sec, after.tv_usec));
}

TEST(AddFrame, WithoutAutotimeOnlyGivenTimesAreKept) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    setSize(writer, 1, 1, MZ_UCHAR);
    writer.addFrame(data, timeOf(3, 4), 0.5F);
    writer.addFrame(data, anySize, 0.5F);
    writer.addFrame(data, 0.5F);
    writer.addFrameAtEnd(data, anySize, 0.5F);
    writer.addFrame(data, anySize, timeOf(-2, 1), 0.5F);
    writer.addFrameAtEnd(data, anySize, timeOf(3, 3), 0.5F);
    writer.close();
    const Movie movie = soundMovie(file.path());
    EXPECT_EQ(movie.times, (std::vector<MovieTime>{{-2, 1}, {3, 3}, {3, 4}}));
    EXPECT_EQ(movie.powers, std::vector<int>(6, 127));
}

// --- optional arguments ---

TEST(AddFrame, OptionalArgumentsChooseTheOverload) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    setSize(writer, 2, 2, MZ_UCHAR);
    const boost::optional<unsigned int> size(3U);
    const boost::optional<timeval> time(timeOf(5));
    const boost::optional<float> power(0.5F);
    writer.addFrame(data, size, time, power);
    writer.addFrame(data, size, time, boost::none);
    writer.addFrame(data, size, boost::none, power);
    writer.addFrame(data, size, boost::none, boost::none);
    writer.addFrame(data, boost::none, time, power);
    writer.addFrame(data, boost::none, time, boost::none);
    writer.addFrame(data, boost::none, boost::none, power);
    writer.addFrame(data, boost::none, boost::none, boost::none);
    writer.close();
    const Movie movie = soundMovie(file.path());
    EXPECT_EQ(movie.frames, (std::vector<QByteArray>{"abc", "abc", "abc", "abc", "abcd", "abcd",
                                                     "abcd", "abcd"}));
    EXPECT_EQ(movie.times, std::vector<MovieTime>(4, {5, 0}));
    EXPECT_EQ(movie.powers, (std::vector<int>{127, 255, 127, 255, 127, 255, 127, 255}));
}

TEST(AddFrame, OptionalArgumentsMeetTheErrorsOfTheOverload) {
    const boost::optional<timeval> time(timeOf(5));
    const char* automatic = "AddFrame with a frametiming cannot be used with autotime=true";
    expectRefused("IW_AF_AUTOTIME2", automatic, true, nothing,
                  [&](ImageWriter& writer) { writer.addFrame(data, 3U, time, boost::none); });
    expectRefused("IW_AF_AUTOTIME1", automatic, true, nothing, [&](ImageWriter& writer) {
        writer.addFrame(data, boost::none, time, boost::none);
    });
    const char* incomplete =
        "Width, height and pixbitsof the picture must be defined before adding frames.";
    expectRefused("IW_AF_INFO2", incomplete, true, removing("width"), [&](ImageWriter& writer) {
        writer.addFrame(data, boost::none, time, boost::none);
    });
    expectRefused("IW_AF_INFO1", incomplete, true, removing("width"), [&](ImageWriter& writer) {
        writer.addFrame(data, boost::none, boost::none, boost::none);
    });
    expectRefused("IW_AF_SIZE", "Frame size is invalid.", false, nothing, [&](ImageWriter& writer) {
        writer.addFrame(data, 0x80000000U, time, boost::none);
    });
}

// --- place ---

TEST(AddFrame, BehindAReplacedFrameTheNextOneIsOverwritten) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    add(writer, "aaa");
    add(writer, "bbb");
    writer.replaceFrame("AAA", 0);
    add(writer, "BBB");
    EXPECT_EQ(file.bytes(), chunk(2, "AAA") + chunk(2, "BBB"));
    writer.close();
    const Movie movie = parseMovieFile(file.path());
    EXPECT_EQ(movie.problems, std::vector<std::string>{"chunk listed twice at 35"});
    EXPECT_EQ(movie.frames, (std::vector<QByteArray>{"AAA", "BBB", "BBB"}));
}

TEST(AddFrame, AtEndAppendsWhereverTheWriterStands) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    add(writer, "aaa");
    add(writer, "bbb");
    writer.replaceFrame("AAA", 0);
    writer.addFrameAtEnd("ccc", 3);
    writer.replaceFrame("BBB", 1);
    writer.addFrameAtEnd("ddd", 3, timeOf(1));
    add(writer, "eee");
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).frames,
              (std::vector<QByteArray>{"AAA", "BBB", "ccc", "ddd", "eee"}));
}

// --- without a file, without room ---

TEST(AddFrame, ClosedWriterRefusesEveryFrame) {
    const Failure notOpen = {"dataio.fdchunkwriter", SOFTWARE, "FDCW_AC_BADFD",
                             QStringLiteral("Cannot write in a non openned file.")};
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    setSize(writer, 1, 1, MZ_UCHAR);
    add(writer, "a");
    writer.close();
    const QByteArray whole = file.bytes();
    expectFailure<IOFileException>(notOpen, [&] { writer.addFrame(data); });
    expectFailure<IOFileException>(notOpen, [&] { writer.addFrame(data, anySize); });
    expectFailure<IOFileException>(notOpen, [&] { writer.addFrame(data, timeOf(1)); });
    expectFailure<IOFileException>(notOpen, [&] { writer.addFrame(data, anySize, timeOf(1)); });
    expectFailure<IOFileException>(notOpen, [&] { writer.addFrameAtEnd(data, anySize); });
    expectFailure<IOFileException>(notOpen,
                                   [&] { writer.addFrameAtEnd(data, anySize, timeOf(1)); });
    expectFailure<IOFileException>(notOpen, [&] { writer.replaceFrame(data, 0); });
    expectFailure<IOFileException>(notOpen, [&] { ImageWriter().addFrame(data, anySize); });
    EXPECT_EQ(file.bytes(), whole);
}

TEST(AddFrame, TheLargestSizeIsOne) {
    const Failure notOpen = {"dataio.fdchunkwriter", SOFTWARE, "FDCW_AC_BADFD",
                             QStringLiteral("Cannot write in a non openned file.")};
    constexpr int most = std::numeric_limits<int>::max();
    ImageWriter writer;  // a closed one looks at the size, but never at that many bytes
    expectFailure<IOFileException>(notOpen, [&] { writer.addFrame(data, most); });
    expectFailure<IOFileException>(notOpen, [&] { writer.addFrameAtEnd(data, most); });
    sized(most, 1, 8)(writer);
    expectFailure<IOFileException>(notOpen, [&] { writer.addFrame(data); });
}

TEST(AddFrame, FullDiskLeavesNothingOfTheFrameAndItCanBeAddedAgain) {
    const ScratchFile file;
    const QByteArray first = chunk(2, "first");
    const QByteArray second = chunk(2, "second");
    for (rlim_t room = 0; room < static_cast<rlim_t>(second.size()); ++room) {
        ImageWriter writer;
        writer.create(file.path(), false);
        add(writer, "first", timeOf(1), 0.5F);
        const bool inPayload = room >= 16 && room < 22;
        {
            const FileSizeLimit limit(static_cast<rlim_t>(first.size()) + room);
            const LogCapture log;
            try {
                add(writer, "second", timeOf(2), 1.0F);
                ADD_FAILURE() << room;
            } catch (const IOFileException& failure) {
                EXPECT_EQ(failure.code(), inPayload ? "FDCW_AC_WRITE" : "CHB_WFD_WRITE") << room;
                EXPECT_EQ(failure.origin(), SYSCALL);
                EXPECT_TRUE(failure.message().startsWith(
                    inPayload ? QLatin1String("Could not write all data: ")
                              : QLatin1String("Could not write chunk start header: ")))
                    << failure.message().toStdString();
            }
            EXPECT_EQ(log.records().size(), 1U);
        }
        ASSERT_EQ(file.bytes(), first);
        add(writer, "second", timeOf(2), 1.0F);
        ASSERT_EQ(file.bytes(), first + second);
        writer.close();
        const Movie movie = soundMovie(file.path());
        ASSERT_EQ(movie.powers, (std::vector<int>{127, 254}));
        ASSERT_EQ(movie.times, (std::vector<MovieTime>{{1, 0}, {2, 0}}));
    }
}

TEST(AddFrame, FirstFrameThatFailsLeavesNoFrameList) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    {
        const LogCapture log;
        const FileSizeLimit limit(3);
        EXPECT_THROW(add(writer, "abc"), IOFileException);
    }
    expectFailure<IOFileException>({"dataio.imagewriter", SOFTWARE, "IW_RF_FIND",
                                    QStringLiteral("Cannot replace frame, indice out of bounds.")},
                                   [&] { writer.replaceFrame("abc", 0); });
    writer.setFirstFrame(7);  // without a frame list, nothing to complain about
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).types(), (std::vector<uint32_t>{5}));
}

}  // namespace
