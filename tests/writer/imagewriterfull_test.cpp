// Movies that reach the end of what 32-bit offsets can say: the frame that no longer fits is
// refused, and the movie can still be closed whole.

#include <libDataIO/imagewriter.h>

#include <gtest/gtest.h>

#include <vector>

#include <tests/support/expectfailure.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr qint64 mebi = 1 << 20;
constexpr qint64 limit = 4294967295;  // the longest file

const Failure full = {"dataio.imagewriter", SOFTWARE, "IW_AF_FULL",
                      QStringLiteral("File would exceed the size that its index can address.")};

constexpr const char* largeHeader = "compression_type=none\nendian=2\n";

/// Two large frames of zeros that take no space on the disk and end at `endOfFrames`.
void makeLargeMovie(const ScratchFile& file, qint64 endOfFrames) {
    const qint64 half = endOfFrames / 2;
    const auto first = static_cast<uint32_t>(half - 32);
    const auto second = static_cast<uint32_t>(endOfFrames - half - 32);
    putSparseChunk(file, 0, 2, first);
    ASSERT_EQ(putSparseChunk(file, half, 2, second), endOfFrames);
    file.put(endOfFrames,
             chunk(5, le32(2) + indexRecord(2, 0, first) +
                          indexRecord(2, static_cast<uint32_t>(half), second) + largeHeader));
}

/// Adds frames of `size` bytes until one is refused, and returns how many were taken.
int fill(ImageWriter& writer, int size) {
    const QByteArray frame(size, 'x');
    for (int count = 0; count < 100; ++count) {
        const LogCapture log;
        try {
            add(writer, frame, 0.5F);
        } catch (const IOFileException& failure) {
            EXPECT_EQ(failure.code(), "IW_AF_FULL");
            return count;
        }
    }
    ADD_FAILURE() << "the movie never gets full";
    return 0;
}

TEST(FullMovie, FrameThatWouldNotLeaveRoomForTheRestIsRefused) {
    const ScratchFile file;
    const qint64 end = limit - 6 * mebi;
    makeLargeMovie(file, end);
    ImageWriter writer;
    writer.modify(file.path());
    const QByteArray large(3 * mebi, 'x');
    expectFailure<IOFileException>(full, [&] { add(writer, large, 0.5F); });
    expectFailure<IOFileException>(full, [&] { add(writer, large, timeOf(1), 0.5F); });
    expectFailure<IOFileException>(
        full, [&] { writer.addFrameAtEnd(large.constData(), int(large.size())); });
    EXPECT_EQ(file.size(), end);

    add(writer, "small", 0.5F);
    writer.close();
    const Movie movie = soundMovie(file.path());
    EXPECT_EQ(movie.types(), (std::vector<uint32_t>{2, 2, 2, 8, 5}));
    EXPECT_EQ(movie.frameOffsets.back(), static_cast<uint64_t>(end));
    EXPECT_EQ(movie.frames.back(), "small");
    EXPECT_EQ(movie.powers, (std::vector<int>{127}));
}

TEST(FullMovie, RefusedFrameDoesNotDecideTheDataType) {
    const ScratchFile file;
    makeLargeMovie(file, limit - 6 * mebi);
    ImageWriter writer;
    writer.modify(file.path());
    setSize(writer, 2, 1, MZ_UCHAR);
    add(writer, "ab");
    expectFailure<IOFileException>(full, [&] { add(writer, QByteArray(3 * mebi, 'x')); });
    writer.close();
    EXPECT_FALSE(soundMovie(file.path()).has("data_type"));
}

TEST(FullMovie, ThereIsRoomForHeaderAndFibersSetLater) {
    const ScratchFile file;
    makeLargeMovie(file, limit - 20 * mebi);
    ImageWriter writer;
    writer.modify(file.path());
    EXPECT_EQ(fill(writer, mebi), 15);
    EXPECT_GT(fill(writer, mebi / 16), 0);
    setSize(writer, 1000, 1000);
    writer.addRasterFiberContinuousIndexes(std::vector<float>(2 * 30000, 1.0F));
    writer.attribute(QStringLiteral("notes"), QString(3 * mebi, QLatin1Char('n')));
    writer.close();
    const Movie movie = soundMovie(file.path());
    EXPECT_LE(movie.chunks.back().offset, static_cast<uint64_t>(limit));
    EXPECT_LE(file.size(), limit);
    EXPECT_EQ(movie.fiberWords.size(), 60000U);
    EXPECT_EQ(movie.attribute("notes").size(), 3 * mebi);
}

TEST(FullMovie, HeaderAndFibersAlreadySetCount) {
    const ScratchFile file;
    makeLargeMovie(file, limit - 20 * mebi);
    ImageWriter writer;
    writer.modify(file.path());
    setSize(writer, 1000, 1000);
    writer.addRasterFiberContinuousIndexes(std::vector<float>(2 * mebi / 4, 1.0F));
    writer.attribute(QStringLiteral("notes"), QString(5 * mebi, QLatin1Char('n')));
    EXPECT_EQ(fill(writer, mebi), 8);
    writer.close();
    soundMovie(file.path());
    EXPECT_LE(file.size(), limit);
}

TEST(FullMovie, LargerMoviesThanThisLibraryRecordsAreClosedWhole) {
    const ScratchFile file;
    makeLargeMovie(file, limit - mebi);
    ImageWriter writer;
    writer.modify(file.path());
    expectFailure<IOFileException>(full, [&] { add(writer, "small"); });
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).types(), (std::vector<uint32_t>{2, 2, 5}));
}

/// What the end of a movie of so many frames and of that header takes at most: four chunks, their
/// index, a time and a power a frame, and the reserve.
qint64 tailOf(qint64 frames, const QByteArray& text) {
    return 4 * 32 + (4 + 12 * (frames + 3)) + (8 + 1) * frames + text.size() + 4 * mebi;
}

TEST(FullMovie, IsFullToTheByte) {
    constexpr int size = 1000;
    for (const int tooMuch : {0, 1}) {
        const ScratchFile file;
        makeLargeMovie(file, limit - tailOf(3, largeHeader) - (size + 32) + tooMuch);
        ImageWriter writer;
        writer.modify(file.path());
        if (tooMuch > 0)
            expectFailure<IOFileException>(full, [&] { add(writer, QByteArray(size, 'x')); });
        else
            add(writer, QByteArray(size, 'x'));
    }
}

/// The cursor stands between two frames; what is added there does not make the movie shorter.
TEST(FullMovie, FrameInFrontOfTheEndCountsTheChunksBehindIt) {
    for (const int tooMuch : {0, 1}) {
        const ScratchFile file;
        const qint64 end = limit - tailOf(3, largeHeader) + tooMuch;
        const auto rest = static_cast<uint32_t>(end - 33 - 32);
        file.put(0, chunk(2, "s"));
        ASSERT_EQ(putSparseChunk(file, 33, 2, rest), end);
        file.put(end,
                 chunk(5, le32(2) + indexRecord(2, 0, 1) + indexRecord(2, 33, rest) + largeHeader));
        ImageWriter writer;
        writer.modify(file.path());
        writer.replaceFrame("S", 0);
        if (tooMuch > 0)
            expectFailure<IOFileException>(full, [&] { add(writer, "small"); });
        else
            add(writer, "small");
    }
}

/// An index of many frames is itself large: what it takes counts from the start, not only in the
/// last stretch of the file.
TEST(FullMovie, IndexOfVeryManyFramesCounts) {
    constexpr uint32_t count = 14'200'000;  // 21 bytes each with a time and a power
    constexpr qint64 end = limit - 280 * mebi;
    const ScratchFile file;
    putSparseChunk(file, 0, 2, static_cast<uint32_t>(end - 32));
    file.put(end, chunk(5, le32(count) + indexRecord(2, 0, 0).repeated(count) + "endian=2\n"));

    ImageWriter writer;
    writer.modify(file.path());
    expectFailure<IOFileException>(full, [&] { add(writer, "small"); });
}

}  // namespace
