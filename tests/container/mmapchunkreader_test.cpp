// Walking over the chunks of a file that is built by hand, in both directions.

#include <libDataIO/dataiocommon.h>
#include <libDataIO/mmapchunkreader.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <limits>
#include <memory>

#include <tests/support/expectfailure.h>
#include <tests/support/failures.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr qint64 farAway = 0xc0000000;  // 3 GiB

void expectNoData(const ChunkReader& reader) {
    EXPECT_EQ(reader.size(), 0U);
    expectFailure<IOFileException>({"dataio.mmapchunkreader", FILESYSTEM, "MM_D_NODATA",
                                    QStringLiteral("No data availlable.")},
                                   [&] { reader.data(); });
}

QByteArray payload(const ChunkReader& reader) {
    return QByteArray(static_cast<const char*>(reader.data()), reader.size());
}

Failure outside(const char* code) {
    return {"dataio.mmapchunkreader", SOFTWARE, code,
            QStringLiteral("Chunk exceeds file, file may be corrupted.")};
}

class MappedReader : public testing::Test {
protected:
    void openOver(const QByteArray& bytes) {
        file.put(0, bytes);
        reader.fileDes(file.open(O_RDONLY));
    }

    ScratchFile file;
    MMapChunkReader reader;
};

TEST_F(MappedReader, IsClosedAndWithoutDataAtFirst) {
    EXPECT_FALSE(reader.openned());
    EXPECT_FALSE(reader.canSeek());
    expectNoData(reader);
}

TEST_F(MappedReader, WalksForwards) {
    openOver(chunk(2, "first") + chunk(2, "second one") + chunk(5, "info"));
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(payload(reader), "first");
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(payload(reader), "second one");
    ASSERT_TRUE(reader.nextChunk(5));
    EXPECT_EQ(payload(reader), "info");
    EXPECT_FALSE(reader.nextChunk(5));
    expectNoData(reader);
    ASSERT_TRUE(reader.prevChunk(5)) << "the cursor did not stay at the end";
}

TEST_F(MappedReader, BackwardMoveStopsInFrontOfTheChunk) {
    openOver(chunk(2, "aaaa") + chunk(5, "bb"));
    ASSERT_TRUE(reader.seekEnd());
    ASSERT_TRUE(reader.prevChunk(5));
    EXPECT_EQ(payload(reader), "bb");
    ASSERT_TRUE(reader.prevChunk(2));
    EXPECT_EQ(payload(reader), "aaaa");
    EXPECT_FALSE(reader.prevChunk(2)) << "there is nothing in front of the first chunk";
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(payload(reader), "aaaa");
    ASSERT_TRUE(reader.nextChunk(5));
    EXPECT_EQ(payload(reader), "bb");
}

TEST_F(MappedReader, AnEmptyFileHasNoChunkInEitherDirection) {
    openOver({});
    for (unsigned int type = 0; type <= 8; ++type)
        EXPECT_FALSE(reader.nextChunk(type));
    ASSERT_TRUE(reader.seekEnd());
    EXPECT_FALSE(reader.prevChunk(5));
    expectNoData(reader);
}

TEST_F(MappedReader, AnotherTypeIsNotEntered) {
    openOver(chunk(2, "aaaa") + chunk(5, "bb"));
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_FALSE(reader.nextChunk(2));
    expectNoData(reader);
    EXPECT_FALSE(reader.prevChunk(5));
    expectNoData(reader);
    ASSERT_TRUE(reader.nextChunk(5)) << "the cursor moved";
    EXPECT_EQ(payload(reader), "bb");
}

TEST_F(MappedReader, TheWholeTypeIsCompared) {
    openOver(chunk(0xffffff02, "a"));
    EXPECT_FALSE(reader.nextChunk(2));
    EXPECT_FALSE(reader.nextChunk(0));
    EXPECT_TRUE(reader.nextChunk(0xffffff02));
}

TEST_F(MappedReader, AnEmptyPayloadHasAnAddressAndNoSize) {
    openOver(chunk(2, {}) + chunk(2, {}));
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_NE(reader.data(), nullptr);
    EXPECT_EQ(reader.size(), 0U);
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_NE(reader.data(), nullptr);
    EXPECT_FALSE(reader.nextChunk(2));
    ASSERT_TRUE(reader.prevChunk(2));
    EXPECT_NE(reader.data(), nullptr);
    EXPECT_EQ(reader.size(), 0U);
}

TEST_F(MappedReader, PayloadsAreNotCopied) {
    openOver(chunk(2, QByteArray(10000, 'a')) + chunk(2, QByteArray(5000, 'b')));
    ASSERT_TRUE(reader.nextChunk(2));
    const char* first = static_cast<const char*>(reader.data());
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(static_cast<const char*>(reader.data()) - first, 10032)
        << "the chunks are not as far apart in memory as in the file";
    // What is written to the file through another descriptor is seen through the pointer.
    file.put(10048, "changed");
    EXPECT_EQ(payload(reader).left(8), "changedb");
}

TEST_F(MappedReader, PayloadsAtAnyPlaceInTheirPage) {
    // The first payload ends so that the second begins `shift` bytes into a page.
    const qint64 page = getpagesize();
    for (qint64 shift : {qint64{0}, qint64{1}, page - 1}) {
        const ScratchFile shifted(chunk(2, QByteArray(2 * page - 48 + shift, 'a')) +
                                  chunk(2, QByteArray(3 * page, 'b')));
        MMapChunkReader other;
        other.fileDes(shifted.open(O_RDONLY));
        ASSERT_TRUE(other.nextChunk(2));
        ASSERT_TRUE(other.nextChunk(2));
        EXPECT_EQ(reinterpret_cast<quintptr>(other.data()) % static_cast<quintptr>(page),
                  static_cast<quintptr>(shift));
        EXPECT_EQ(payload(other), QByteArray(3 * page, 'b'));
    }
}

TEST_F(MappedReader, EveryCursorOperationEndsTheCurrentChunk) {
    openOver(chunk(2, "aaaa") + chunk(5, "bb"));
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_TRUE(reader.rewind());
    expectNoData(reader);
    ASSERT_TRUE(reader.nextChunk(2)) << "rewind did not go to the start";
    EXPECT_TRUE(reader.seek(36));
    expectNoData(reader);
    ASSERT_TRUE(reader.nextChunk(5)) << "seek did not go to the second chunk";
    EXPECT_TRUE(reader.seekEnd());
    expectNoData(reader);
    EXPECT_FALSE(reader.nextChunk(5));
}

TEST_F(MappedReader, SeekTakesIntUnsignedAndWideOffsetsWithoutLookingAtThem) {
    openOver(chunk(2, "aaaa") + chunk(5, "bb"));
    EXPECT_TRUE(reader.seek(36U));
    EXPECT_TRUE(reader.nextChunk(5));
    EXPECT_TRUE(reader.seek(qint64{36}));
    EXPECT_TRUE(reader.nextChunk(5));
    EXPECT_TRUE(reader.seek(farAway));
    EXPECT_FALSE(reader.nextChunk(5));
    for (qint64 offset : {qint64{-1}, qint64{-16}, std::numeric_limits<qint64>::min()}) {
        EXPECT_TRUE(reader.seek(offset));
        EXPECT_FALSE(reader.nextChunk(2));
        EXPECT_FALSE(reader.prevChunk(2));
    }
    EXPECT_TRUE(MMapChunkReader().seek(5)) << "no descriptor is needed";
}

TEST_F(MappedReader, AnOffsetThatIsNoBoundaryDoesNotParse) {
    openOver(chunk(2, "aaaa") + chunk(5, "bb"));
    const Failure expected = damagedHeader();
    ASSERT_TRUE(reader.nextChunk(2));
    reader.seek(1);
    expectFailure<IOFileException>(expected, [&] { reader.nextChunk(2); });
    expectNoData(reader);
    reader.seek(20);
    expectFailure<IOFileException>(expected, [&] { reader.prevChunk(2); });
    reader.seek(60);
    expectFailure<IOFileException>({"dataio.chunkheader", SYSCALL, "CHB_LDF_READ",
                                    systemError("Could not read chunk header data: ", 0)},
                                   [&] { reader.nextChunk(2); });
}

TEST_F(MappedReader, AClosedReaderCannotMove) {
    const Failure noSeek{"dataio.chunkheader", SYSCALL, "CHB_LFD_SEEK",
                         systemError("Could not seek data: ", EBADF)};
    expectFailure<IOFileException>(noSeek, [&] { reader.nextChunk(2); });
    EXPECT_FALSE(reader.prevChunk(2));
    expectFailure<IOFileException>({"dataio.mmapchunkreader", SYSCALL, "MM_R_SEEK",
                                    systemError("Could not rewind file: ", EBADF)},
                                   [&] { reader.rewind(); });
    expectFailure<IOFileException>({"dataio.mmapchunkreader", SYSCALL, "MM_SE_SEEK",
                                    systemError("Could not reach end of file: ", EBADF)},
                                   [&] { reader.seekEnd(); });
}

TEST_F(MappedReader, AFailedSeekLeavesTheCursor) {
    openOver(chunk(2, "aaaa") + chunk(5, "bb"));
    ASSERT_TRUE(reader.nextChunk(2));
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const int fd = file.open(O_RDONLY);
    MMapChunkReader other;
    other.fileDes(fd);
    ASSERT_TRUE(other.nextChunk(2));
    other.fileDes(ends[0]);
    expectFailure<IOFileException>({"dataio.mmapchunkreader", SYSCALL, "MM_SE_SEEK",
                                    systemError("Could not reach end of file: ", ESPIPE)},
                                   [&] { other.seekEnd(); });
    expectFailure<IOFileException>({"dataio.mmapchunkreader", SYSCALL, "MM_R_SEEK",
                                    systemError("Could not rewind file: ", ESPIPE)},
                                   [&] { other.rewind(); });
    expectNoData(other);
    other.fileDes(fd);
    EXPECT_TRUE(other.nextChunk(5));
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(MappedReader, CloseGivesTheDescriptorUpAndTheCursorStartsAnew) {
    openOver(chunk(2, "aaaa") + chunk(5, "bb"));
    const int fd = file.open(O_RDONLY);
    MMapChunkReader other;
    other.fileDes(fd);
    ASSERT_TRUE(other.nextChunk(2));
    other.closeFile();
    EXPECT_FALSE(other.openned());
    EXPECT_EQ(::fcntl(fd, F_GETFD), -1);
    expectNoData(other);
    other.closeFile();
    other.fileDes(file.open(O_RDONLY));
    EXPECT_TRUE(other.nextChunk(2));
}

TEST_F(MappedReader, TheDestructorClosesTheDescriptor) {
    const int fd = file.open(O_RDONLY);
    auto other = std::make_unique<MMapChunkReader>();
    other->fileDes(fd);
    other.reset();
    EXPECT_EQ(::fcntl(fd, F_GETFD), -1);
}

TEST_F(MappedReader, AnotherDescriptorIsLookedAtFromTheNextMoveOn) {
    const int first = file.open(O_RDONLY);
    file.put(0, chunk(2, "aaaa") + chunk(2, "bbbb"));
    const ScratchFile otherFile(chunk(2, "AAAA") + chunk(2, "BBBB"));
    reader.fileDes(first);
    ASSERT_TRUE(reader.nextChunk(2));
    reader.fileDes(otherFile.open(O_RDONLY));
    EXPECT_EQ(payload(reader), "aaaa");
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(payload(reader), "BBBB");
    reader.seek(0);
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(payload(reader), "AAAA");
    ::close(first);
}

TEST_F(MappedReader, AChunkThatRunsPastTheFileIsRefused) {
    for (uint32_t size : {5U, 1000U, 0x7fffffffU, 0xfffffff0U, 0xffffffffU}) {
        const ScratchFile damaged(chunk(2, "good") + startHeader(2, size) + QByteArray("abcd"));
        MMapChunkReader other;
        other.fileDes(damaged.open(O_RDONLY));
        ASSERT_TRUE(other.nextChunk(2));
        expectFailure<IOFileException>(outside("MM_NC_BOUND"), [&] { other.nextChunk(2); });
        expectNoData(other);
        EXPECT_FALSE(other.nextChunk(3)) << "the type is looked at first";
        ASSERT_TRUE(other.prevChunk(2)) << "the cursor moved";
        EXPECT_EQ(payload(other), "good");
    }
}

TEST_F(MappedReader, ACutEndHeaderAloneIsNotLookedAt) {
    openOver(startHeader(2, 4) + QByteArray("abcd"));
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(payload(reader), "abcd");
    EXPECT_FALSE(reader.nextChunk(2));
}

TEST_F(MappedReader, AChunkThatReachesBeforeTheFileIsRefused) {
    for (uint32_t size : {5U, 1000U, 0x7fffffffU, 0xffffffffU}) {
        const ScratchFile damaged(startHeader(2, size) + QByteArray("abcd") + endHeader(2, size));
        MMapChunkReader other;
        other.fileDes(damaged.open(O_RDONLY));
        other.seekEnd();
        expectFailure<IOFileException>(outside("MM_CR_BOUND"), [&] { other.prevChunk(2); });
        expectNoData(other);
        EXPECT_FALSE(other.prevChunk(3)) << "the type is looked at first";
    }
}

TEST_F(MappedReader, AFileThatShrinksGivesAnExceptionAtTheNextMove) {
    openOver(chunk(2, QByteArray(100000, 'a')) + chunk(2, QByteArray(100000, 'b')));
    ASSERT_TRUE(reader.nextChunk(2));
    file.resize(150000);
    expectFailure<IOFileException>(outside("MM_NC_BOUND"), [&] { reader.nextChunk(2); });
    file.resize(50000);
    reader.seek(0);
    expectFailure<IOFileException>(outside("MM_NC_BOUND"), [&] { reader.nextChunk(2); });
    file.resize(0);
    EXPECT_FALSE(reader.nextChunk(2));
    file.put(0, chunk(2, QByteArray(300000, 'c')));
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(payload(reader), QByteArray(300000, 'c'));
}

TEST_F(MappedReader, AFileThatGrowsIsReadOn) {
    const QByteArray first = chunk(2, QByteArray(5000, 'a'));
    openOver(first);
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_FALSE(reader.nextChunk(2));
    file.put(first.size(), chunk(2, QByteArray(70000, 'b')));
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(payload(reader), QByteArray(70000, 'b'));
    ASSERT_TRUE(reader.rewind());
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(payload(reader), QByteArray(5000, 'a'));
}

TEST_F(MappedReader, ReadsBeyondTwoGigabytesAndUpToTheLastOffset) {
    const qint64 middle = putSparseChunk(file, 0, 2, static_cast<uint32_t>(farAway - 32));
    ASSERT_EQ(middle, farAway);
    file.put(middle, chunk(2, "beyond"));
    const qint64 last = putSparseChunk(file, middle + 38, 2, 0xffffffff - 32 - 32 - 4 - 0xc0000026);
    file.put(last, chunk(5, "info"));
    ASSERT_EQ(file.size(), 0xffffffff);

    reader.fileDes(file.open(O_RDONLY));
    ASSERT_TRUE(reader.seekEnd());
    ASSERT_TRUE(reader.prevChunk(5));
    EXPECT_EQ(payload(reader), "info");
    ASSERT_TRUE(reader.prevChunk(2));
    ASSERT_TRUE(reader.prevChunk(2));
    EXPECT_EQ(payload(reader), "beyond");
    ASSERT_TRUE(reader.prevChunk(2));
    EXPECT_EQ(reader.size(), farAway - 32);
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(static_cast<const char*>(reader.data())[farAway - 33], '\0');
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(payload(reader), "beyond");
    ASSERT_TRUE(reader.seek(static_cast<unsigned int>(last)));
    ASSERT_TRUE(reader.nextChunk(5));
    EXPECT_EQ(payload(reader), "info");
}

}  // namespace
