// Chunk headers written to and read from a descriptor, held against bytes made by hand.

#include <libDataIO/chunkheader.h>
#include <libDataIO/container/chunkframing.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <limits>
#include <type_traits>

#include <tests/support/expectfailure.h>
#include <tests/support/failures.h>
#include <tests/support/faultlayer.h>
#include <tests/support/limits.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

static_assert(std::is_abstract_v<ChunkHeaderBase>);
static_assert(std::has_virtual_destructor_v<ChunkHeaderBase>);

const char* const readPrefix = "Could not read chunk header data: ";

/// A file with the given bytes, open for reading and writing while the test runs.
class ChunkHeader : public testing::Test {
protected:
    ~ChunkHeader() override {
        if (fd != -1) ::close(fd);
    }
    void fill(const QByteArray& bytes) {
        file.put(0, bytes);
        fd = file.open();
    }

    ScratchFile file;
    int fd = -1;
};

TEST_F(ChunkHeader, StoresTypeAndSizeBigEndianInTheText) {
    fd = file.open();
    EXPECT_TRUE(ChunkStartHeader(2, 1000).writeFD(fd));
    EXPECT_TRUE(ChunkEndHeader(0xfedcba98, 0x01020304).writeFD(fd));
    EXPECT_EQ(file.bytes(), QByteArray("\n<CSTA\x00\x00\x00\x02\x00\x00\x03\xe8>\n"
                                       "\n<CEND\xfe\xdc\xba\x98\x01\x02\x03\x04>\n",
                                       32));
}

TEST_F(ChunkHeader, TextsHaveBlanksWhereTypeAndSizeGo) {
    EXPECT_STREQ(ChunkStartHeader::_headerStr, "\n<CSTA        >\n");
    EXPECT_STREQ(ChunkEndHeader::_headerStr, "\n<CEND        >\n");
}

TEST_F(ChunkHeader, AccessorsSetAndGet) {
    ChunkStartHeader header(7, 8);
    EXPECT_EQ(header.type(), 7U);
    EXPECT_EQ(header.size(), 8U);
    header.type(4000000000U);
    header.size(3000000000U);
    EXPECT_EQ(header.type(), 4000000000U);
    EXPECT_EQ(header.size(), 3000000000U);
}

TEST_F(ChunkHeader, AnEmptyChunkIsItsTwoHeaders) {
    fill(chunk(5, {}));
    ChunkStartHeader start;
    ChunkEndHeader end;
    EXPECT_TRUE(start.loadFD(fd));
    EXPECT_TRUE(end.loadFD(fd));
    EXPECT_FALSE(start.loadFD(fd));
    EXPECT_EQ(start.type(), 5U);
    EXPECT_EQ(start.size(), 0U);
    EXPECT_EQ(end.type(), 5U);
    EXPECT_EQ(end.size(), 0U);
}

TEST_F(ChunkHeader, AnyBytesAreTakenAsTypeAndSize) {
    fill(QByteArray("\n<CSTA        >\n"));
    ChunkStartHeader header;
    EXPECT_TRUE(header.loadFD(fd, 0));
    EXPECT_EQ(header.type(), 0x20202020U);
    EXPECT_EQ(header.size(), 0x20202020U);
}

TEST_F(ChunkHeader, LoadsAtAnOffsetGivenAsIntUnsignedOrWide) {
    fill(chunk(1, "abc") + chunk(2, "de"));
    ChunkStartHeader header;
    EXPECT_TRUE(header.loadFD(fd, 35));
    EXPECT_EQ(header.type(), 2U);
    EXPECT_TRUE(header.loadFD(fd, 0U));
    EXPECT_EQ(header.type(), 1U);
    EXPECT_TRUE(header.loadFD(fd, qint64{35}));
    EXPECT_EQ(header.size(), 2U);
}

TEST_F(ChunkHeader, EndOfFileAndOffsetsBeforeItGiveFalseAndChangeNothing) {
    fill(chunk(1, "abc"));
    ASSERT_EQ(::lseek(fd, 7, SEEK_SET), 7);
    ChunkEndHeader header(11, 22);
    EXPECT_FALSE(header.loadFD(fd, -16));
    EXPECT_FALSE(header.loadFD(fd, -1));
    EXPECT_EQ(::lseek(fd, 0, SEEK_CUR), 7) << "the descriptor was moved";
    EXPECT_FALSE(header.loadFD(fd, 35));
    EXPECT_FALSE(header.loadFD(fd, 1000));
    EXPECT_EQ(header.type(), 11U);
    EXPECT_EQ(header.size(), 22U);
}

TEST_F(ChunkHeader, AnEmptyFileHasNone) {
    fill({});
    ChunkStartHeader header;
    EXPECT_FALSE(header.loadFD(fd, 0));
    EXPECT_FALSE(header.loadFD(fd));
}

TEST_F(ChunkHeader, AFileThatEndsInsideAHeaderFails) {
    for (int length = 1; length < 16; ++length) {
        const ScratchFile cut(startHeader(2, 100).left(length));
        const int cutFd = cut.open();
        ChunkStartHeader header(11, 22);
        expectFailure<IOFileException>(
            {"dataio.chunkheader", SYSCALL, "CHB_LDF_READ", systemError(readPrefix, 0)},
            [&] { header.loadFD(cutFd, 0); });
        EXPECT_EQ(header.type(), 11U);
        EXPECT_EQ(header.size(), 22U);
        ::close(cutFd);
    }
}

TEST_F(ChunkHeader, IsReadInSeveralCallsWhereOneDoesNotGiveAllOfIt) {
    const ScratchFile whole(startHeader(2, 100));
    FaultLayer layer(whole.path(), {{Call::Read, 1, {0, 5}}, {Call::Read, 2, {0, 1}}});
    ChunkStartHeader header;
    layer.during([&] {
        const int wholeFd = whole.open();
        EXPECT_TRUE(header.loadFD(wholeFd, 0));
        ::close(wholeFd);
    });
    EXPECT_EQ(layer.hits(), 2);
    EXPECT_EQ(header.type(), 2U);
    EXPECT_EQ(header.size(), 100U);
}

TEST_F(ChunkHeader, EachFixedByteIsComparedAndNoOther) {
    for (int at = 0; at < 16; ++at) {
        QByteArray bytes = startHeader(2, 100);
        bytes[at] = static_cast<char>(bytes[at] ^ 1);
        const ScratchFile damaged(bytes);
        const int damagedFd = damaged.open();
        ChunkStartHeader header(11, 22);
        if (at >= 6 && at < 14) {
            EXPECT_TRUE(header.loadFD(damagedFd, 0)) << at;
        } else {
            expectFailure<IOFileException>(damagedHeader(), [&] { header.loadFD(damagedFd, 0); });
            EXPECT_EQ(header.type(), 11U) << at;
            EXPECT_EQ(header.size(), 22U) << at;
        }
        ::close(damagedFd);
    }
}

TEST_F(ChunkHeader, TheOtherKindDoesNotParse) {
    fill(chunk(2, {}));
    const Failure expected = damagedHeader();
    expectFailure<IOFileException>(expected, [&] { ChunkEndHeader().loadFD(fd, 0); });
    expectFailure<IOFileException>(expected, [&] { ChunkStartHeader().loadFD(fd, 16); });
}

TEST_F(ChunkHeader, AFailedReadIsAReadFailure) {
    fd = ::open(".", O_RDONLY | O_DIRECTORY);
    expectFailure<IOFileException>(
        {"dataio.chunkheader", SYSCALL, "CHB_LDF_READ", systemError(readPrefix, EISDIR)},
        [&] { ChunkStartHeader().loadFD(fd, 0); });
}

TEST_F(ChunkHeader, ADescriptorThatCannotBeMovedIsASeekFailure) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    expectFailure<IOFileException>({"dataio.chunkheader", SYSCALL, "CHB_LFD_SEEK",
                                    systemError("Could not seek data: ", ESPIPE)},
                                   [&] { ChunkStartHeader().loadFD(ends[0], 0); });
    expectFailure<IOFileException>({"dataio.chunkheader", SYSCALL, "CHB_LFD_SEEK",
                                    systemError("Could not seek data: ", EBADF)},
                                   [&] { ChunkStartHeader().loadFD(-1, 0); });
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(ChunkHeader, AFailedWriteNamesTheStartHeaderForBothKinds) {
    fd = ::open("/dev/full", O_WRONLY);
    const Failure expected = headerWrite(ENOSPC);
    expectFailure<IOFileException>(expected, [&] { ChunkStartHeader(2, 3).writeFD(fd); });
    expectFailure<IOFileException>(expected, [&] { ChunkEndHeader(2, 3).writeFD(fd); });
}

TEST_F(ChunkHeader, AShortWriteIsFollowedByOneThatGivesTheReason) {
    fd = file.open();
    const FileSizeLimit limit(10);
    expectFailure<IOFileException>(headerWrite(EFBIG), [&] { ChunkStartHeader(2, 3).writeFD(fd); });
    EXPECT_EQ(file.bytes(), startHeader(2, 3).left(10));
}

TEST_F(ChunkHeader, InterruptedCallsAreMadeAgain) {
    fd = file.open();
    {
        const FailingCalls interrupted(Call::Write, EINTR, 0, 3);
        EXPECT_TRUE(ChunkStartHeader(2, 1000).writeFD(fd));
        EXPECT_EQ(interrupted.hits(), 3);
    }
    EXPECT_EQ(file.bytes(), startHeader(2, 1000));
    ChunkStartHeader header;
    const FailingCalls interrupted(Call::Read, EINTR, 0, 3);
    EXPECT_TRUE(header.loadFD(fd, 0));
    EXPECT_EQ(interrupted.hits(), 3);
    EXPECT_EQ(header.size(), 1000U);
}

TEST_F(ChunkHeader, AnInterruptionIsNotTheReasonWhyAHeaderIsCut) {
    fill(startHeader(2, 3).left(10));
    const FailingCalls interrupted(Call::Read, EINTR, 0, 3);
    expectFailure<IOFileException>(
        {"dataio.chunkheader", SYSCALL, "CHB_LDF_READ", systemError(readPrefix, 0)},
        [&] { ChunkStartHeader().loadFD(fd, 0); });
}

TEST_F(ChunkHeader, LiesBeyondTwoAndFourGigabytes) {
    fd = file.open();
    for (qint64 offset : {qint64{0x80000000}, qint64{0xfffffff0}, qint64{0x123456789}}) {
        ASSERT_EQ(::lseek(fd, offset, SEEK_SET), offset);
        EXPECT_TRUE(ChunkStartHeader(3, static_cast<unsigned int>(offset)).writeFD(fd));
        ChunkStartHeader header;
        EXPECT_TRUE(header.loadFD(fd, offset));
        EXPECT_EQ(header.size(), static_cast<unsigned int>(offset));
    }
    EXPECT_FALSE(ChunkStartHeader().loadFD(fd, 0x123456789 + 16));
}

TEST(EndHeaderOffset, IsNegativeWhereNoHeaderCanBe) {
    EXPECT_EQ(endHeaderOffset(32), 16);
    EXPECT_EQ(endHeaderOffset(16), 0);
    EXPECT_EQ(endHeaderOffset(15), -1);
    EXPECT_EQ(endHeaderOffset(0), -1);
    EXPECT_EQ(endHeaderOffset(std::numeric_limits<qint64>::min()), -1);
    EXPECT_EQ(endHeaderOffset(0x100000000), 0xfffffff0);
}

TEST_F(ChunkHeader, AFailureNamesTheOperationThatFailed) {
    fd = ::open("/dev/full", O_WRONLY);
    const LogCapture log;
    try {
        ChunkStartHeader(2, 3).writeFD(fd);
        FAIL() << "nothing thrown";
    } catch (const IOFileException& thrown) {
        EXPECT_STREQ(thrown.locationInfo().fileName(), "libDataIO/container/chunkheader.cpp");
        EXPECT_STREQ(thrown.locationInfo().methodName(), "bool mz::ChunkHeaderBase::writeFD(int)");
    }
    ASSERT_EQ(log.records().size(), 1U);
    EXPECT_STREQ(log.records()[0].location.methodName(), "bool mz::ChunkHeaderBase::writeFD(int)");
}

}  // namespace
