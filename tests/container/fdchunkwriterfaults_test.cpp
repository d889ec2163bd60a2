// What the writer leaves behind when the system fails it.

#include <libDataIO/fdchunkwriter.h>

#include <gtest/gtest.h>

#include <limits>
#include <memory>

#include <tests/support/addchunk.h>
#include <tests/support/expectfailure.h>
#include <tests/support/failures.h>
#include <tests/support/faultlayer.h>
#include <tests/support/limits.h>
#include <tests/support/scratchfile.h>
#include <tests/support/translated.h>

using namespace mz;
using namespace mz::test;

namespace {

Failure writerFailure(const char* code, const char* prefix, int error) {
    return {"dataio.fdchunkwriter", SYSCALL, code, systemError(prefix, error)};
}

const Failure cannotSeek{"dataio.fdchunkwriter", SOFTWARE, "FDCW_AC_SEEK",
                         QStringLiteral("Cannot seek in file before writing data.")};

class FailingWriter : public testing::Test {
protected:
    void openOver(const QByteArray& bytes) {
        file.put(0, bytes);
        writer = std::make_unique<FDChunkWriter>();
        writer->fileDes(file.open());
        ASSERT_TRUE(writer->seekEnd());
    }
    /// Writes a chunk of 100 bytes into a file with room for `room` bytes more.
    void addWithRoomFor(qint64 room, const Failure& expected) {
        const FileSizeLimit limit(static_cast<rlim_t>(file.size() + room));
        expectFailure<IOFileException>(expected, [&] { add(*writer, 2, hundred); });
    }

    const QByteArray hundred = QByteArray(100, 'x');
    const QByteArray sound = chunk(2, "aaaa");
    ScratchFile file;
    std::unique_ptr<FDChunkWriter> writer;
};

TEST_F(FailingWriter, AnEndIsMarkedWholeOrNotAtAll) {
    openOver(sound);
    for (qint64 room = 0; room < 16; ++room) {
        const FileSizeLimit limit(static_cast<rlim_t>(file.size() + room));
        expectFailure<IOFileException>(headerWrite(EFBIG), [&] { writer->markUnfinishedEnd(); });
        EXPECT_EQ(file.bytes(), sound) << room;
        EXPECT_EQ(writer->tell(), 36U) << room;
    }
    writer->markUnfinishedEnd();
    EXPECT_EQ(file.bytes(), sound + startHeader(5, 0xffffffff));
    EXPECT_EQ(writer->tell(), 52U);
}

TEST_F(FailingWriter, WritesWhatNoIndexListsBeyondWhatOneCanAddress) {
    openOver(sound);
    const qint64 beyond = (qint64{1} << 32) + 5;
    ASSERT_TRUE(writer->seek(beyond));
    expectFailure<IOFileException>(payloadWrite(EFBIG), [&] { add(*writer, 5, "info"); });
    EXPECT_EQ(file.size(), sound.size());
    writer->addUnlistedChunk(5, "info", 4);
    EXPECT_EQ(file.size(), beyond + 36);
    EXPECT_EQ(writer->cursor(), beyond + 36);
    ASSERT_TRUE(writer->prevChunk(5));
    EXPECT_EQ(QByteArray(static_cast<const char*>(writer->data()), 4), "info");
    const qint64 end = file.size();
    ASSERT_TRUE(writer->seekEnd());
    for (qint64 room = 0; room < 36; ++room) {
        const FileSizeLimit limit(static_cast<rlim_t>(end + room));
        const LogCapture quiet;
        EXPECT_THROW(writer->addUnlistedChunk(5, "more", 4), IOFileException);
        EXPECT_EQ(file.size(), end);
    }
}

TEST_F(FailingWriter, AWriteThatStopsAnywhereLeavesNoByteOfTheChunk) {
    openOver(sound);
    for (qint64 room = 0; room < 132; ++room) {
        const bool inPayload = room >= 16 && room < 116;
        addWithRoomFor(room, inPayload ? payloadWrite(EFBIG) : headerWrite(EFBIG));
        EXPECT_EQ(file.bytes(), sound) << room;
        EXPECT_EQ(writer->tell(), 36U) << room;
    }
    // The same call succeeds when there is room again.
    EXPECT_EQ(add(*writer, 2, hundred), 36);
    EXPECT_EQ(file.bytes(), sound + chunk(2, hundred));
}

TEST_F(FailingWriter, AnEmptyChunkFailsInItsHeadersOnly) {
    openOver(sound);
    for (qint64 room = 0; room < 32; ++room) {
        const FileSizeLimit limit(static_cast<rlim_t>(36 + room));
        expectFailure<IOFileException>(headerWrite(EFBIG), [&] { add(*writer, 2, {}); });
    }
    EXPECT_EQ(file.bytes(), sound);
}

TEST_F(FailingWriter, AFullDeviceIsTheHeadersFailure) {
    FDChunkWriter full;
    full.fileDes(::open("/dev/full", O_RDWR));
    for (int attempt = 0; attempt < 2; ++attempt)
        expectFailure<IOFileException>(headerWrite(ENOSPC), [&] { add(full, 2, hundred); });
    EXPECT_EQ(full.tell(), 0U);
}

TEST_F(FailingWriter, BytesThatStoodThereAreNotCut) {
    const QByteArray tail = chunk(2, QByteArray(200, 'b'));
    openOver(sound + tail);
    ASSERT_TRUE(writer->seek(36));
    addWithRoomFor(-150, payloadWrite(EFBIG));
    EXPECT_EQ(file.size(), 36 + tail.size());
    EXPECT_EQ(file.bytes().left(36), sound);
    EXPECT_EQ(writer->tell(), 36U);

    // Partly over what stood there, partly beyond it.
    ASSERT_TRUE(writer->seek(file.size() - 50));
    addWithRoomFor(20, payloadWrite(EFBIG));
    EXPECT_EQ(file.size(), 36 + tail.size());
}

TEST_F(FailingWriter, AHoleInFrontOfATornChunkIsCutWithIt) {
    openOver(sound);
    ASSERT_TRUE(writer->seek(1000));
    addWithRoomFor(1000, payloadWrite(EFBIG));
    EXPECT_EQ(file.bytes(), sound);
}

TEST_F(FailingWriter, ATornChunkThatCannotBeCutAtOnceIsCutBeforeTheNextWrite) {
    openOver(sound);
    {
        const FailingCalls uncut(Call::Truncate, EIO);
        addWithRoomFor(50, payloadWrite(EFBIG));
        EXPECT_EQ(uncut.hits(), 1);
    }
    EXPECT_EQ(file.size(), 86);
    EXPECT_EQ(add(*writer, 5, "i"), 36);
    EXPECT_EQ(file.bytes(), sound + chunk(5, "i"));
}

TEST_F(FailingWriter, WhileATornChunkCannotBeCutNothingIsWritten) {
    openOver(sound);
    const FailingCalls uncut(Call::Truncate, EIO, 0, 4);
    addWithRoomFor(50, payloadWrite(EFBIG));
    expectFailure<IOFileException>(payloadWrite(EIO), [&] { add(*writer, 5, "i"); });
    EXPECT_FALSE(writer->seekEnd());
    EXPECT_EQ(writer->tell(), 36U);
    expectFailure<IOFileException>(
        writerFailure("FDCW_TRUNC", "Error while removing old index chunk:", EIO),
        [&] { writer->truncateFile(); });
    EXPECT_EQ(uncut.hits(), 4);
    EXPECT_EQ(file.size(), 86);
    EXPECT_TRUE(writer->seekEnd());
    EXPECT_EQ(writer->tell(), 36U);
    EXPECT_EQ(file.bytes(), sound);
}

TEST_F(FailingWriter, TruncateCutsATornChunkWhereverTheCursorIs) {
    openOver(sound);
    {
        const FailingCalls uncut(Call::Truncate, EIO);
        addWithRoomFor(50, payloadWrite(EFBIG));
    }
    ASSERT_TRUE(writer->seek(60));
    writer->truncateFile();
    EXPECT_EQ(file.bytes(), sound + QByteArray(24, '\0'));
}

TEST_F(FailingWriter, ClosingAndDestructionCutATornChunk) {
    for (const bool close : {true, false}) {
        openOver(sound);
        {
            const FailingCalls uncut(Call::Truncate, EIO);
            addWithRoomFor(50, payloadWrite(EFBIG));
        }
        EXPECT_EQ(file.size(), 86);
        if (close) writer->closeFile();
        writer.reset();
        EXPECT_EQ(file.bytes(), sound);
    }
}

TEST_F(FailingWriter, AnotherFileIsNotCutForATornChunkOfThisOne) {
    FDChunkWriter other;
    const int first = file.open();
    other.fileDes(first);
    {
        const FailingCalls uncut(Call::Truncate, EIO);
        const FileSizeLimit limit(50);
        expectFailure<IOFileException>(payloadWrite(EFBIG), [&] { add(other, 2, hundred); });
    }
    const ScratchFile second(QByteArray(500, 'o'));
    other.fileDes(second.open());
    ASSERT_TRUE(other.seekEnd());
    EXPECT_EQ(other.tell(), 500U);
    EXPECT_EQ(second.size(), 500);
    ::close(first);
}

TEST_F(FailingWriter, ALengthThatIsNotToldAfterAFailureIsAskedForAgain) {
    openOver(sound);
    {
        const FailingCalls silent(Call::Stat, EIO);
        addWithRoomFor(50, payloadWrite(EFBIG));
        EXPECT_EQ(silent.hits(), 1);
    }
    EXPECT_TRUE(writer->seekEnd());
    EXPECT_EQ(file.bytes(), sound);
}

TEST_F(FailingWriter, ACursorThatCannotBeReachedWritesNothing) {
    openOver(sound);
    for (const int before : {0, 1}) {  // to the end, whose position is asked for, and to the cursor
        const FailingCalls failing(Call::Seek, EIO, before);
        expectFailure<IOFileException>(cannotSeek, [&] { add(*writer, 2, hundred); });
        EXPECT_EQ(failing.hits(), 1);
        EXPECT_EQ(file.bytes(), sound);
        EXPECT_EQ(writer->tell(), 36U);
    }
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    FDChunkWriter pipeWriter;
    pipeWriter.fileDes(ends[1]);
    expectFailure<IOFileException>(cannotSeek, [&] { add(pipeWriter, 2, hundred); });
    ::close(ends[0]);
}

TEST_F(FailingWriter, AReadOnlyDescriptorCannotBeWritten) {
    file.put(0, sound);
    FDChunkWriter reading;
    reading.fileDes(file.open(O_RDONLY));
    expectFailure<IOFileException>(headerWrite(EBADF), [&] { add(reading, 2, hundred); });
    EXPECT_EQ(file.bytes(), sound);
}

TEST_F(FailingWriter, ATranslatorDoesNotChangeTheReason) {
    const Translated translated(ENOTTY);
    file.put(0, sound);
    FDChunkWriter reading;
    reading.fileDes(file.open(O_RDONLY));
    expectFailure<IOFileException>(
        writerFailure("FDCW_TRUNC", "QObject: Error while removing old index chunk:", EINVAL),
        [&] { reading.truncateFile(); });
}

TEST_F(FailingWriter, InterruptedCallsAreMadeAgain) {
    openOver(sound);
    {
        const FailingCalls interrupted(Call::Write, EINTR, 0, 3);
        EXPECT_EQ(add(*writer, 2, "bb"), 36);
        EXPECT_EQ(interrupted.hits(), 3);
    }
    EXPECT_EQ(file.bytes(), sound + chunk(2, "bb"));
    {
        const FailingCalls interrupted(Call::Read, EINTR, 1, 3);
        ASSERT_TRUE(writer->prevChunk(2));
        EXPECT_EQ(interrupted.hits(), 3);
    }
    const FailingCalls interrupted(Call::Truncate, EINTR, 0, 3);
    writer->truncateFile();
    EXPECT_EQ(file.bytes(), sound);
}

TEST_F(FailingWriter, FailedStepsForwardLeaveTheCursor) {
    openOver(sound + chunk(5, "bb"));
    ASSERT_TRUE(writer->seek(0));
    ASSERT_TRUE(writer->nextChunk(2));
    ASSERT_TRUE(writer->seek(0));
    const char* const readPrefix = "Could not read next chunk data: ";
    {
        const FailingCalls seek(Call::Seek, EIO, 1);  // the first one goes to the header
        expectFailure<IOFileException>(
            writerFailure("FDCW_NC_SEEK", "Cannot perform a seek in file: ", EIO),
            [&] { writer->nextChunk(5); });
    }
    {
        const FailingCalls read(Call::Read, EIO, 1);  // the first one is the header's
        expectFailure<IOFileException>(writerFailure("FDCW_NC_READ", readPrefix, EIO),
                                       [&] { writer->nextChunk(2); });
    }
    EXPECT_EQ(writer->chunkSize(), 4U);
    EXPECT_EQ(std::memcmp(writer->data(), "\0\0\0\0", 4), 0);
    {
        const FailingCalls silent(Call::Stat, EIO);
        expectFailure<IOFileException>(writerFailure("FDCW_NC_READ", readPrefix, EIO),
                                       [&] { writer->nextChunk(2); });
    }
    EXPECT_EQ(writer->tell(), 0U);
    ASSERT_TRUE(writer->nextChunk(2));
    EXPECT_EQ(std::memcmp(writer->data(), "aaaa", 4), 0);
}

TEST_F(FailingWriter, FailedStepsBackLeaveTheCursor) {
    openOver(sound + chunk(5, "bb"));
    {
        const FailingCalls seek(Call::Seek, EIO, 1);
        expectFailure<IOFileException>(
            writerFailure("FDCW_PC_SEEK1", "Cannot perform a seek in file: ", EIO),
            [&] { writer->prevChunk(2); });
    }
    const char* const readPrefix = "Could not read previous chunk data: ";
    {
        const FailingCalls seek(Call::Seek, EIO, 1);
        expectFailure<IOFileException>(writerFailure("FDCW_PC_SEEK2", readPrefix, EIO),
                                       [&] { writer->prevChunk(5); });
    }
    {
        const FailingCalls read(Call::Read, EIO, 1);
        expectFailure<IOFileException>(writerFailure("FDCW_PC_READ", readPrefix, EIO),
                                       [&] { writer->prevChunk(5); });
    }
    EXPECT_EQ(writer->chunkSize(), 2U);
    EXPECT_EQ(std::memcmp(writer->data(), "\0\0", 2), 0);
    EXPECT_EQ(writer->tell(), 70U);
    ASSERT_TRUE(writer->prevChunk(5));
    EXPECT_EQ(std::memcmp(writer->data(), "bb", 2), 0);
}

TEST_F(FailingWriter, ABufferThatCannotBeHadLeavesThePayload) {
    DATAIO_SKIP_IF_SANITIZED();
    openOver(sound);
    putSparseChunk(file, 36, 2, 0x7fffff00);
    ASSERT_TRUE(writer->seek(0));
    ASSERT_TRUE(writer->nextChunk(2));
    ASSERT_TRUE(writer->seek(36));
    const AddressSpaceLimit limit(rlim_t{256} << 20);
    EXPECT_THROW(writer->nextChunk(2), std::bad_alloc);
    EXPECT_EQ(writer->tell(), 36U);
    ASSERT_EQ(writer->chunkSize(), 4U);
    EXPECT_EQ(std::memcmp(writer->data(), "aaaa", 4), 0);
}

TEST_F(FailingWriter, AFailedCloseIsToldAndTheDescriptorGivenUp) {
    openOver(sound);
    {
        const FailingCalls failing(Call::Close, EIO);
        expectFailure<IOFileException>(
            writerFailure("FDCW_CF_CLOSE", "Could not close file: ", EIO),
            [&] { writer->closeFile(); });
    }
    EXPECT_FALSE(writer->openned());
    writer->closeFile();

    // A descriptor that somebody else has closed meanwhile.
    const int fd = file.open();
    writer->fileDes(fd);
    ::close(fd);
    expectFailure<IOFileException>(writerFailure("FDCW_CF_CLOSE", "Could not close file: ", EBADF),
                                   [&] { writer->closeFile(); });
}

TEST_F(FailingWriter, AnInterruptedCloseHasClosed) {
    openOver(sound);
    const FailingCalls interrupted(Call::Close, EINTR, 0, 2);
    writer->closeFile();
    EXPECT_EQ(interrupted.hits(), 1) << "closed twice";
}

TEST_F(FailingWriter, TheDestructorIsSilent) {
    openOver(sound);
    LogCapture log;
    const FailingCalls failing(Call::Close, EIO);
    writer.reset();
    EXPECT_EQ(failing.hits(), 1);
    EXPECT_TRUE(log.records().empty());
}

}  // namespace
