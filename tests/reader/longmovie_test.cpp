// Long movies: index, times and attributes of many thousand frames, in movies that are built byte
// by byte.

#include <libDataIO/imagereader.h>

#include <boost/optional/optional_io.hpp>
#include <gtest/gtest.h>

#include <cstdint>

#include <tests/support/expectfailure.h>
#include <tests/support/moviebytes.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr int frames = 20000;  // 240,000 bytes of index, 160,000 of times

/// Frames of two bytes, which are their number.
QByteArray frameBytes(int number) {
    return le16(static_cast<uint16_t>(number));
}

/// Chunks, and the index of them in the order of the file.
struct LongMovie {
    QByteArray chunks;
    QByteArray records;
    int count = 0;

    void add(uint32_t type, const QByteArray& payload) {
        records += indexRecord(type, static_cast<uint32_t>(chunks.size()),
                               static_cast<uint32_t>(payload.size()));
        chunks += chunk(type, payload);
        ++count;
    }

    QByteArray bytes(const QByteArray& text, int claimed = -1) const {
        const auto number = static_cast<uint32_t>(claimed < 0 ? count : claimed);
        return chunks + chunk(5, le32(number) + records + text);
    }
};

/// Frames and their times; mixed, with a reserved chunk in front of every third frame.
LongMovie longMovie(bool isMixed = false) {
    LongMovie movie;
    QByteArray times;
    for (int i = 0; i < frames; ++i) {
        if (isMixed && i % 3 == 0) movie.add(3, "?");
        movie.add(2, frameBytes(i));
        times += le32(static_cast<uint32_t>(1000 + i)) + le32(static_cast<uint32_t>(i));
    }
    movie.add(7, times);
    return movie;
}

void expectWhole(const QByteArray& bytes) {
    const ScratchFile file(bytes);
    ImageReader reader(file.path());
    ASSERT_EQ(reader.nbFrames(), static_cast<unsigned int>(frames));
    for (unsigned int i : {0U, 1U, 5458U, 5459U, 5460U, 5461U, 8189U, 8190U, 8191U, 19999U}) {
        SCOPED_TRACE(i);
        const void* data = nullptr;
        ASSERT_EQ(reader.getRawFrame(data, i), 2U);
        EXPECT_EQ(QByteArray(static_cast<const char*>(data), 2), frameBytes(static_cast<int>(i)));
        timeval time{};
        ASSERT_TRUE(reader.getFrameTiming(i, time));
        EXPECT_EQ(time.tv_sec, 1000 + static_cast<long>(i));
        EXPECT_EQ(time.tv_usec, static_cast<long>(i));
    }
    timeval time{};
    EXPECT_FALSE(reader.getFrameTiming(frames, time));
    QString last;
    EXPECT_TRUE(reader.attribute(QStringLiteral("zz"), last));
    EXPECT_EQ(last, QStringLiteral("the end"));
}

TEST(LongMovieOpening, TakesIndexTimesAndAttributesWhole) {
    expectWhole(longMovie().bytes("endian=2\nzz=the end\n"));
    expectWhole(longMovie().bytes("a=" + QByteArray(300000, 'a') + "\nzz=the end"));
}

TEST(LongMovieOpening, TakesTypesThatTakeTurns) {
    expectWhole(longMovie(true).bytes("zz=the end\n"));
}

TEST(LongMovieOpening, IsRefusedWhenTheIndexIsLongerThanItsChunk) {
    const LongMovie movie = longMovie();
    for (int claimed : {movie.count + 1, INT32_MAX}) {
        const ScratchFile file(movie.bytes("", claimed));
        ImageReader reader;
        expectFailure<IOFileException>(
            {"dataio.chunkindex", SOFTWARE, "CI_L_CHUNK",
             QStringLiteral("Cannot read header index, chunk too small.")},
            [&] { reader.open(file.path()); });
        EXPECT_EQ(reader.nbFrames(), 0U);
    }
}

TEST(LongMovieOpening, TakesNoTimesOfWhichOneIsTorn) {
    LongMovie movie;
    movie.add(2, "x");
    movie.add(7, QByteArray(8 * 10000 + 3, 't'));
    const ScratchFile file(movie.bytes(""));
    const ImageReader reader(file.path());
    timeval time{};
    EXPECT_FALSE(reader.getFrameTiming(0, time));
}

TEST(LongMovieOpening, TakesListsAroundTheSizeOfABuffer) {
    // 65,520 bytes are whole times and whole records of the index.
    for (int more : {-1, 0, 1}) {
        LongMovie movie;
        movie.add(2, "x");
        QByteArray times;
        for (int i = 0; i < 8190 + more; ++i)
            times += le32(static_cast<uint32_t>(i)) + le32(0);
        movie.add(7, times);
        const int text = 65520 + more - (4 + 24);
        const ScratchFile file(movie.bytes("k=" + QByteArray(text - 3, 'v') + "\n"));
        const ImageReader reader(file.path());
        timeval time{};
        EXPECT_TRUE(reader.getFrameTiming(static_cast<unsigned int>(8190 + more - 1), time));
        EXPECT_EQ(time.tv_sec, 8190 + more - 1);
        EXPECT_FALSE(reader.getFrameTiming(static_cast<unsigned int>(8190 + more), time));
        QString value;
        EXPECT_TRUE(reader.attribute(QStringLiteral("k"), value));
        EXPECT_EQ(value.size(), text - 3);
    }
}

}  // namespace
