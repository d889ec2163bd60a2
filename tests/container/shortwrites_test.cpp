// Calls that write fewer bytes than they were asked to: the rest is written, and a failure gives
// the reason that the system gave.

#include <libDataIO/chunkheader.h>
#include <libDataIO/fdchunkwriter.h>

#include <gtest/gtest.h>

#include <sys/mman.h>

#include <tests/support/addchunk.h>
#include <tests/support/cancelled.h>
#include <tests/support/failures.h>
#include <tests/support/faultlayer.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

/// A file with one sound chunk of 36 bytes, behind which a chunk of 132 bytes is written.
class ShortWrites : public testing::Test {
protected:
    /// @return how many write calls the chunk took
    int addWith(std::vector<Fault> faults) {
        FaultLayer layer(file.path(), std::move(faults));
        layer.during([&] {
            FDChunkWriter writer;
            writer.fileDes(file.open());
            ASSERT_TRUE(writer.seekEnd());
            EXPECT_EQ(add(writer, 2, hundred), 36);
            EXPECT_EQ(writer.tell(), 168U);
        });
        EXPECT_EQ(file.bytes(), sound + chunk(2, hundred));
        file.resize(36);
        return layer.calls(Call::Write);
    }

    void expectFailing(const Failure& expected, std::vector<Fault> faults) {
        FaultLayer layer(file.path(), std::move(faults));
        layer.during([&] {
            FDChunkWriter writer;
            writer.fileDes(file.open());
            ASSERT_TRUE(writer.seekEnd());
            expectFailure<IOFileException>(expected, [&] { add(writer, 2, hundred); });
            EXPECT_EQ(writer.tell(), 36U);
        });
        EXPECT_EQ(file.bytes(), sound);
    }

    /// A call that moves so many bytes, and one behind it that fails.
    static Fault torn(int bytes, int error) { return {Call::Write, 1, {0, bytes, error}}; }

    const QByteArray hundred = QByteArray(99, 'x') + 'y';
    const QByteArray sound = chunk(2, "aaaa");
    const ScratchFile file{sound};
};

TEST_F(ShortWrites, AChunkIsOneCall) {
    EXPECT_EQ(addWith({}), 1);
}

TEST_F(ShortWrites, TheRestIsWrittenWhereverACallStops) {
    for (int bytes = 1; bytes < 132; ++bytes) {
        SCOPED_TRACE(bytes);
        EXPECT_EQ(addWith({{Call::Write, 1, {0, bytes}}}), 2);
    }
}

TEST_F(ShortWrites, EachCallMayMoveLittle) {
    EXPECT_EQ(addWith({{Call::Write, 1, {0, 7}, 12}}), 13);
    EXPECT_EQ(addWith({{Call::Write, 1, {0, Effect::half}, 6}}), 7);
}

TEST_F(ShortWrites, InterruptedCallsBetweenThemAreMadeAgain) {
    EXPECT_EQ(addWith({{Call::Write, 1, {EINTR, 0}},
                       {Call::Write, 2, {0, 20}},
                       {Call::Write, 3, {EINTR, 0}, 2}}),
              5);
}

TEST_F(ShortWrites, TheReasonIsThatOfTheCallThatFailed) {
    for (const int error : {ENOSPC, EFBIG, EDQUOT, EIO}) {
        expectFailing(headerWrite(error), {torn(10, error)});
        expectFailing(payloadWrite(error), {torn(16, error)});
        expectFailing(payloadWrite(error), {torn(115, error)});
        expectFailing(headerWrite(error), {torn(116, error)});
    }
}

TEST_F(ShortWrites, CleaningUpDoesNotChangeTheReason) {
    expectFailing(payloadWrite(EDQUOT),
                  {torn(50, EDQUOT), {Call::Truncate, 1, {EINTR, 0}, 2, true}});
}

TEST_F(ShortWrites, AnInterruptionBeforeIsNotTheReason) {
    expectFailing(headerWrite(ENOSPC),
                  {{Call::Write, 1, {EINTR, 0}}, {Call::Write, 2, {0, 8, ENOSPC}}});
}

TEST_F(ShortWrites, ACallThatMovesNothingIsAnInputOutputError) {
    expectFailing(headerWrite(EIO), {{Call::Write, 1, {0, 0}}});
    expectFailing(payloadWrite(EIO), {{Call::Write, 1, {0, 50}}, {Call::Write, 2, {0, 0}}});
    expectFailing(headerWrite(EIO), {{Call::Write, 1, {EINTR, 0}}, {Call::Write, 2, {0, 0}}});
}

TEST_F(ShortWrites, OfAHeaderAreCompletedToo) {
    for (int bytes = 1; bytes < 16; ++bytes) {
        FaultLayer layer(file.path(), {{Call::Write, 1, {0, bytes}}});
        layer.during([&] {
            const int fd = file.open();
            EXPECT_TRUE(ChunkEndHeader(2, 1000).writeFD(fd));
            ::close(fd);
        });
        EXPECT_EQ(file.bytes().left(16), endHeader(2, 1000)) << bytes;
    }
    FaultLayer layer(file.path(), {torn(10, EDQUOT)});
    layer.during([&] {
        const int fd = file.open();
        expectFailure<IOFileException>(headerWrite(EDQUOT),
                                       [&] { ChunkStartHeader(2, 3).writeFD(fd); });
        ::close(fd);
    });
}

TEST_F(ShortWrites, WhatACancelledThreadWroteOfAChunkIsCutByTheNextCall) {
    DATAIO_SKIP_CANCELLATION_IF_SANITIZED();
    for (const bool atOnce : {true, false}) {
        FDChunkWriter writer;
        FaultLayer layer(file.path(), {torn(20, ECANCELED)});
        EXPECT_TRUE(isCancelled([&] {
            layer.during([&] {
                writer.fileDes(file.open());
                EXPECT_TRUE(writer.seekEnd());
                add(writer, 2, hundred);
                ADD_FAILURE() << "not cancelled";
            });
        }));
        EXPECT_EQ(file.size(), 56);
        EXPECT_EQ(writer.tell(), 36U);
        if (!atOnce) {
            EXPECT_TRUE(writer.seekEnd());
            EXPECT_EQ(file.bytes(), sound);
        }
        EXPECT_EQ(add(writer, 5, "i"), 36);
        EXPECT_EQ(file.bytes(), sound + chunk(5, "i"));
        file.resize(36);
    }
}

/// The system moves at most 0x7ffff000 bytes in a call. The null device takes them without looking.
TEST(LargeChunks, AreWrittenInPieces) {
    constexpr size_t size = 0x80000000;
    void* const payload =
        mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(payload, MAP_FAILED);
    FDChunkWriter writer;
    writer.fileDes(::open("/dev/null", O_RDWR));
    EXPECT_EQ(writer.addChunk(2, payload, size), 0);
    EXPECT_EQ(writer.cursor(), qint64{size} + 32);
    munmap(payload, size);
}

}  // namespace
