// Reopening finished movies: what is cut and what comes back.

#include <libDataIO/imagewriter.h>

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include <tests/support/expectfailure.h>
#include <tests/support/moviebytes.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/reopening.h>
#include <tests/support/scratchfile.h>
#include <tests/support/timezone.h>

using namespace mz;
using namespace mz::test;

namespace {

/// Modifies the movie and closes it again, with something done in between.
Movie afterModification(
    const QByteArray& bytes,
    const std::function<void(ImageWriter&)>& action = [](ImageWriter&) {}) {
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

TEST(Modify, TheOffsetFromUtcIsThatOfTheNewTimer) {
    MovieBytes movie;
    movie.frame("a").times({10, 1});
    const ScratchFile file(
        movie.attribute("endian", 2).attribute("utc_offset_seconds", 7200).bytes());
    const TimeZone zone("TEST-1");
    ImageWriter writer;
    writer.modify(file.path());
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).attribute("utc_offset_seconds"), "3600");
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
    EXPECT_EQ(movie.text.size(), 2U);
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

}  // namespace
