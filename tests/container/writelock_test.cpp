// One writer at a time: the lock that writers hold, what happens to those who come too late, and to
// writers that a process inherits from the one that forked it off.

#include <libDataIO/filereader.h>
#include <libDataIO/filewriter.h>

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <tests/support/addchunk.h>
#include <tests/support/childprocess.h>
#include <tests/support/expectfailure.h>
#include <tests/support/faultlayer.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

const QByteArray content = chunk(2, "aaaa") + chunk(5, "bb");

Failure busy(const QString& path) {
    return {"dataio.filewriter", FILESYSTEM, "FW_OF_BUSY",
            "File " + path + " is being written by another writer."};
}

void expectBusy(const QString& path, FileWriterMode mode) {
    FileWriter writer;
    expectFailure<IOFileException>(busy(path), [&] { writer.openFile(path, mode); });
    EXPECT_FALSE(writer.openned());
    EXPECT_FALSE(writer.created());
}

/// Locks a file as another writer does.
bool takesLock(int fd) {
    struct flock whole {};
    whole.l_type = F_WRLCK;
    return ::fcntl(fd, F_OFD_SETLK, &whole) == 0;
}

class WriteLock : public testing::TestWithParam<FileWriterMode> {
protected:
    const ScratchFile file{content};
    FileWriter writer;
};

TEST_P(WriteLock, KeepsOthersFromTheFile) {
    writer.openFile(file.path(), FW_APPEND);
    expectBusy(file.path(), GetParam());
    inChild([&] { expectBusy(file.path(), GetParam()); });
    EXPECT_EQ(file.bytes(), content);
    writer.closeFile();
    FileWriter next;
    next.openFile(file.path(), GetParam());
    EXPECT_TRUE(next.openned());
}

TEST_P(WriteLock, IsOfNewFilesAsWell) {
    const QString made = file.sibling("made");
    writer.openFile(made, GetParam());
    ASSERT_TRUE(writer.created());
    add(writer, 2, "aaaa");
    expectBusy(made, FW_CREATE);
    expectBusy(made, FW_APPEND);
    EXPECT_EQ(readFile(made), chunk(2, "aaaa"));
}

TEST_P(WriteLock, EndsWithTheWriter) {
    { FileWriter{}.openFile(file.path(), GetParam()); }
    writer.openFile(file.path(), GetParam());
    writer.openFile(file.path(), FW_APPEND);
    EXPECT_TRUE(writer.openned()) << "a writer's own former lock";
}

/// Whoever opens the file first may be later with the lock.
TEST_P(WriteLock, DecidesWhoHasAFileThatTwoMake) {
    const QString made = file.sibling("made");
    int other = -1;
    {
        const Meanwhile faster(Call::Lock, 1, [&] {
            other = ::open(made.toLocal8Bit().constData(), O_RDWR);
            EXPECT_TRUE(takesLock(other));
            EXPECT_EQ(::write(other, "theirs", 6), 6);
        });
        expectBusy(made, GetParam());
        EXPECT_TRUE(faster.hasHappened());
    }
    EXPECT_EQ(readFile(made), "theirs");
    ::close(other);
}

TEST_P(WriteLock, IsTakenBeforeTheFileIsEmptied) {
    bool isFree = true;
    {
        const Meanwhile atThatTime(Call::Truncate, 1, [&] {
            const int other = file.open();
            isFree = takesLock(other);
            ::close(other);
        });
        writer.openFile(file.path(), FW_CREATE);
        EXPECT_TRUE(atThatTime.hasHappened());
    }
    EXPECT_FALSE(isFree);
}

TEST_P(WriteLock, OfAFileThatWasRemovedIsNotEnough) {
    const Meanwhile removed(Call::Lock, 1, [&] { QFile::remove(file.path()); });
    writer.openFile(file.path(), GetParam());
    EXPECT_TRUE(writer.created());
    add(writer, 2, "kept");
    EXPECT_EQ(file.bytes(), chunk(2, "kept"));
}

/// Renamed a moment later, it would be written under its new name as well.
TEST_P(WriteLock, OfAFileThatWasRenamedIsEnough) {
    const Meanwhile renamed(Call::Lock, 1,
                            [&] { QFile::rename(file.path(), file.sibling("renamed")); });
    writer.openFile(file.path(), GetParam());
    EXPECT_TRUE(renamed.hasHappened());
    EXPECT_FALSE(writer.created());
    EXPECT_FALSE(QFile::exists(file.path()));
    ASSERT_TRUE(writer.seekEnd());
    add(writer, 2, "kept");
    EXPECT_TRUE(readFile(file.sibling("renamed")).endsWith(chunk(2, "kept")));
}

TEST_P(WriteLock, IsNotMissedWhereThereAreNone) {
    for (const int error : {EINVAL, ENOLCK, EOPNOTSUPP, ENOSYS}) {
        const ScratchFile other(content);
        const FailingCalls noLocks(Call::Lock, error, 0, 3);
        FileWriter first;
        first.openFile(other.path(), FW_APPEND);
        FileWriter second;
        second.openFile(other.path(), GetParam());
        EXPECT_EQ(other.bytes(), GetParam() == FW_CREATE ? QByteArray() : content);
        FileWriter third;
        third.openFile(other.sibling("made"), GetParam());
        EXPECT_TRUE(third.created());
        EXPECT_EQ(noLocks.hits(), 3);
    }
}

TEST_P(WriteLock, IsUnseenByReaders) {
    writer.openFile(file.path(), FW_APPEND);
    FaultLayer layer(file.path());
    layer.during([&] {
        FileReader reader;
        reader.openFile(file.path());
        EXPECT_TRUE(reader.nextChunk(2));
    });
    EXPECT_EQ(layer.calls(Call::Lock), 0);
}

TEST_P(WriteLock, EndsThoughAProcessThatWasForkedOffLives) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    writer.openFile(file.path(), GetParam());
    const pid_t child = ::fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        ::close(ends[1]);
        char none = 0;
        _exit(::read(ends[0], &none, 1) == 0 ? 0 : 1);
    }
    ::close(ends[0]);
    writer.closeFile();
    FileWriter next;
    EXPECT_NO_THROW(next.openFile(file.path(), FW_APPEND));
    ::close(ends[1]);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_P(WriteLock, CostsFewCalls) {
    {
        FaultLayer existing(file.path());
        existing.during([&] { writer.openFile(file.path(), GetParam()); });
        EXPECT_EQ(existing.calls(Call::Open), 1);
        EXPECT_EQ(existing.calls(Call::Lock), 1);
        EXPECT_EQ(existing.calls(Call::Stat), 1);
        EXPECT_EQ(existing.calls(Call::Truncate), GetParam() == FW_CREATE ? 1 : 0);
    }
    const QString made = file.sibling("made");
    FaultLayer missing(made);
    missing.during([&] { writer.openFile(made, GetParam()); });
    EXPECT_EQ(missing.calls(Call::Open), 2);
    EXPECT_EQ(missing.calls(Call::Lock), 1);
    EXPECT_EQ(missing.calls(Call::Stat) + missing.calls(Call::Truncate), 0);
}

INSTANTIATE_TEST_SUITE_P(Modes, WriteLock, testing::Values(FW_CREATE, FW_APPEND),
                         [](const auto& mode) {
                             return mode.param == FW_CREATE ? "Create" : "Append";
                         });

class InheritedWriter : public testing::Test {
protected:
    InheritedWriter() { writer->openFile(file.path(), FW_APPEND); }

    /// Leaves a chunk behind the last that could neither be written whole nor cut off.
    void tearAChunk() {
        const LogCapture quiet;
        ASSERT_TRUE(writer->seekEnd());
        FaultLayer layer(file.path(), {{Call::Write, 1, {0, 20, ENOSPC}},
                                       {Call::Truncate, 1, {EIO, 0}, Fault::always}});
        // The layer knows the descriptors that it has seen opened.
        layer.during([&] { writer->openFile(file.path(), FW_APPEND); });
        layer.during([&] {
            ASSERT_TRUE(writer->seekEnd());
            EXPECT_THROW(add(*writer, 2, "torn"), IOFileException);
        });
        torn = file.bytes();
        ASSERT_GT(torn.size(), content.size());
    }

    const ScratchFile file{content};
    std::unique_ptr<FileWriter> writer = std::make_unique<FileWriter>();
    QByteArray torn;
};

TEST_F(InheritedWriter, IsGivenUpAndNothingElse) {
    EXPECT_FALSE(writer->inherited());
    tearAChunk();
    inChild([&] {
        const LogCapture log;
        EXPECT_TRUE(writer->inherited());
        const int descriptors = openDescriptors();
        writer->closeFile();
        EXPECT_FALSE(writer->openned());
        EXPECT_FALSE(writer->inherited());
        EXPECT_EQ(openDescriptors(), descriptors - 1);
        EXPECT_TRUE(log.records().empty());
    });
    EXPECT_EQ(file.bytes(), torn);
    inChild([&] {
        const int descriptors = openDescriptors();
        writer.reset();
        EXPECT_EQ(openDescriptors(), descriptors - 1);
    });
    EXPECT_EQ(file.bytes(), torn);
    expectBusy(file.path(), FW_APPEND);
    writer->closeFile();
    EXPECT_EQ(file.bytes(), content) << "the writer's own process cuts the torn chunk";
}

TEST_F(InheritedWriter, MakesNoFailureOfAFailingClose) {
    inChild([&] {
        const LogCapture log;
        const FailingCalls failing(Call::Close, EIO);
        writer->closeFile();
        EXPECT_EQ(failing.hits(), 1);
        EXPECT_TRUE(log.records().empty());
    });
}

TEST_F(InheritedWriter, MayOpenAFileOfItsOwn) {
    inChild([&] {
        writer->openFile(file.sibling("own"), FW_CREATE);
        EXPECT_FALSE(writer->inherited());
        add(*writer, 2, "own");
        writer->closeFile();
    });
    EXPECT_EQ(readFile(file.sibling("own")), chunk(2, "own"));
    EXPECT_EQ(file.bytes(), content);
}

}  // namespace
