// Writing chunks to a descriptor and walking back over them; the bytes are looked at in the file.

#include <libDataIO/fdchunkwriter.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <limits>
#include <type_traits>

#include <tests/support/addchunk.h>
#include <tests/support/expectfailure.h>
#include <tests/support/failures.h>
#include <tests/support/scratchfile.h>
#include <tests/support/translated.h>

using namespace mz;
using namespace mz::test;

namespace {

static_assert(std::is_abstract_v<ChunkWriter>);
static_assert(std::has_virtual_destructor_v<ChunkWriter>);
static_assert(!std::is_copy_constructible_v<FDChunkWriter>);

QByteArray payload(const ChunkWriter& writer) {
    return QByteArray(static_cast<const char*>(writer.data()), writer.chunkSize());
}

Failure outside(const char* code) {
    return {"dataio.fdchunkwriter", SOFTWARE, code,
            QStringLiteral("Chunk exceeds file, file may be corrupted.")};
}

class Writer : public testing::Test {
protected:
    void openOver(const QByteArray& bytes) {
        file.put(0, bytes);
        writer.fileDes(file.open());
    }

    ScratchFile file;
    FDChunkWriter writer;
};

TEST_F(Writer, IsClosedEmptyAndAtZeroAtFirst) {
    EXPECT_FALSE(writer.openned());
    EXPECT_EQ(writer.tell(), 0U);
    EXPECT_EQ(writer.data(), nullptr);
    EXPECT_EQ(writer.chunkSize(), 0U);
}

TEST_F(Writer, AddsChunkAfterChunkAndReturnsTheirOffsets) {
    openOver({});
    EXPECT_TRUE(writer.openned());
    EXPECT_EQ(add(writer, 2, "aaaa"), 0);
    EXPECT_EQ(add(writer, 6, {}), 36);
    EXPECT_EQ(add(writer, 5, "bb"), 68);
    EXPECT_EQ(writer.tell(), 102U);
    EXPECT_EQ(file.bytes(), chunk(2, "aaaa") + chunk(6, {}) + chunk(5, "bb"));
}

TEST_F(Writer, AnEmptyChunkNeedsNoData) {
    openOver({});
    EXPECT_EQ(writer.addChunk(2, nullptr, 0), 0);
    EXPECT_EQ(file.bytes(), chunk(2, {}));
}

TEST_F(Writer, OverwritesWhereTheCursorStands) {
    openOver(chunk(2, "aaaa") + chunk(2, "bbbb") + chunk(5, "cc"));
    ASSERT_TRUE(writer.seek(36));
    EXPECT_EQ(add(writer, 2, "BBBB"), 36);
    EXPECT_EQ(file.bytes(), chunk(2, "aaaa") + chunk(2, "BBBB") + chunk(5, "cc"));
}

TEST_F(Writer, DoesNotDependOnWhereTheDescriptorStands) {
    const int fd = file.open();
    writer.fileDes(fd);
    add(writer, 2, "aaaa");
    ASSERT_EQ(::lseek(fd, 3, SEEK_SET), 3);
    add(writer, 5, "bb");
    EXPECT_EQ(file.bytes(), chunk(2, "aaaa") + chunk(5, "bb"));
}

TEST_F(Writer, AClosedWriterAddsNothing) {
    const Failure closed{"dataio.fdchunkwriter", SOFTWARE, "FDCW_AC_BADFD",
                         QStringLiteral("Cannot write in a non openned file.")};
    expectFailure<IOFileException>(closed, [&] { add(writer, 2, "aaaa"); });
    openOver({});
    writer.closeFile();
    EXPECT_FALSE(writer.openned());
    expectFailure<IOFileException>(closed, [&] { add(writer, 2, "aaaa"); });
    EXPECT_EQ(file.size(), 0);
}

TEST_F(Writer, ForwardStepStopsInFrontOfTheEndHeader) {
    openOver(chunk(2, "aaaa") + chunk(2, "bbbbbb"));
    ASSERT_TRUE(writer.nextChunk(2));
    EXPECT_EQ(payload(writer), "aaaa");
    EXPECT_EQ(writer.tell(), 20U);
    expectFailure<IOFileException>(damagedHeader(), [&] { writer.nextChunk(2); });
    EXPECT_EQ(writer.tell(), 20U);
    ASSERT_TRUE(writer.seek(36));
    ASSERT_TRUE(writer.nextChunk(2));
    EXPECT_EQ(payload(writer), "bbbbbb");
    EXPECT_EQ(writer.tell(), 58U);
}

TEST_F(Writer, BackwardStepStopsInFrontOfTheChunk) {
    openOver(chunk(2, "aaaa") + chunk(2, "b") + chunk(5, "cc"));
    ASSERT_TRUE(writer.seekEnd());
    ASSERT_TRUE(writer.prevChunk(5));
    EXPECT_EQ(payload(writer), "cc");
    EXPECT_EQ(writer.tell(), 69U);
    ASSERT_TRUE(writer.prevChunk(2));
    EXPECT_EQ(payload(writer), "b");
    ASSERT_TRUE(writer.prevChunk(2)) << "the first chunk is not refused here";
    EXPECT_EQ(payload(writer), "aaaa");
    EXPECT_EQ(writer.tell(), 0U);
    EXPECT_FALSE(writer.prevChunk(2));
    EXPECT_EQ(writer.tell(), 0U);
    EXPECT_EQ(payload(writer), "aaaa");
}

TEST_F(Writer, AnotherTypeAndTheEndsOfTheFileAreNotStepped) {
    openOver(chunk(2, "aaaa") + chunk(5, "bb"));
    ASSERT_TRUE(writer.nextChunk(2));
    ASSERT_TRUE(writer.seek(36));
    EXPECT_FALSE(writer.nextChunk(2));
    EXPECT_FALSE(writer.prevChunk(5));
    EXPECT_EQ(writer.tell(), 36U);
    EXPECT_EQ(payload(writer), "aaaa") << "the payload was dropped";
    ASSERT_TRUE(writer.seekEnd());
    EXPECT_FALSE(writer.nextChunk(5));
    EXPECT_EQ(writer.tell(), 70U);
}

TEST_F(Writer, TheSizeFollowsThePayloadUpAndDown) {
    openOver(chunk(2, QByteArray(100, 'a')) + chunk(2, "b") + chunk(2, QByteArray(50, 'c')) +
             chunk(2, QByteArray(20000, 'd')) + chunk(2, {}));
    ASSERT_TRUE(writer.seekEnd());
    for (const QByteArray& expected : {QByteArray(), QByteArray(20000, 'd'), QByteArray(50, 'c'),
                                       QByteArray("b"), QByteArray(100, 'a')}) {
        ASSERT_TRUE(writer.prevChunk(2));
        EXPECT_EQ(payload(writer), expected);
    }
}

TEST_F(Writer, ThePayloadIsACopy) {
    openOver(chunk(2, "aaaa") + chunk(5, "bb"));
    ASSERT_TRUE(writer.nextChunk(2));
    const void* data = writer.data();
    ASSERT_TRUE(writer.seek(0));
    add(writer, 2, "ZZZZ");
    ASSERT_TRUE(writer.seekEnd());
    writer.closeFile();
    EXPECT_EQ(writer.data(), data);
    EXPECT_EQ(payload(writer), "aaaa");
}

TEST_F(Writer, SeeksTakeIntUnsignedAndWideOffsets) {
    openOver(chunk(2, "aaaa"));
    EXPECT_TRUE(writer.seek(5));
    EXPECT_EQ(writer.tell(), 5U);
    EXPECT_TRUE(writer.seek(0xfffffffeU));
    EXPECT_EQ(writer.tell(), 0xfffffffeU);
    EXPECT_EQ(writer.cursor(), 0xfffffffe);
    EXPECT_TRUE(writer.seek(qint64{0x123456789}));
    EXPECT_EQ(writer.tell(), 0x23456789U);
    EXPECT_EQ(writer.cursor(), 0x123456789);
    EXPECT_TRUE(writer.seekEnd());
    EXPECT_EQ(writer.cursor(), 36);
}

TEST_F(Writer, ARefusedSeekIsFalseAndLeavesTheCursor) {
    openOver(chunk(2, "aaaa"));
    writer.seek(36);
    LogCapture log;
    EXPECT_FALSE(writer.seek(-1));
    EXPECT_FALSE(writer.seek(std::numeric_limits<qint64>::min()));
    EXPECT_EQ(writer.tell(), 36U);
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    FDChunkWriter pipeWriter;
    pipeWriter.fileDes(ends[1]);
    EXPECT_FALSE(pipeWriter.seek(4));
    EXPECT_FALSE(pipeWriter.seekEnd());
    EXPECT_EQ(pipeWriter.tell(), 0U);
    EXPECT_FALSE(FDChunkWriter().seek(0));
    EXPECT_FALSE(FDChunkWriter().seekEnd());
    EXPECT_TRUE(log.records().empty());
    ::close(ends[0]);
}

TEST_F(Writer, SeekPrevGoesBackOverAnyTypeButNotOntoTheFirstChunk) {
    openOver(chunk(2, "aaaa") + chunk(6, "b") + chunk(5, "cc"));
    ASSERT_TRUE(writer.seekEnd());
    ASSERT_TRUE(writer.seekPrev());
    EXPECT_EQ(writer.tell(), 69U);
    ASSERT_TRUE(writer.seekPrev());
    EXPECT_EQ(writer.tell(), 36U);
    EXPECT_FALSE(writer.seekPrev());
    EXPECT_EQ(writer.tell(), 36U);
    EXPECT_EQ(writer.data(), nullptr) << "nothing is read";
    ASSERT_TRUE(writer.seek(0));
    EXPECT_FALSE(writer.seekPrev());
    EXPECT_EQ(writer.tell(), 0U);
}

TEST_F(Writer, SeekPrevInAFileOfOneChunkStaysAtTheEnd) {
    openOver(chunk(5, "info"));
    ASSERT_TRUE(writer.seekEnd());
    EXPECT_FALSE(writer.seekPrev());
    EXPECT_EQ(writer.tell(), 36U);
}

TEST_F(Writer, SeekPrevPassesHeaderFailuresOn) {
    openOver(chunk(2, "aaaa") + QByteArray("no header here, but long enough"));
    ASSERT_TRUE(writer.seekEnd());
    expectFailure<IOFileException>(damagedHeader(), [&] { writer.seekPrev(); });
    EXPECT_EQ(writer.tell(), 67U);
}

TEST_F(Writer, TheInfoChunkIsCutAndReplaced) {
    openOver(chunk(2, "aaaa") + chunk(2, "bbbb") + chunk(5, QByteArray(500, 'i')));
    ASSERT_TRUE(writer.seekEnd());
    ASSERT_TRUE(writer.seekPrev());
    writer.truncateFile();
    EXPECT_EQ(file.bytes(), chunk(2, "aaaa") + chunk(2, "bbbb"));
    EXPECT_EQ(add(writer, 5, "new"), 72);
    EXPECT_EQ(file.bytes(), chunk(2, "aaaa") + chunk(2, "bbbb") + chunk(5, "new"));
}

TEST_F(Writer, AFileThatCannotBeCutFails) {
    file.put(0, chunk(2, "aaaa"));
    writer.fileDes(file.open(O_RDONLY));
    expectFailure<IOFileException>({"dataio.fdchunkwriter", SYSCALL, "FDCW_TRUNC",
                                    systemError("Error while removing old index chunk:", EINVAL)},
                                   [&] { writer.truncateFile(); });
    EXPECT_EQ(file.size(), 36);
    expectFailure<IOFileException>({"dataio.fdchunkwriter", SYSCALL, "FDCW_TRUNC",
                                    systemError("Error while removing old index chunk:", EBADF)},
                                   [&] { FDChunkWriter().truncateFile(); });
}

TEST_F(Writer, AChunkThatRunsPastTheFileIsRefused) {
    for (uint32_t size : {5U, 1000U, 0x7fffffffU, 0xfffffff0U, 0xffffffffU}) {
        const ScratchFile damaged(chunk(2, "good") + startHeader(2, size) + QByteArray("abcd"));
        FDChunkWriter other;
        other.fileDes(damaged.open());
        ASSERT_TRUE(other.nextChunk(2));
        ASSERT_TRUE(other.seek(36));
        expectFailure<IOFileException>(outside("FDCW_NC_BOUND"), [&] { other.nextChunk(2); });
        EXPECT_EQ(other.tell(), 36U);
        EXPECT_EQ(payload(other), "good") << "the payload was dropped";
        EXPECT_FALSE(other.nextChunk(3)) << "the type is looked at first";
    }
}

TEST_F(Writer, ACutEndHeaderAloneIsNotLookedAt) {
    openOver(startHeader(2, 4) + QByteArray("abcd"));
    ASSERT_TRUE(writer.nextChunk(2));
    EXPECT_EQ(payload(writer), "abcd");
}

TEST_F(Writer, AChunkThatReachesBeforeTheFileIsRefused) {
    for (uint32_t size : {5U, 1000U, 0x7fffffffU, 0xffffffffU}) {
        const ScratchFile damaged(startHeader(2, size) + QByteArray("abcd") + endHeader(2, size));
        FDChunkWriter other;
        other.fileDes(damaged.open());
        other.seekEnd();
        expectFailure<IOFileException>(outside("FDCW_PC_BOUND"), [&] { other.prevChunk(2); });
        expectFailure<IOFileException>(outside("FDCW_PC_BOUND"), [&] { other.seekPrev(); });
        EXPECT_EQ(other.tell(), 36U);
        EXPECT_EQ(other.data(), nullptr);
        EXPECT_FALSE(other.prevChunk(3)) << "the type is looked at first";
    }
}

TEST_F(Writer, OffsetsBeyondTwoGigabytesAreTheIntsBits) {
    constexpr qint64 offset = 0xc0000000;
    openOver({});
    ASSERT_TRUE(writer.seek(offset));
    EXPECT_EQ(static_cast<unsigned int>(add(writer, 2, "aaaa")), offset);
    EXPECT_EQ(writer.tell(), offset + 36);
    EXPECT_EQ(static_cast<unsigned int>(add(writer, 5, "bb")), offset + 36);
    EXPECT_EQ(file.size(), offset + 70);
    ASSERT_TRUE(writer.prevChunk(5));
    ASSERT_TRUE(writer.prevChunk(2));
    EXPECT_EQ(payload(writer), "aaaa");
    EXPECT_EQ(writer.tell(), offset);
    ASSERT_TRUE(writer.nextChunk(2));
    EXPECT_EQ(writer.tell(), offset + 20);
    ASSERT_TRUE(writer.seekEnd());
    ASSERT_TRUE(writer.seekPrev());
    EXPECT_EQ(writer.tell(), offset + 36);
    writer.truncateFile();
    EXPECT_EQ(file.size(), offset + 36);
}

TEST_F(Writer, NoChunkEndsBeyondTheLastOffsetOfTheFormat) {
    const Failure tooLarge{"dataio.fdchunkwriter", SYSCALL, "FDCW_AC_WRITE",
                           systemError("Could not write all data: ", EFBIG)};
    openOver({});
    ASSERT_TRUE(writer.seek(0xffffffff - 36));
    EXPECT_EQ(static_cast<unsigned int>(add(writer, 2, "aaaa")), 0xffffffff - 36);
    EXPECT_EQ(file.size(), 0xffffffff);
    expectFailure<IOFileException>(tooLarge, [&] { add(writer, 2, {}); });
    ASSERT_TRUE(writer.seek(0xffffffff - 36));
    expectFailure<IOFileException>(tooLarge, [&] { add(writer, 2, "aaaaa"); });
    // Sizes that would be small again in 32 or 64 bits; no byte of the data is looked at.
    ASSERT_TRUE(writer.seek(0));
    for (size_t size : {size_t{0xffffffff}, size_t{0x100000004}, size_t{0xffffffffffffffff},
                        size_t{0x7fffffffffffffff}})
        expectFailure<IOFileException>(tooLarge, [&] { writer.addChunk(2, "abcd", size); });
    EXPECT_EQ(writer.tell(), 0U);
    EXPECT_EQ(file.size(), 0xffffffff);
}

TEST_F(Writer, DumpShowsSizeOffsetAndDescriptorWithoutALastNewline) {
    const auto dumped = [](const FDChunkWriter& shown) {
        testing::internal::CaptureStdout();
        shown.dumpDebug();
        return testing::internal::GetCapturedStdout();
    };
    char address[64];
    std::snprintf(address, sizeof address, "%p", static_cast<const void*>(&writer));
    const std::string title = std::string("------------------ FDChunkWriter ") + address + "\n";
    EXPECT_EQ(dumped(writer), title + "size = 0\noffset = 0\nfd = 4294967295");

    file.put(0, chunk(2, "aaaa"));
    const int fd = file.open();
    writer.fileDes(fd);
    ASSERT_TRUE(writer.nextChunk(2));
    ASSERT_TRUE(writer.seek(0xfffffff0U));
    EXPECT_EQ(dumped(writer), title + "size = 4\noffset = 4294967280\nfd = " + std::to_string(fd));
}

TEST_F(Writer, CloseAndDestructorGiveTheDescriptorUp) {
    const int closed = file.open();
    writer.fileDes(closed);
    writer.closeFile();
    EXPECT_FALSE(writer.openned());
    EXPECT_EQ(::fcntl(closed, F_GETFD), -1);
    writer.closeFile();
    const int destroyed = file.open();
    { FDChunkWriter().fileDes(destroyed); }
    EXPECT_EQ(::fcntl(destroyed, F_GETFD), -1);
}

TEST_F(Writer, OnlyThePrefixOfAFailedCutIsTranslated) {
    const Translated translated;
    file.put(0, chunk(2, "aaaa"));
    writer.fileDes(file.open(O_RDONLY));
    expectFailure<IOFileException>(
        {"dataio.fdchunkwriter", SYSCALL, "FDCW_TRUNC",
         systemError("QObject: Error while removing old index chunk:", EINVAL)},
        [&] { writer.truncateFile(); });
    FDChunkWriter closed;
    expectFailure<IOFileException>({"dataio.fdchunkwriter", SOFTWARE, "FDCW_AC_BADFD",
                                    QStringLiteral("Cannot write in a non openned file.")},
                                   [&] { add(closed, 2, "a"); });
}

}  // namespace
