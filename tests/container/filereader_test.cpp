// Opening and closing files for reading; the moves themselves are tested with the mapped reader.

#include <libDataIO/filereader.h>

#include <QFileInfo>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <type_traits>

#include <tests/support/expectfailure.h>
#include <tests/support/faultlayer.h>
#include <tests/support/limits.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

static_assert(!std::is_copy_constructible_v<FileReader>);
static_assert(!std::is_copy_assignable_v<FileReader>);

void expectWithoutFile(FileReader& reader) {
    EXPECT_FALSE(reader.openned());
    EXPECT_FALSE(reader.rewind());
    EXPECT_FALSE(reader.seekEnd());
    EXPECT_FALSE(reader.seek(0));
    EXPECT_FALSE(reader.nextChunk(2));
    EXPECT_FALSE(reader.prevChunk(2));
    EXPECT_EQ(reader.chunkSize(), 0U);
    expectFailure<IOFileException>({"dataio.mmapchunkreader", FILESYSTEM, "MM_D_NODATA",
                                    QStringLiteral("No data availlable.")},
                                   [&] { reader.data(); });
}

QByteArray payload(FileReader& reader) {
    return QByteArray(static_cast<const char*>(reader.data()), reader.chunkSize());
}

Failure fileFailure(const char* code, const QString& path, int error) {
    return {"dataio.filereader", FILESYSTEM, code,
            QStringLiteral("File ") + path + systemError(" : ", error)};
}

TEST(FileReader, WithoutAFileMovesAreFalseAndDataThrows) {
    FileReader reader;
    expectWithoutFile(reader);
    reader.closeFile();
    expectWithoutFile(reader);
}

TEST(FileReader, OpensAtTheStartAndForwardsMoves) {
    const ScratchFile file(chunk(2, "aaaa") + chunk(5, "bb"));
    FileReader reader;
    reader.openFile(file.path());
    EXPECT_TRUE(reader.openned());
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(payload(reader), "aaaa");
    ASSERT_TRUE(reader.seekEnd());
    EXPECT_EQ(reader.chunkSize(), 0U);
    ASSERT_TRUE(reader.prevChunk(5));
    EXPECT_EQ(payload(reader), "bb");
    ASSERT_TRUE(reader.rewind());
    ASSERT_TRUE(reader.nextChunk(2));
    ASSERT_TRUE(reader.seek(36));
    ASSERT_TRUE(reader.nextChunk(5));
    EXPECT_EQ(payload(reader), "bb");
    reader.closeFile();
    expectWithoutFile(reader);
}

TEST(FileReader, OpeningAgainDropsTheFileBefore) {
    const ScratchFile first(chunk(2, "aaaa"));
    const ScratchFile second(chunk(6, "zz"));
    FileReader reader;
    reader.openFile(first.path());
    ASSERT_TRUE(reader.nextChunk(2));
    reader.openFile(second.path());
    ASSERT_TRUE(reader.nextChunk(6));
    EXPECT_EQ(payload(reader), "zz");
}

TEST(FileReader, APathToNothingIsAStatFailureAndLeavesNoFile) {
    const ScratchFile file(chunk(2, "aaaa"));
    FileReader reader;
    reader.openFile(file.path());
    const QString path = file.sibling("missing");
    expectFailure<IOFileException>(fileFailure("FR_OF_STAT", path, ENOENT),
                                   [&] { reader.openFile(path); });
    expectWithoutFile(reader);
}

TEST(FileReader, APathWithANulInsideNamesNoFile) {
    const ScratchFile file(chunk(2, "aaaa"));
    const QString path = file.path() + QChar(0) + QStringLiteral("more");
    FileReader reader;
    expectFailure<IOFileException>(fileFailure("FR_OF_STAT", path, ENOENT),
                                   [&] { reader.openFile(path); });
}

TEST(FileReader, ADirectoryAndAPipeAreNoRegularFiles) {
    const ScratchFile file(chunk(2, "aaaa"));
    const QString fifo = file.sibling("fifo");
    ASSERT_EQ(::mkfifo(fifo.toLocal8Bit().constData(), 0600), 0);
    FileReader reader;
    for (const QString& path : {QFileInfo(file.path()).path(), fifo}) {
        reader.openFile(file.path());
        expectFailure<IOFileException>(
            {"dataio.filereader", FILESYSTEM, "FR_OF_REGFILE",
             QStringLiteral("File ") + path + QStringLiteral(" is not a regular file.")},
            [&] { reader.openFile(path); });
        expectWithoutFile(reader);
    }
}

TEST(FileReader, AFileThatMayNotBeReadIsAnOpenFailure) {
    DATAIO_SKIP_IF_SANITIZED();
    // The administrator may read anything, but nobody has a descriptor too many.
    const ScratchFile file(chunk(2, "aaaa"));
    FileReader reader;
    reader.openFile(file.path());
    const SoftLimit noMoreDescriptors(RLIMIT_NOFILE, 0);
    expectFailure<IOFileException>(fileFailure("FR_OF_OPEN", file.path(), EMFILE),
                                   [&] { reader.openFile(file.path()); });
    expectWithoutFile(reader);
}

TEST(FileReader, NamesOutsideAsciiAreFound) {
    const ScratchFile file;
    const QString path = file.sibling("x") + QStringLiteral("\u00e9\u4e2d");
    writeFile(path, chunk(2, "aaaa"));
    FileReader reader;
    reader.openFile(path);
    EXPECT_TRUE(reader.nextChunk(2));
}

TEST(FileReader, DescriptorsAreNotInherited) {
    const ScratchFile file(chunk(2, "aaaa"));
    const int next = file.open();
    ::close(next);
    FileReader reader;
    reader.openFile(file.path());
    EXPECT_EQ(::fcntl(next, F_GETFD), FD_CLOEXEC) << "expected the lowest free descriptor";
    reader.closeFile();
    EXPECT_EQ(::fcntl(next, F_GETFD), -1);
}

TEST(FileReader, AFileThatCannotBeReleasedStaysOpen) {
    const ScratchFile file(chunk(2, "aaaa"));
    FileReader reader;
    reader.openFile(file.path());
    ASSERT_TRUE(reader.nextChunk(2));
    {
        const FailingCalls stuck(Call::Unmap, EINVAL);
        expectFailure<CriticalException>({"dataio.mmapchunkreader", SYSCALL, "MM_UNMAP",
                                          systemError("Could not clear previous buffer: ", EINVAL)},
                                         [&] { reader.closeFile(); });
    }
    EXPECT_TRUE(reader.openned());
    QByteArray copy;
    EXPECT_TRUE(reader.readLast(2, copy));
    EXPECT_EQ(copy, "aaaa");
    reader.closeFile();
    expectWithoutFile(reader);
}

/// Payloads that are read instead of being looked at.
class PayloadCopies : public testing::Test {
protected:
    void openOver(const QByteArray& bytes) {
        file.put(0, bytes);
        reader.openFile(file.path());
    }
    bool readLast(unsigned int type) { return reader.readLast(type, copy); }
    bool readAt(qint64 offset, unsigned int type) { return reader.readAt(offset, type, copy); }

    ScratchFile file;
    FileReader reader;
    QByteArray copy = "untouched";
};

Failure boundFailure(const char* code) {
    return {"dataio.mmapchunkreader", SOFTWARE, code,
            QStringLiteral("Chunk exceeds file, file may be corrupted.")};
}

Failure dataFailure(const char* code) {
    return {"dataio.mmapchunkreader", SYSCALL, code, systemError("Could not read data: ", EIO)};
}

TEST_F(PayloadCopies, OfTheLastChunkAndOfAnyOther) {
    openOver(chunk(2, "aaaa") + chunk(2, {}) + chunk(5, "bb"));
    ASSERT_TRUE(readLast(5));
    EXPECT_EQ(copy, "bb");
    ASSERT_TRUE(readAt(0, 2));
    EXPECT_EQ(copy, "aaaa");
    ASSERT_TRUE(readAt(36, 2));
    EXPECT_EQ(copy, "");
    ASSERT_TRUE(readAt(68, 5));
    EXPECT_EQ(copy, "bb");
}

TEST_F(PayloadCopies, LeaveTheCurrentChunkAndTheCursor) {
    openOver(chunk(2, "aaaa") + chunk(2, "cccc") + chunk(5, "bb"));
    ASSERT_TRUE(reader.nextChunk(2));
    const void* const current = reader.data();
    file.put(file.size(), chunk(2, QByteArray(1 << 20, 'g')) + chunk(5, "grown"));
    ASSERT_TRUE(readLast(5));
    EXPECT_EQ(copy, "grown");
    ASSERT_TRUE(readAt(36, 2));
    EXPECT_EQ(reader.data(), current);
    EXPECT_EQ(payload(reader), "aaaa");
    ASSERT_TRUE(reader.nextChunk(2));
    EXPECT_EQ(payload(reader), "cccc");
}

TEST_F(PayloadCopies, ThereAreNoneOfAnotherTypeNorWhereTheFileEnds) {
    openOver(chunk(2, "aaaa"));
    EXPECT_FALSE(readLast(5));
    EXPECT_FALSE(readAt(0, 5));
    EXPECT_FALSE(readAt(36, 2));
    EXPECT_FALSE(readAt(-1, 2));
    EXPECT_EQ(copy, "untouched");
    file.resize(0);
    EXPECT_FALSE(readLast(2));
    reader.closeFile();
    EXPECT_FALSE(readLast(2));
    EXPECT_FALSE(readAt(0, 2));
    EXPECT_EQ(copy, "untouched");
}

TEST_F(PayloadCopies, OfChunksThatLeaveTheFileAreRefused) {
    openOver(startHeader(2, 5) + "aaaa" + endHeader(2, 5));
    expectFailure<IOFileException>(boundFailure("MM_CR_BOUND"), [&] { readLast(2); });
    openOver(startHeader(2, 0xffffffff) + "aaaa" + endHeader(2, 4));
    expectFailure<IOFileException>(boundFailure("MM_NC_BOUND"), [&] { readAt(0, 2); });
    openOver(chunk(2, "aaaa") + QByteArray(40, 'x'));
    const Failure unparsable{"dataio.chunkheader", SOFTWARE, "CHB_LFD_PARSE",
                             QStringLiteral("Cannot read chunk header, file may be corrupted.")};
    expectFailure<IOFileException>(unparsable, [&] { readLast(2); });
    expectFailure<IOFileException>(unparsable, [&] { readAt(36, 2); });
    EXPECT_EQ(copy, "untouched");
}

TEST_F(PayloadCopies, FailAsMovesDo) {
    openOver(chunk(2, "aaaa"));
    const auto failing = [&](Call call, int skip, const Failure& expected, auto action) {
        const FailingCalls faults(call, EIO, skip);
        expectFailure<IOFileException>(expected, action);
        EXPECT_EQ(faults.hits(), 1);
    };
    const auto last = [&] { readLast(2); };
    const auto at = [&] { readAt(0, 2); };
    const Failure noSeek{"dataio.chunkheader", SYSCALL, "CHB_LFD_SEEK",
                         systemError("Could not seek data: ", EIO)};
    const Failure noHeader{"dataio.chunkheader", SYSCALL, "CHB_LDF_READ",
                           systemError("Could not read chunk header data: ", EIO)};
    failing(Call::Seek, 0,
            {"dataio.mmapchunkreader", SYSCALL, "MM_SE_SEEK",
             systemError("Could not reach end of file: ", EIO)},
            last);
    failing(Call::Seek, 1, noSeek, last);
    failing(Call::Read, 0, noHeader, last);
    failing(Call::Read, 1, dataFailure("MM_CR_MMAP"), last);
    failing(Call::Seek, 0, noSeek, at);
    failing(Call::Read, 0, noHeader, at);
    failing(Call::Stat, 0, dataFailure("MM_NC_MMAP"), at);
    failing(Call::Read, 1, dataFailure("MM_NC_MMAP"), at);
}

}  // namespace
