// Opening, creating and closing files for writing, and the rights that new ones have.

#include <libDataIO/filewriter.h>

#include <QFileInfo>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <type_traits>

#include <tests/support/addchunk.h>
#include <tests/support/expectfailure.h>
#include <tests/support/limits.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

static_assert(!std::is_copy_constructible_v<FileWriter>);
static_assert(!std::is_copy_assignable_v<FileWriter>);
static_assert(FW_CREATE == 0 && FW_APPEND == 1);

void expectWithoutFile(FileWriter& writer) {
    EXPECT_FALSE(writer.openned());
    EXPECT_FALSE(writer.nextChunk(2));
    EXPECT_FALSE(writer.prevChunk(2));
    EXPECT_FALSE(writer.seek(0));
    EXPECT_FALSE(writer.seekEnd());
    EXPECT_FALSE(writer.seekPrev());
    EXPECT_EQ(writer.data(), nullptr);
    EXPECT_EQ(writer.chunkSize(), 0U);
    EXPECT_EQ(writer.tell(), 0);
    EXPECT_EQ(writer.fileSize(), -1);
    const Failure notOpen{"dataio.fdchunkwriter", SOFTWARE, "FDCW_AC_BADFD",
                          QStringLiteral("Cannot write in a non openned file.")};
    expectFailure<IOFileException>(notOpen, [&] { add(writer, 2, "aaaa"); });
    expectFailure<IOFileException>(notOpen, [&] { writer.addUnlistedChunk(2, "aaaa", 4); });
    expectFailure<IOFileException>(notOpen, [&] { writer.markUnfinishedEnd(); });
    expectFailure<IOFileException>(notOpen, [&] { writer.replaceChunk(0, 2, "aaaa", 4); });
    expectFailure<IOFileException>({"dataio.fdchunkwriter", SYSCALL, "FDCW_TRUNC",
                                    systemError("Error while removing old index chunk:", EBADF)},
                                   [&] { writer.truncate(); });
}

Failure openFailure(const char* code, const QString& path, int error) {
    return {"dataio.filewriter", SYSCALL, code,
            QStringLiteral("File ") + path + systemError(" : ", error)};
}

std::string dumped(const FileWriter& writer) {
    testing::internal::CaptureStdout();
    writer.dumpDebug();
    return testing::internal::GetCapturedStdout();
}

TEST(FileWriter, WithoutAFileEveryCallIsSafe) {
    FileWriter writer;
    EXPECT_FALSE(writer.created());
    expectWithoutFile(writer);
    writer.closeFile();
    expectWithoutFile(writer);
}

TEST(FileWriter, ANewFileIsForItsOwnerAlone) {
    for (const auto mode : {FW_CREATE, FW_APPEND}) {
        const ScratchFile file;
        const QString path = file.sibling("new");
        const mode_t mask = ::umask(0);
        FileWriter writer;
        writer.openFile(path, mode);
        ::umask(mask);
        struct stat status {};
        ASSERT_EQ(::stat(path.toLocal8Bit().constData(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0600U) << mode;
    }
}

TEST(FileWriter, CreateMakesAnEmptyFile) {
    const ScratchFile file;
    const QString path = file.sibling("new");
    FileWriter writer;
    writer.openFile(path, FW_CREATE);
    EXPECT_TRUE(writer.openned());
    EXPECT_TRUE(writer.created());
    EXPECT_EQ(writer.fileSize(), 0);
    EXPECT_EQ(add(writer, 2, "aaaa"), 0);
    EXPECT_EQ(writer.tell(), 36);
    EXPECT_EQ(writer.fileSize(), 36);
    writer.closeFile();
    EXPECT_EQ(readFile(path), chunk(2, "aaaa"));
}

TEST(FileWriter, CreateEmptiesAnExistingFile) {
    const ScratchFile file(chunk(2, "aaaa"));
    FileWriter writer;
    writer.openFile(file.path(), FW_CREATE);
    EXPECT_FALSE(writer.created());
    EXPECT_EQ(file.size(), 0);
}

TEST(FileWriter, AppendKeepsAnExistingFileAndStartsAtZero) {
    const ScratchFile file(chunk(2, "aaaa") + chunk(5, "bb"));
    FileWriter writer;
    writer.openFile(file.path(), FW_APPEND);
    EXPECT_FALSE(writer.created());
    EXPECT_EQ(writer.tell(), 0);
    EXPECT_EQ(writer.fileSize(), 70);
    ASSERT_TRUE(writer.nextChunk(2));
    EXPECT_EQ(writer.chunkSize(), 4U);
    EXPECT_EQ(std::memcmp(writer.data(), "aaaa", 4), 0);
    ASSERT_TRUE(writer.seekEnd());
    ASSERT_TRUE(writer.prevChunk(5));
    EXPECT_EQ(writer.tell(), 36);
    ASSERT_TRUE(writer.seekEnd());
    ASSERT_TRUE(writer.seekPrev());
    writer.truncate();
    EXPECT_EQ(add(writer, 2, "cccc"), 36);
    ASSERT_TRUE(writer.seek(0));
    EXPECT_EQ(add(writer, 2, "AAAA"), 0);
    writer.closeFile();
    EXPECT_EQ(file.bytes(), chunk(2, "AAAA") + chunk(2, "cccc"));
    expectWithoutFile(writer);
}

TEST(FileWriter, AppendToAMissingPathMakesAnEmptyFile) {
    const ScratchFile file;
    const QString path = file.sibling("new");
    FileWriter writer;
    writer.openFile(path, FW_APPEND);
    EXPECT_TRUE(writer.created());
    EXPECT_EQ(writer.fileSize(), 0);
    EXPECT_TRUE(QFileInfo::exists(path));
}

TEST(FileWriter, AFileIsMadeBehindLinksThatLeadToNothing) {
    for (const char* const target : {"target", "second"}) {
        const ScratchFile file;
        const QString link = file.sibling("link");
        ASSERT_EQ(::symlink(target, link.toLocal8Bit().constData()), 0);
        ASSERT_TRUE(QFile::link(file.sibling("far"), file.sibling("second")));
        FileWriter writer;
        writer.openFile(link, FW_APPEND);
        EXPECT_TRUE(writer.created());
        EXPECT_TRUE(QFileInfo::exists(link));
        writer.abandonFile(link);
        EXPECT_FALSE(QFileInfo::exists(link));
        EXPECT_TRUE(QFileInfo(link).isSymLink());
        EXPECT_FALSE(writer.openned());
    }
}

TEST(FileWriter, ALinkThatLeadsToItselfIsRefused) {
    const ScratchFile file;
    const QString link = file.sibling("link");
    ASSERT_EQ(::symlink("link", link.toLocal8Bit().constData()), 0);
    FileWriter writer;
    expectFailure<IOFileException>(openFailure("FW_OF_OPEN2", link, ELOOP),
                                   [&] { writer.openFile(link, FW_APPEND); });
}

TEST(FileWriter, OnlyAFileThatItHasMadeIsAbandoned) {
    const ScratchFile file(chunk(2, "aaaa"));
    FileWriter writer;
    writer.openFile(file.path(), FW_APPEND);
    writer.abandonFile(file.path());
    EXPECT_FALSE(writer.openned());
    EXPECT_EQ(file.bytes(), chunk(2, "aaaa"));

    const QString made = file.sibling("made");
    writer.openFile(made, FW_APPEND);
    ASSERT_TRUE(QFile::rename(made, file.sibling("moved")));
    ASSERT_TRUE(QFile::rename(file.path(), made));
    writer.abandonFile(made);
    EXPECT_EQ(readFile(made), chunk(2, "aaaa")) << "what has taken the place of the file is gone";
}

/// The number of a descriptor is given again to the next file.
TEST(FileWriter, AfterClosingNoOtherFileIsTakenForItsOwn) {
    const ScratchFile file(chunk(2, "aaaa"));
    FileWriter writer;
    writer.openFile(file.path(), FW_APPEND);
    writer.closeFile();
    const int next = file.open();
    EXPECT_EQ(writer.fileSize(), -1);
    ::close(next);
}

TEST(FileWriter, OpeningAgainDropsTheFileBeforeAsItStands) {
    const ScratchFile first(chunk(2, "aaaa") + chunk(5, "bb"));
    const ScratchFile second;
    FileWriter writer;
    writer.openFile(first.path(), FW_APPEND);
    ASSERT_TRUE(writer.seekEnd());
    writer.openFile(second.path(), FW_CREATE);
    EXPECT_EQ(add(writer, 2, "cc"), 0) << "the cursor was kept";
    EXPECT_EQ(first.bytes(), chunk(2, "aaaa") + chunk(5, "bb"));
    EXPECT_EQ(second.bytes(), chunk(2, "cc"));
}

TEST(FileWriter, FailedOpensLeaveNoFile) {
    const ScratchFile file(chunk(2, "aaaa"));
    const QString directory = QFileInfo(file.path()).path();
    const QString nowhere = file.sibling("missing/movie");
    const QString withNul = file.path() + QChar(0) + QStringLiteral("more");
    FileWriter writer;
    const auto fails = [&](const QString& path, int error) {
        writer.openFile(file.path(), FW_APPEND);
        expectFailure<IOFileException>(openFailure("FW_OF_OPEN", path, error),
                                       [&] { writer.openFile(path, FW_CREATE); });
        expectWithoutFile(writer);
        writer.openFile(file.path(), FW_APPEND);
        expectFailure<IOFileException>(openFailure("FW_OF_OPEN2", path, error),
                                       [&] { writer.openFile(path, FW_APPEND); });
        expectWithoutFile(writer);
    };
    fails(directory, EISDIR);
    fails(nowhere, ENOENT);
    fails(withNul, ENOENT);
}

TEST(FileWriter, WithoutADescriptorLeftNothingIsOpened) {
    DATAIO_SKIP_IF_SANITIZED();
    const ScratchFile file;
    FileWriter writer;
    const SoftLimit noMoreDescriptors(RLIMIT_NOFILE, 0);
    expectFailure<IOFileException>(openFailure("FW_OF_OPEN2", file.path(), EMFILE),
                                   [&] { writer.openFile(file.path(), FW_APPEND); });
    EXPECT_EQ(writer.created(), false);
}

TEST(FileWriter, AFailedCloseGivesTheFileUp) {
    const ScratchFile file;
    const int next = file.open();
    ::close(next);
    FileWriter writer;
    writer.openFile(file.path(), FW_APPEND);
    ASSERT_EQ(::close(next), 0) << "expected the lowest free descriptor";
    expectFailure<IOFileException>({"dataio.fdchunkwriter", SYSCALL, "FDCW_CF_CLOSE",
                                    systemError("Could not close file: ", EBADF)},
                                   [&] { writer.closeFile(); });
    expectWithoutFile(writer);
    writer.closeFile();
}

TEST(FileWriter, TheDestructorClosesAndDescriptorsAreNotInherited) {
    const ScratchFile file;
    const int next = file.open();
    ::close(next);
    {
        FileWriter writer;
        writer.openFile(file.path(), FW_APPEND);
        EXPECT_EQ(::fcntl(next, F_GETFD), FD_CLOEXEC) << "expected the lowest free descriptor";
    }
    EXPECT_EQ(::fcntl(next, F_GETFD), -1);
}

TEST(FileWriter, DumpShowsTheWriterAndTheDescriptor) {
    const ScratchFile file;
    FileWriter writer;
    EXPECT_EQ(dumped(writer), "writer = (nil)\nfd = 4294967295\n");
    const int next = file.open();
    ::close(next);
    writer.openFile(file.path(), FW_APPEND);
    const std::string text = dumped(writer);
    EXPECT_EQ(text.rfind("writer = 0x", 0), 0U) << text;
    EXPECT_EQ(text.substr(text.find('\n')), "\nfd = " + std::to_string(next) + "\n");
}

TEST(FileWriter, CursorAndLengthAreWide) {
    const ScratchFile file;
    FileWriter writer;
    writer.openFile(file.path(), FW_APPEND);
    ASSERT_TRUE(writer.seek(0xfffffff0U));
    EXPECT_EQ(writer.tell(), 0xfffffff0);
    ASSERT_TRUE(writer.seek(qint64{0x1fffffff0}));
    EXPECT_EQ(writer.tell(), 0x1fffffff0);
    writer.truncate();
    EXPECT_EQ(writer.fileSize(), 0x1fffffff0);
}

}  // namespace
