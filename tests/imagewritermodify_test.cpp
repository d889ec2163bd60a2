// Reopening finished movies: what is cut, what comes back, and that a refusal changes nothing.

#include <libDataIO/imagewriter.h>

#include <QFileInfo>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <functional>
#include <vector>

#include <tests/support/expectfailure.h>
#include <tests/support/moviebytes.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>
#include <tests/support/translated.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr uint32_t Frame = MovieBytes::Frame;
constexpr uint32_t Info = MovieBytes::Info;
constexpr uint32_t Fibers = MovieBytes::FiberCenter;
constexpr uint32_t Times = MovieBytes::FrameTimer;
constexpr uint32_t Powers = MovieBytes::LaserPower;

const QByteArray oneFiber = le32(0x7fffffff) + le32(0);
const QByteArray oneTime = le32(7) + le32(8);
const QByteArray header = "compression_type=none\nendian=2\nheight=4\nwidth=4\n";

MovieBytes twoFrames() {
    return MovieBytes().chunk(Frame, "frame 0").chunk(Frame, "frame 1..");
}

Failure refusal(const char* code, const char* message) {
    return {"dataio.imagewriter", FILESYSTEM, code, QString::fromLatin1(message)};
}

const Failure noMovie = refusal("FDCW_MODIFY", "This is not a RQS file.");
const Failure otherByteOrder =
    refusal("FDCW_MODIFY1",
            "Cannot modify a file whose endianness is not specified or is different from the one "
            "of the current machine.");
const Failure misplacedPowers = refusal(
    "FDCW_MODIFY2", "Cannot modify this movie with laser powers not at the expected location.");
const Failure misplacedTimes = refusal(
    "FDCW_MODIFY3", "Cannot modify this movie with frametimers not at the expected location.");
const Failure misplacedFibers = refusal(
    "FDCW_MODIFY4", "Cannot modify this movie with fibercenters not at the expected location.");
const Failure damagedHeader = {"dataio.chunkheader", SOFTWARE, "CHB_LFD_PARSE",
                               QStringLiteral("Cannot read chunk header, file may be corrupted.")};

void expectRefused(Failure const& failure, QByteArray const& bytes) {
    SCOPED_TRACE(failure.code);
    const ScratchFile file(bytes);
    ImageWriter writer;
    expectFailure<IOFileException>(failure, [&] { writer.modify(file.path()); });
    EXPECT_FALSE(writer.isOpen());
    EXPECT_EQ(file.bytes(), bytes);
    writer.close();
    EXPECT_EQ(file.bytes(), bytes);
}

/// Modifies the movie and closes it again, with something done in between.
Movie afterModification(
    QByteArray const& bytes,
    std::function<void(ImageWriter&)> const& action = [](ImageWriter&) {}) {
    const ScratchFile file(bytes);
    ImageWriter writer;
    writer.modify(file.path());
    action(writer);
    writer.close();
    return soundMovie(file.path());
}

// --- what comes back ---

TEST(Modify, CutsTheTrailingChunksAndCloseWritesThemAgain) {
    const MovieBytes frames = twoFrames();
    MovieBytes movie = frames;
    movie.chunk(Fibers, oneFiber).chunk(Times, oneTime).chunk(Powers, "\x01\xff");
    const QByteArray whole = movie.finished(header);
    const ScratchFile file(whole);
    ImageWriter writer;
    writer.modify(file.path());
    EXPECT_TRUE(writer.isOpen());
    EXPECT_EQ(file.bytes(), frames.chunks());

    writer.close();
    const Movie again = soundMovie(file.path());
    EXPECT_TRUE(again.has("utc_offset_seconds"));
    writer.modify(file.path());
    writer.removeAttribute(QStringLiteral("utc_offset_seconds"));
    writer.replaceFrame("frame 0", 0, timeOf(7, 8), 1.0F / 254);
    writer.close();
    EXPECT_EQ(file.bytes().left(movie.chunks().size()), movie.chunks());
}

TEST(Modify, MovieWithoutTimesComesBackByteForByte) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    add(writer, "frame 0", 0.5F);
    add(writer, "frame 1..", -1.0F);
    writer.setComment(QStringLiteral("two\nlines"));
    writer.close();
    const QByteArray before = file.bytes();

    ImageWriter other;
    other.modify(file.path());
    EXPECT_EQ(file.bytes(), chunk(Frame, "frame 0") + chunk(Frame, "frame 1.."));
    EXPECT_EQ(other.getComment(), "two\nlines");
    other.close();
    EXPECT_EQ(file.bytes(), before);
}

TEST(Modify, EachTrailingChunkMayBeMissing) {
    for (int present = 0; present < 8; ++present) {
        MovieBytes movie = twoFrames();
        if ((present & 4) != 0) movie.chunk(Fibers, oneFiber);
        if ((present & 2) != 0) movie.chunk(Times, oneTime);
        if ((present & 1) != 0) movie.chunk(Powers, "\x01\xff");
        const ScratchFile file(movie.finished(header));
        ImageWriter writer;
        writer.modify(file.path());
        EXPECT_EQ(file.bytes(), twoFrames().chunks()) << present;
        writer.close();
        EXPECT_EQ(file.bytes().left(movie.chunks().size()), movie.chunks()) << present;
        EXPECT_EQ(soundMovie(file.path()).has("utc_offset_seconds"), (present & 2) != 0);
    }
}

TEST(Modify, MovieWithoutFramesCanBeReopened) {
    const Movie movie = afterModification(MovieBytes().finished(header), [](ImageWriter& writer) {
        add(writer, "first", timeOf(1));
    });
    EXPECT_EQ(movie.types(), (std::vector<uint32_t>{Frame, Times, Powers, Info}));
}

TEST(Modify, AppendsBehindTheFramesWithOrWithoutATime) {
    MovieBytes movie = twoFrames();
    movie.chunk(Times, oneTime).chunk(Powers, "\x01\xff");
    const Movie after = afterModification(movie.finished(header), [](ImageWriter& writer) {
        add(writer, "third", timeOf(3), 0.5F);
        add(writer, "fourth", 1.0F);
        writer.addFrameAtEnd("fifth", 5, timeOf(2), 0.0F);
    });
    EXPECT_EQ(after.frames,
              (std::vector<QByteArray>{"frame 0", "frame 1..", "third", "fourth", "fifth"}));
    EXPECT_EQ(after.times, (std::vector<MovieTime>{{2, 0}, {3, 0}, {7, 8}}));
    EXPECT_EQ(after.powers, (std::vector<int>{1, 255, 127, 254, 0}));
}

TEST(Modify, ReplacesFramesOfTheMovie) {
    MovieBytes movie = twoFrames();
    movie.chunk(Times, oneTime + oneTime).chunk(Powers, "\x01\xff");
    const Movie after = afterModification(movie.finished(header), [](ImageWriter& writer) {
        writer.replaceFrame("FRAME 1..", 1, timeOf(1), 0.5F);
    });
    EXPECT_EQ(after.frames, (std::vector<QByteArray>{"frame 0", "FRAME 1.."}));
    EXPECT_EQ(after.times, (std::vector<MovieTime>{{1, 0}, {7, 8}}));
    EXPECT_EQ(after.powers, (std::vector<int>{1, 127}));
}

TEST(Modify, HeaderIsThatOfTheMovieAndCanBeChanged) {
    const Movie movie = afterModification(
        twoFrames().finished("comment=old\nendian=2\nplug_event=3\n"), [](ImageWriter& writer) {
            EXPECT_EQ(writer.getComment(), "old");
            writer.setComment(QStringLiteral("new"));
            writer.removeAttribute(QStringLiteral("plug_event"));
        });
    EXPECT_EQ(movie.text, (std::map<QByteArray, QByteArray>{{"comment", "new"}, {"endian", "2"}}));
}

TEST(Modify, FiberPositionsCanBeReplaced) {
    MovieBytes movie = twoFrames();
    movie.chunk(Fibers, oneFiber);
    const Movie after = afterModification(movie.finished(header), [](ImageWriter& writer) {
        writer.addRasterFiberContinuousIndexes({0, 1, 1, 2});
    });
    EXPECT_EQ(after.fiberWords, (std::vector<uint32_t>{0, 1073741823, 1073741823, 2147483647}));
}

TEST(Modify, RecordedFiberPositionsSurviveEveryModification) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    setSize(writer, 576, 578);
    std::vector<float> positions;
    for (int i = 0; i < 1000; ++i)
        positions.push_back(3.0F + 0.57F * static_cast<float>(i));
    writer.addRasterFiberContinuousIndexes(positions);
    writer.close();
    const QByteArray recorded = file.bytes();
    for (int i = 0; i < 3; ++i) {
        writer.modify(file.path());
        writer.close();
        ASSERT_EQ(file.bytes(), recorded);
    }
}

TEST(Modify, FibersEndAtTheLastColumnAndRow) {
    MovieBytes movie;
    movie.chunk(Fibers, le32(0xffffffff) + le32(0xffffffff) + le32(0x40000000));
    EXPECT_EQ(afterModification(movie.finished(header)).fiberWords,
              (std::vector<uint32_t>{3221225471, 3221225471}));
}

TEST(Modify, NothingOfAnEarlierRecordingComesAlong) {
    const ScratchFile file(twoFrames().finished("endian=2\n"));
    ImageWriter writer;
    writer.create(file.sibling("other"), true);
    setSize(writer, 2, 2);
    add(writer, "abc", 0.5F);
    writer.addRasterFiberContinuousIndexes({1, 1});
    writer.modify(file.path());
    EXPECT_EQ(readFile(file.sibling("other")), chunk(Frame, "abc"));  // dropped as it stood
    writer.close();
    EXPECT_EQ(file.bytes(), twoFrames().finished("endian=2\n"));
}

TEST(Modify, CompressionIsNotTakenOver) {
    const Movie movie = afterModification(MovieBytes().finished("compression_type=z\nendian=2\n"),
                                          [](ImageWriter& writer) { add(writer, "raw"); });
    EXPECT_EQ(movie.frames, (std::vector<QByteArray>{"raw"}));
    EXPECT_EQ(movie.attribute("compression_type"), "z");
}

TEST(Modify, CompressionAndFrameSizeOfTheWriterStay) {
    const ScratchFile file(MovieBytes().finished("endian=2\nheight=2\npixbits=8\nwidth=2\n"));
    ImageWriter writer;
    writer.create(file.sibling("other"), false);
    writer.setCompression(CompressionType::ZLib);
    add(writer, QByteArray(100, 'x'));
    writer.modify(file.path());
    expectFailure<IOFileException>({"dataio.imagewriter", SOFTWARE, "IW_RF_COMPRESS",
                                    QStringLiteral("Cannot replace frame when using compression.")},
                                   [&] { writer.replaceFrame("abc", 0); });
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).attribute("data_type"), "vec");
}

TEST(Modify, WriterThatGoesAwayFinishesTheMovie) {
    const ScratchFile file(twoFrames().finished(header));
    {
        ImageWriter writer;
        writer.modify(file.path());
    }
    EXPECT_EQ(file.bytes(), twoFrames().finished(header));
}

// --- movies of older recorders ---

TEST(ModifyOlderMovie, TimesMoveFromAttributesToAChunk) {
    const Movie movie = afterModification(
        twoFrames().finished("endian=2\nframe_timer=1\nframe_timer_n0_sec=5\n"
                             "frame_timer_n0_usec=6\nframe_timer_n1_sec=4\nframe_timer_n1_usec=3\n"
                             "utc_offset_seconds=99\n"));
    EXPECT_EQ(movie.types(), (std::vector<uint32_t>{Frame, Frame, Times, Info}));
    EXPECT_EQ(movie.times, (std::vector<MovieTime>{{4, 3}, {5, 6}}));
    EXPECT_EQ(movie.text.size(), 2u);
    EXPECT_TRUE(movie.has("utc_offset_seconds"));
}

TEST(ModifyOlderMovie, EmptyTimerLeavesNothing) {
    const Movie movie = afterModification(twoFrames().finished("endian=2\nframe_timer=0\n"));
    EXPECT_EQ(movie.types(), (std::vector<uint32_t>{Frame, Frame, Info}));
    EXPECT_FALSE(movie.has("frame_timer"));
}

TEST(ModifyOlderMovie, TimesThatBreakOffStayInTheAttributes) {
    const Movie movie =
        afterModification(twoFrames().finished("endian=2\nframe_timer=1\nframe_timer_n0_sec=5\n"
                                               "frame_timer_n0_usec=6\nframe_timer_n1_sec=4\n"));
    EXPECT_EQ(movie.times, (std::vector<MovieTime>{{5, 6}}));
    EXPECT_TRUE(movie.has("frame_timer"));
    EXPECT_TRUE(movie.has("frame_timer_n1_sec"));
}

TEST(ModifyOlderMovie, ChunkOfTimesWinsOverAttributes) {
    MovieBytes builder = twoFrames();
    builder.chunk(Times, oneTime);
    const Movie movie = afterModification(
        builder.finished("endian=2\nframe_timer=1\nframe_timer_n0_sec=5\nframe_timer_n0_usec=6\n"));
    EXPECT_EQ(movie.times, (std::vector<MovieTime>{{7, 8}}));
    EXPECT_TRUE(movie.has("frame_timer_n0_sec"));
}

// --- refusals ---

TEST(ModifyRefusal, FileThatDoesNotEndWithAnInfoChunk) {
    expectRefused(noMovie, "");
    expectRefused(noMovie, twoFrames().chunks());
    expectRefused(noMovie, twoFrames().finished(header) + chunk(Frame, "late"));
    expectRefused(noMovie, twoFrames().finished(header) + chunk(Powers, "\x01\x02"));
}

TEST(ModifyRefusal, OtherByteOrderOrNone) {
    for (const char* attributes : {"endian=1\n", "endian=0\n", "endian=3\n", "endian=two\n", ""})
        expectRefused(otherByteOrder, twoFrames().finished(attributes));
    MovieBytes misplaced;
    misplaced.record(Powers, 0, 1);
    expectRefused(otherByteOrder, misplaced.finished("endian=1\n"));
}

TEST(ModifyRefusal, MisplacedPowers) {
    MovieBytes inFrontOfTimes = twoFrames();
    inFrontOfTimes.chunk(Powers, "\x01\x02").chunk(Times, oneTime);
    expectRefused(misplacedPowers, inFrontOfTimes.finished(header));
    MovieBytes absent = twoFrames();
    absent.record(Powers, 0, 2).record(Times, 0, 8).record(Fibers, 0, 8);
    expectRefused(misplacedPowers, absent.finished(header));
}

TEST(ModifyRefusal, MisplacedTimes) {
    MovieBytes inFrontOfFibers = twoFrames();
    inFrontOfFibers.chunk(Times, oneTime).chunk(Fibers, oneFiber).chunk(Powers, "\x01\x02");
    expectRefused(misplacedTimes, inFrontOfFibers.finished(header));
    MovieBytes absent = twoFrames();
    absent.record(Times, 0, 8).record(Fibers, 0, 8);
    expectRefused(misplacedTimes, absent.finished(header));
}

TEST(ModifyRefusal, MisplacedFibers) {
    MovieBytes inFrontOfFrames = MovieBytes().chunk(Fibers, oneFiber);
    inFrontOfFrames.chunk(Frame, "frame").chunk(Times, oneTime).chunk(Powers, "\x01");
    expectRefused(misplacedFibers, inFrontOfFrames.finished(header));
    MovieBytes absent = twoFrames();
    absent.record(Fibers, 0, 8);
    expectRefused(misplacedFibers, absent.finished(header));
}

TEST(ModifyRefusal, FibersWithoutASize) {
    MovieBytes movie = twoFrames();
    movie.chunk(Fibers, oneFiber).chunk(Powers, "\x01\x02");
    const Failure noSize = {"dataio.imagewriter", SOFTWARE, "IW_ARFCI_INFO2",
                            QStringLiteral("cannot get fiber centers without width and height.")};
    for (const char* attributes :
         {"endian=2\n", "endian=2\nwidth=4\n", "endian=2\nheight=4\n",
          "endian=2\nheight=0\nwidth=4\n", "endian=2\nheight=4\nwidth=-1\n"})
        expectRefused(noSize, movie.finished(attributes));
}

TEST(ModifyRefusal, DamagedFile) {
    expectRefused(damagedHeader, QByteArray(40, 'x'));
    expectRefused(damagedHeader, twoFrames().finished(header) + "x");
    expectRefused(damagedHeader, QByteArray(40, 'x') + MovieBytes().finished(header));
    expectRefused({"dataio.chunkindex", SOFTWARE, "CI_L_CHUNK",
                   QStringLiteral("Cannot read header index, chunk too small.")},
                  twoFrames().chunks() + chunk(Info, le32(1)));
    expectRefused({"dataio.fdchunkwriter", SOFTWARE, "FDCW_PC_BOUND",
                   QStringLiteral("Chunk exceeds file, file may be corrupted.")},
                  twoFrames().chunks() + endHeader(Info, 1000));
}

TEST(ModifyRefusal, MissingFileStaysMissing) {
    const ScratchFile file;
    ImageWriter writer;
    const QString missing = file.sibling("missing");
    expectFailure<IOFileException>(noMovie, [&] { writer.modify(missing); });
    EXPECT_FALSE(QFile::exists(missing));
    EXPECT_FALSE(writer.isOpen());
}

TEST(ModifyRefusal, FolderCannotBeOpened) {
    const ScratchFile file;
    ImageWriter writer;
    const QString folder = QFileInfo(file.path()).path();
    expectFailure<IOFileException>(
        {"dataio.filewriter", SYSCALL, "FW_OF_OPEN2", "File " + folder + " : Is a directory"},
        [&] { writer.modify(folder); });
    EXPECT_FALSE(writer.isOpen());
}

TEST(ModifyRefusal, FileThatCannotBeSought) {
    const ScratchFile file;
    ASSERT_EQ(mkfifo(file.sibling("pipe").toLocal8Bit().constData(), 0600), 0);
    ImageWriter writer;
    const Failure noSeek = {"dataio.imagewriter", SYSCALL, "FDCW_AC_SEEK",
                            QStringLiteral("Cannot seek in file before writing data.")};
    expectFailure<IOFileException>(noSeek, [&] { writer.modify(file.sibling("pipe")); });
    EXPECT_FALSE(writer.isOpen());
    EXPECT_TRUE(QFile::exists(file.sibling("pipe")));
}

TEST(ModifyRefusal, WriterCanGoOnWithAnotherFile) {
    const ScratchFile file(twoFrames().finished("endian=1\n"));
    ImageWriter writer;
    writer.create(file.sibling("other"), true);
    expectFailure<IOFileException>(otherByteOrder, [&] { writer.modify(file.path()); });
    EXPECT_FALSE(writer.isOpen());
    writer.create(file.sibling("other"), true);
    add(writer, "abc");
    writer.close();
    EXPECT_EQ(soundMovie(file.sibling("other")).frames, (std::vector<QByteArray>{"abc"}));
}

TEST(ModifyRefusal, MessagesAreTranslated) {
    const Translated translated;
    const auto translation = [](Failure failure) {
        failure.message.prepend(QStringLiteral("QObject: "));
        return failure;
    };
    expectRefused(translation(noMovie), "");
    expectRefused(translation(otherByteOrder), twoFrames().finished("endian=1\n"));
    expectRefused(translation(misplacedPowers), twoFrames().record(Powers, 0, 2).finished(header));
    expectRefused(translation(misplacedTimes), twoFrames().record(Times, 0, 8).finished(header));
    expectRefused(translation(misplacedFibers), twoFrames().record(Fibers, 0, 8).finished(header));
}

}  // namespace
