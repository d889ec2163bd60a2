// Chunks that are written over in place, and what stands there when the process or the disk fails
// in between.

#include <libDataIO/fdchunkwriter.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include <tests/support/expectfailure.h>
#include <tests/support/failures.h>
#include <tests/support/faultlayer.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

class ReplacedChunk : public testing::Test {
protected:
    void SetUp() override {
        file.put(0, before);
        writer = std::make_unique<FDChunkWriter>();
        writer->fileDes(file.open());
    }

    /// Replaces the second chunk, with a writer of its own, while calls fail.
    bool replaceDuring(const std::vector<Fault>& faults) {
        writer = std::make_unique<FDChunkWriter>();
        layer.reset();  // only one at a time
        layer = std::make_unique<FaultLayer>(file.path(), faults);
        bool isReplaced = false;
        layer->during([&] {  // which knows the file by its opening
            writer->fileDes(file.open());
            isReplaced = writer->replaceChunk(36, 2, "BBBBBBBB", 8);
        });
        return isReplaced;
    }

    void expectRefused(const std::vector<Fault>& faults, const Failure& failure) {
        expectFailure<IOFileException>(failure, [&] { replaceDuring(faults); });
        EXPECT_GT(layer->hits(), 0);
        EXPECT_EQ(writer->tell(), 0U);
    }

    void expectNextTryToSucceed() {
        layer->lift();
        EXPECT_TRUE(writer->replaceChunk(36, 2, "BBBBBBBB", 8));
        EXPECT_EQ(file.bytes(), after);
        EXPECT_EQ(writer->tell(), 76U);
    }

    const QByteArray first = chunk(2, "aaaa");
    const QByteArray last = chunk(5, "cc");
    const QByteArray before = first + chunk(2, "bbbbbbbb") + last;
    const QByteArray after = first + chunk(2, "BBBBBBBB") + last;
    const QByteArray header = chunk(2, "bbbbbbbb").first(16);
    const QByteArray nothing = QByteArray(16, '\0');
    ScratchFile file;
    std::unique_ptr<FaultLayer> layer;
    std::unique_ptr<FDChunkWriter> writer;
};

TEST_F(ReplacedChunk, TakesThePlaceOfTheOldOneAndTheCursorStandsBehindIt) {
    EXPECT_TRUE(writer->replaceChunk(36, 2, "BBBBBBBB", 8));
    EXPECT_EQ(file.bytes(), after);
    EXPECT_EQ(writer->tell(), 76U);
}

TEST_F(ReplacedChunk, NothingIsWrittenWhereNoSuchChunkStands) {
    EXPECT_FALSE(writer->replaceChunk(36, 2, "BBBBBBBBB", 9));
    EXPECT_FALSE(writer->replaceChunk(36, 3, "BBBBBBBB", 8));
    EXPECT_FALSE(writer->replaceChunk(37, 2, "BBBBBBBB", 8));
    EXPECT_FALSE(writer->replaceChunk(110, 2, "BBBBBBBB", 8));
    EXPECT_EQ(file.bytes(), before);
    EXPECT_EQ(writer->tell(), 0U);
}

TEST_F(ReplacedChunk, ChunkThatCannotBeReadIsNotTakenForItsAbsence) {
    for (int position : {1, 2}) {
        expectRefused({{Call::Read, position, {EIO, 0}}},
                      {"dataio.fdchunkwriter", SYSCALL, "FDCW_HC_READ",
                       systemError("Could not read chunk header data: ", EIO)});
        EXPECT_EQ(file.bytes(), before);
    }
    expectNextTryToSucceed();
}

TEST_F(ReplacedChunk, PlaceThatCannotBeSoughtStaysAsItWas) {
    expectRefused({{Call::Seek, 1, {EIO, 0}}},
                  {"dataio.fdchunkwriter", SOFTWARE, "FDCW_AC_SEEK",
                   QStringLiteral("Cannot seek in file before writing data.")});
    EXPECT_EQ(file.bytes(), before);
    expectNextTryToSucceed();
}

TEST_F(ReplacedChunk, OldOneStaysAsLongAsNothingOfThePayloadWasWritten) {
    // The end header is broken by the first write; the second brings the new chunk.
    const std::vector<Fault> faults{{Call::Write, 1, {ENOSPC, 0}},
                                    {Call::Write, 1, {0, 8, ENOSPC}},
                                    {Call::Write, 2, {ENOSPC, 0}},
                                    {Call::Write, 2, {0, 8, ENOSPC}},
                                    {Call::Write, 2, {0, 16, ENOSPC}}};
    for (const Fault& fault : faults) {
        SCOPED_TRACE(fault.text());
        const bool inPayload = fault.effect.bytes == 16;
        expectRefused({fault}, inPayload ? payloadWrite(ENOSPC) : headerWrite(ENOSPC));
        EXPECT_EQ(file.bytes(), before);
    }
    expectNextTryToSucceed();
}

// This is also what stands there when the process is killed at that moment.
TEST_F(ReplacedChunk, HalfWrittenOneHasNoEndHeader) {
    expectRefused({{Call::Write, 2, {0, 20, EIO}}, {Call::Write, 4, {EIO, 0}}}, payloadWrite(EIO));
    EXPECT_EQ(file.bytes(), first + header + "BBBBbbbb" + nothing + last);
    expectNextTryToSucceed();
}

// A reader that is led there by an index looks at the start header alone.
TEST_F(ReplacedChunk, HalfWrittenOneLosesItsStartHeaderToo) {
    expectRefused({{Call::Write, 2, {0, 20, EIO}}}, payloadWrite(EIO));
    EXPECT_EQ(file.bytes(), first + nothing + "BBBBbbbb" + nothing + last);
    layer->lift();
    EXPECT_FALSE(writer->replaceChunk(36, 2, "BBBBBBBBB", 9));
    EXPECT_FALSE(writer->replaceChunk(36, 5, "BBBBBBBB", 8));
    expectNextTryToSucceed();
}

TEST_F(ReplacedChunk, HalfWrittenOneStaysADamagedPlaceWhenTheNextTryFailsBeforeThePayload) {
    expectRefused({{Call::Write, 2, {0, 20, EIO}}, {Call::Write, 6, {0, 16, EIO}}},
                  payloadWrite(EIO));
    layer->during([&] {
        expectFailure<IOFileException>(payloadWrite(EIO),
                                       [&] { writer->replaceChunk(36, 2, "BBBBBBBB", 8); });
    });
    EXPECT_EQ(file.bytes(), first + nothing + "BBBBbbbb" + nothing + last);
    expectNextTryToSucceed();
}

TEST_F(ReplacedChunk, OldOneWhoseEndHeaderCannotBeMendedIsADamagedPlace) {
    expectRefused({{Call::Write, 2, {EIO, 0}, 2}}, headerWrite(EIO));
    EXPECT_EQ(file.bytes(), first + header + "bbbbbbbb" + nothing + last);
    expectNextTryToSucceed();
    EXPECT_TRUE(writer->replaceChunk(36, 2, "bbbbbbbb", 8)) << "it is a whole one again";
    EXPECT_EQ(file.bytes(), before);
}

TEST_F(ReplacedChunk, NextTryWritesWhereTheOldOneBeganAndNowhereElse) {
    expectRefused({{Call::Write, 2, {0, 20, EIO}}}, payloadWrite(EIO));
    layer->lift();
    EXPECT_FALSE(writer->replaceChunk(36, 2, "BBBBBBBBB", 9));
    EXPECT_FALSE(writer->replaceChunk(36, 5, "BBBBBBBB", 8));
    EXPECT_EQ(file.bytes(), first + nothing + "BBBBbbbb" + nothing + last);
    expectNextTryToSucceed();
}

TEST_F(ReplacedChunk, OnceWholeAgainItsEndHeaderCountsAgain) {
    expectRefused({{Call::Write, 2, {0, 20, EIO}}}, payloadWrite(EIO));
    expectNextTryToSucceed();
    file.put(60, nothing);
    EXPECT_FALSE(writer->replaceChunk(36, 2, "bbbbbbbb", 8));
}

TEST_F(ReplacedChunk, OtherWriterDoesNotTakeADamagedPlaceForAChunk) {
    expectRefused({{Call::Write, 2, {0, 20, EIO}}}, payloadWrite(EIO));
    layer->lift();
    FDChunkWriter other;
    other.fileDes(file.open());
    EXPECT_FALSE(other.replaceChunk(36, 2, "BBBBBBBB", 8));
}

TEST_F(ReplacedChunk, InterruptedCallsAreMadeAgain) {
    for (int position : {1, 2}) {
        file.put(0, before);
        EXPECT_TRUE(replaceDuring({{Call::Write, position, {EINTR, 0}, 3}}));
        EXPECT_EQ(file.bytes(), after);
        EXPECT_TRUE(replaceDuring({{Call::Write, position, {0, 3}}}));
        EXPECT_EQ(file.bytes(), after);
    }
}

}  // namespace
