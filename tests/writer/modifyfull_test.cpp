// Movies of others that leave less room below 4 GiB than what must stand behind the frames: they
// are not cut, since they could never be finished again.

#include <libDataIO/imagewriter.h>

#include <gtest/gtest.h>

#include <tests/support/expectfailure.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr qint64 limit = 4294967295;  // the longest file
constexpr const char* header = "compression_type=none\nendian=2\nheight=1\npixbits=8\nwidth=2\n";

const Failure full = {"dataio.imagewriter", SOFTWARE, "IW_AF_FULL",
                      QStringLiteral("File would exceed the size that its index can address.")};

/// A movie of two frames that take no space on the disk, with what stands behind them.
class LargeMovie {
public:
    /// @param end of the movie
    /// @param more chunks in front of the info chunk, listed in the index as `types`
    LargeMovie(qint64 end, const QByteArray& more = {}, const std::vector<uint32_t>& types = {},
               const QByteArray& attributes = header) {
        const auto records = static_cast<uint32_t>(2 + types.size());
        const QByteArray lists = le32(records) + QByteArray(12 * qsizetype{records}, '\0');
        endOfFrames = end - more.size() - chunk(5, lists + attributes).size();
        const qint64 half = endOfFrames / 2;
        const auto first = static_cast<uint32_t>(half - 32);
        const auto second = static_cast<uint32_t>(endOfFrames - half - 32);
        putSparseChunk(file, 0, 2, first);
        EXPECT_EQ(putSparseChunk(file, half, 2, second), endOfFrames);
        QByteArray index = le32(records) + indexRecord(2, 0, first) +
                           indexRecord(2, static_cast<uint32_t>(half), second);
        for (const uint32_t type : types)
            index += indexRecord(type, static_cast<uint32_t>(endOfFrames), 0);
        tail = more + chunk(5, index + attributes);
        file.put(endOfFrames, tail);
        EXPECT_EQ(file.size(), end);
    }

    /// What stands behind the frames now.
    QByteArray tailNow() const {
        QFile now(file.path());
        EXPECT_TRUE(now.open(QIODevice::ReadOnly));
        EXPECT_TRUE(now.seek(endOfFrames));
        return now.readAll();
    }

    void expectCannotBeFinished() const {
        ImageWriter writer;
        expectFailure<IOFileException>(full, [&] { writer.modify(file.path()); });
        EXPECT_FALSE(writer.isOpen());
        EXPECT_FALSE(has(writer, "endian"));
        EXPECT_EQ(tailNow(), tail);
    }

    const ScratchFile file;
    qint64 endOfFrames = 0;
    QByteArray tail;
};

TEST(ModifyFull, WhatEndsAtTheLimitIsFinishedAgain) {
    const LargeMovie movie(limit);
    ImageWriter writer;
    writer.modify(movie.file.path());
    EXPECT_EQ(movie.file.size(), movie.endOfFrames);
    writer.close();
    EXPECT_EQ(movie.tailNow(), movie.tail);
}

TEST(ModifyFull, WhatEndsAByteBehindTheLimitIsNotCut) {
    LargeMovie(limit + 1).expectCannotBeFinished();
}

TEST(ModifyFull, TimesPowersAndFibersCount) {
    const QByteArray fibers = chunk(6, QByteArray(400, '\x10'));
    const QByteArray times = chunk(7, QByteArray(16, '\0'));
    const QByteArray powers = chunk(8, QByteArray(2, '\0'));
    LargeMovie(limit + 1, fibers + times + powers, {6, 7, 8}).expectCannotBeFinished();
    // The time zone is noted with the times.
    LargeMovie(limit, fibers + times + powers, {6, 7, 8}).expectCannotBeFinished();

    const LargeMovie movie(limit, fibers + powers, {6, 8});
    ImageWriter writer;
    writer.modify(movie.file.path());
    writer.close();
    EXPECT_EQ(movie.file.size(), limit);
}

/// The writer may have recorded a movie before that was nearly full.
TEST(ModifyFull, TheNextRecordingHasRoomAgain) {
    const LargeMovie movie(limit);
    ImageWriter writer;
    writer.modify(movie.file.path());
    const ScratchFile next;
    writer.create(next.path(), false);
    test::add(writer, "abc");
    writer.close();
    EXPECT_EQ(soundMovie(next.path()).frames, (std::vector<QByteArray>{"abc"}));
}

}  // namespace
