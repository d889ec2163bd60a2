#include <libDataIO/filereader.h>

#include <QFileInfo>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <type_traits>

#include <tests/support/expectfailure.h>
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
    EXPECT_EQ(reader.chunkSize(), 0u);
    expectFailure<IOFileException>({"dataio.mmapchunkreader", FILESYSTEM, "MM_D_NODATA",
                                    QStringLiteral("No data availlable.")},
                                   [&] { reader.data(); });
}

QByteArray payload(FileReader& reader) {
    return QByteArray(static_cast<const char*>(reader.data()), reader.chunkSize());
}

Failure fileFailure(const char* code, QString const& path, int error) {
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
    EXPECT_EQ(reader.chunkSize(), 0u);
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
    for (QString const& path : {QFileInfo(file.path()).path(), fifo}) {
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

}  // namespace
