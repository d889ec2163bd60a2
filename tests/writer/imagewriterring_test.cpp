// Ring recordings: the order of frames and powers is mended in the index, frames and times stay.

#include <libDataIO/imagewriter.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include <tests/support/expectfailure.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

using Order = std::vector<int>;

/// The frames of these tests are as long as their number when they were recorded.
Order orderOf(const Movie& movie) {
    Order order;
    for (const QByteArray& frame : movie.frames)
        order.push_back(static_cast<int>(frame.size()));
    return order;
}

/// Ten frames, each of which holds its number of bytes and that power; the last frame is the first
/// by time.
class RingRecording : public testing::Test {
protected:
    RingRecording() {
        _writer.create(_file.path(), false);
        for (int i = 0; i < 10; ++i)
            add(_writer, QByteArray(i, 'x'), timeOf(100 - i), static_cast<float>(i) / 254.0F);
    }

    /// Closes the movie; frames and times in it are as recorded but for `frames` in the index.
    void expectOrder(const Order& frames, const Order& powers) {
        _writer.close();
        const Movie movie = soundMovie(_file.path());
        EXPECT_EQ(orderOf(movie), frames);
        EXPECT_EQ(movie.powers, powers);
        ASSERT_EQ(movie.times.size(), 10U);
        for (int i = 0; i < 10; ++i) {
            EXPECT_EQ(movie.times[size_t(i)], (MovieTime{91 + i, 0}));
            EXPECT_EQ(movie.chunks[size_t(i)].size, uint32_t(i));
        }
    }

    const ScratchFile _file;
    ImageWriter _writer;
};

const Order asRecorded = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};

void expectBadArguments(ImageWriter& writer, unsigned int first, unsigned int size) {
    expectFailure<IOFileException>(
        {"dataio.imagewriter", SOFTWARE, "IW_IO_INDEX",
         QStringLiteral("ImageWriter::organizeIndex: bad arguments.\nfirstFrame %1 \n "
                        "circularSize %2 \n index size 10")
             .arg(first)
             .arg(size)},
        [&] { writer.organizeIndex(first, size); });
}

void expectBeyondLast(ImageWriter& writer, unsigned int first) {
    expectFailure<IOFileException>(
        {"dataio.imagewriter", SOFTWARE, "IW_SFF_BOUND",
         QStringLiteral(
             "Caution, index of selected first frame exceeds number of frames in rsq file.")},
        [&] { writer.setFirstFrame(first); });
}

TEST_F(RingRecording, RingInFrontOfTheMovieIsRotated) {
    _writer.organizeIndex(3, 8);
    expectOrder({3, 4, 5, 6, 7, 0, 1, 2, 8, 9}, {3, 4, 5, 6, 7, 0, 1, 2, 8, 9});
}

TEST_F(RingRecording, LongestRingLeavesOneFrameBehindIt) {
    _writer.organizeIndex(8, 9);
    expectOrder({8, 0, 1, 2, 3, 4, 5, 6, 7, 9}, {8, 0, 1, 2, 3, 4, 5, 6, 7, 9});
}

TEST_F(RingRecording, FirstFrameZeroIsRightWhateverTheRing) {
    _writer.organizeIndex(0, 0);
    _writer.organizeIndex(0, 8);
    _writer.organizeIndex(0, 4000000000U);
    expectOrder(asRecorded, asRecorded);
}

TEST_F(RingRecording, RingsThatAreNoneAreRefused) {
    expectBadArguments(_writer, 3, 10);
    expectBadArguments(_writer, 3, 11);
    expectBadArguments(_writer, 8, 8);
    expectBadArguments(_writer, 5, 4);
    expectBadArguments(_writer, 10, 8);
    expectBadArguments(_writer, 10, 11);
    expectBadArguments(_writer, 4294967295U, 4294967295U);
    expectOrder(asRecorded, asRecorded);
}

TEST_F(RingRecording, WholeMovieAsARingIsRotated) {
    _writer.setFirstFrame(4);
    expectOrder({4, 5, 6, 7, 8, 9, 0, 1, 2, 3}, {4, 5, 6, 7, 8, 9, 0, 1, 2, 3});
}

TEST_F(RingRecording, LastFrameCanBeTheFirst) {
    _writer.setFirstFrame(9);
    expectOrder({9, 0, 1, 2, 3, 4, 5, 6, 7, 8}, {9, 0, 1, 2, 3, 4, 5, 6, 7, 8});
}

TEST_F(RingRecording, FirstFrameBeyondTheLastIsRefused) {
    expectBeyondLast(_writer, 10);
    expectBeyondLast(_writer, 4294967295U);
    _writer.setFirstFrame(0);
    expectOrder(asRecorded, asRecorded);
}

TEST_F(RingRecording, ReplacedFramesFollowTheNewOrder) {
    _writer.setFirstFrame(4);
    _writer.replaceFrame("yyyyy", 1, 1.0F);
    _writer.close();
    const Movie movie = soundMovie(_file.path());
    EXPECT_EQ(movie.frames[1], "yyyyy");
    EXPECT_EQ(movie.powers[1], 254);
    EXPECT_EQ(movie.chunks[5].payload, "yyyyy");
}

TEST(RingOfNothing, IsLeftAlone) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    writer.organizeIndex(3, 2);
    writer.setFirstFrame(7);
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).types(), (std::vector<uint32_t>{5}));
}

// --- movies with another number of powers than of frames ---

/// A movie of ten frames of as many bytes as their number, without powers or with nine.
class RingWithFewPowers : public testing::Test {
protected:
    void open(bool withPowers) {
        QByteArray frames;
        QByteArray index;
        for (uint32_t i = 0; i < 10; ++i) {
            index += indexRecord(2, static_cast<uint32_t>(frames.size()), i);
            frames += chunk(2, QByteArray(i, 'x'));
        }
        const QByteArray powers("\x01\x02\x03\x04\x05\x06\x07\x08\x09", 9);
        if (withPowers) index += indexRecord(8, static_cast<uint32_t>(frames.size()), 9);
        writeFile(_file.path(), frames + (withPowers ? chunk(8, powers) : "") +
                                    chunk(5, le32(withPowers ? 11 : 10) + index + "endian=2\n"));
        _writer.modify(_file.path());
    }

    void expectOrder(const Order& frames, const Order& powers) {
        _writer.close();
        const Movie movie = soundMovie(_file.path());
        EXPECT_EQ(orderOf(movie), frames);
        EXPECT_EQ(movie.powers, powers);
    }

    const ScratchFile _file;
    ImageWriter _writer;
};

TEST_F(RingWithFewPowers, WithoutPowersTheFramesAreRotatedAlone) {
    open(false);
    _writer.organizeIndex(3, 8);
    _writer.setFirstFrame(1);
    expectOrder({4, 5, 6, 7, 0, 1, 2, 8, 9, 3}, {});
}

TEST_F(RingWithFewPowers, OrganizeIndexFailsAfterTheFramesWereRotated) {
    open(true);
    expectFailure<IOFileException>(
        {"dataio.imagewriter", SOFTWARE, "IW_IO_INDEX",
         QStringLiteral(
             "Warning laser power vector size is not equal to number of frames (%d!=%d).")},
        [&] { _writer.organizeIndex(3, 8); });
    expectOrder({3, 4, 5, 6, 7, 0, 1, 2, 8, 9}, {1, 2, 3, 4, 5, 6, 7, 8, 9});
}

TEST_F(RingWithFewPowers, SetFirstFrameFailsAfterTheFramesWereRotated) {
    open(true);
    const Failure mismatch = {
        "dataio.imagewriter", SOFTWARE, "IW_SFF_BOUND",
        QStringLiteral("Warning laser power vector size is not equal to number of frames.")};
    expectFailure<IOFileException>(mismatch, [&] { _writer.setFirstFrame(0); });
    expectFailure<IOFileException>(mismatch, [&] { _writer.setFirstFrame(2); });
    expectOrder({2, 3, 4, 5, 6, 7, 8, 9, 0, 1}, {1, 2, 3, 4, 5, 6, 7, 8, 9});
}

TEST_F(RingWithFewPowers, ArgumentsAreCheckedBeforePowers) {
    open(true);
    expectBadArguments(_writer, 8, 8);
    expectBeyondLast(_writer, 10);
    expectOrder(asRecorded, {1, 2, 3, 4, 5, 6, 7, 8, 9});
}

}  // namespace
