// How files are opened, for reading and for writing: clear of the standard streams, and without
// waiting for what may never come.

#include <libDataIO/base/posixfile.h>
#include <libDataIO/filereader.h>
#include <libDataIO/filewriter.h>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <set>
#include <thread>

#include <tests/support/addchunk.h>
#include <tests/support/childprocess.h>
#include <tests/support/expectfailure.h>
#include <tests/support/faultlayer.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

bool isOpen(int fd) {
    return ::fcntl(fd, F_GETFD) != -1;
}

void closeStandardStreams() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        ::close(fd);
}

void expectStandardStreamsFree() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        EXPECT_FALSE(isOpen(fd)) << fd;
}

void makePipe(const QString& path) {
    const QByteArray name = path.toLocal8Bit();
    ::unlink(name.constData());
    EXPECT_EQ(::mkfifo(name.constData(), 0600), 0);
}

TEST(OpenedFiles, AreNoneOfTheStandardStreams) {
    const ScratchFile file(chunk(2, "aaaa"));
    inChild([&] {
        closeStandardStreams();
        std::set<int> inherited;  // of whatever runs the tests
        for (int fd = 3; fd < 64; ++fd)
            if (isOpen(fd)) inherited.insert(fd);
        FileReader reader;
        reader.openFile(file.path());
        FileWriter existing;
        existing.openFile(file.path(), FW_APPEND);
        FileWriter made;
        made.openFile(file.sibling("made"), FW_CREATE);
        expectStandardStreamsFree();
        EXPECT_TRUE(reader.nextChunk(2));
        EXPECT_EQ(add(made, 2, "bbbb"), 0);
        for (int fd = 3; fd < 64; ++fd) {
            if (!isOpen(fd) || inherited.count(fd) != 0) continue;
            EXPECT_EQ(::fcntl(fd, F_GETFD), FD_CLOEXEC) << fd;
        }
    });
}

TEST(OpenedFiles, ThatFindNoOtherNumberAreClosedAndNotLeftBehind) {
    const ScratchFile file(chunk(2, "aaaa"));
    const QString made = file.sibling("made");
    inChild([&] {
        const LogCapture quiet;
        closeStandardStreams();
        for (const QString& path : {file.path(), made}) {
            const FailingCalls noNumber(Call::Duplicate, EMFILE);
            FileWriter writer;
            try {
                writer.openFile(path, FW_APPEND);
                ADD_FAILURE() << "opened";
            } catch (const IOFileException& failure) {
                EXPECT_EQ(failure.message(), "File " + path + systemError(" : ", EMFILE));
            }
            EXPECT_EQ(noNumber.hits(), 1);
            expectStandardStreamsFree();
        }
        EXPECT_FALSE(QFile::exists(made));
    });
    EXPECT_EQ(file.bytes(), chunk(2, "aaaa"));
}

TEST(OpenedFiles, AreNotWaitedForWhenAPipeTakesTheirPlace) {
    const ScratchFile file(chunk(2, "aaaa"));
    const Meanwhile swapped(Call::Open, 1, [&] { makePipe(file.path()); });
    FileReader reader;
    expectFailure<IOFileException>({"dataio.filereader", FILESYSTEM, "FR_OF_REGFILE",
                                    "File " + file.path() + " is not a regular file."},
                                   [&] { reader.openFile(file.path()); });
    EXPECT_TRUE(swapped.hasHappened());
    EXPECT_FALSE(reader.openned());
}

TEST(OpenedFiles, ThatArePipesAreNotWaitedForInWriting) {
    for (const auto mode : {FW_CREATE, FW_APPEND}) {
        const ScratchFile file(chunk(2, "aaaa"));
        const Meanwhile swapped(Call::Open, 1, [&] { makePipe(file.path()); });
        FileWriter writer;
        writer.openFile(file.path(), mode);
        expectFailure<IOFileException>({"dataio.fdchunkwriter", SOFTWARE, "FDCW_AC_SEEK",
                                        QStringLiteral("Cannot seek in file before writing data.")},
                                       [&] { add(writer, 2, "aaaa"); });
        writer.abandonFile(file.path());
        EXPECT_TRUE(QFile::exists(file.path()));
    }
}

TEST(OpenedFiles, ThatAreNotToldOfAreStatFailures) {
    const ScratchFile file(chunk(2, "aaaa"));
    const int descriptors = openDescriptors();
    for (const int skip : {0, 1}) {
        const FailingCalls silent(Call::Stat, EIO, skip);
        FileReader reader;
        expectFailure<IOFileException>({"dataio.filereader", FILESYSTEM, "FR_OF_STAT",
                                        "File " + file.path() + systemError(" : ", EIO)},
                                       [&] { reader.openFile(file.path()); });
        EXPECT_EQ(silent.hits(), 1);
    }
    EXPECT_EQ(openDescriptors(), descriptors);
}

/// Of what has gone wrong behind the opening, the reason is told, and nobody is kept from the file.
TEST(OpenedFiles, ThatAreGivenUpAreFree) {
    struct Case {
        FileWriterMode mode;
        Call call;
        const char* code;
    };
    for (const Case& c :
         {Case{FW_CREATE, Call::Stat, "FW_OF_OPEN"}, Case{FW_CREATE, Call::Truncate, "FW_OF_OPEN"},
          Case{FW_APPEND, Call::Stat, "FW_OF_OPEN2"}}) {
        const ScratchFile file(chunk(2, "aaaa"));
        const int descriptors = openDescriptors();
        FileWriter writer;
        {
            const FailingCalls failing(c.call, EIO);
            expectFailure<IOFileException>({"dataio.filewriter", SYSCALL, c.code,
                                            "File " + file.path() + systemError(" : ", EIO)},
                                           [&] { writer.openFile(file.path(), c.mode); });
            EXPECT_EQ(failing.hits(), 1);
        }
        EXPECT_FALSE(writer.openned());
        EXPECT_EQ(openDescriptors(), descriptors);
        EXPECT_EQ(file.bytes(), chunk(2, "aaaa"));
        writer.openFile(file.path(), FW_APPEND);
    }
}

/// Holds a lease on the file, as a file server does for a client, and gives it up some time after
/// it was asked to.
pid_t holdLease(const QByteArray& name, int ready) {
    const pid_t holder = ::fork();
    if (holder != 0) return holder;
    sigset_t asked;
    sigemptyset(&asked);
    sigaddset(&asked, SIGIO);
    sigprocmask(SIG_BLOCK, &asked, nullptr);
    const int fd = ::open(name.constData(), O_RDWR);
    char answer = ::fcntl(fd, F_SETLEASE, F_WRLCK) == 0 ? 'y' : 'n';
    if (::write(ready, &answer, 1) != 1 || answer == 'n') _exit(1);
    const timespec longest{20, 0};
    sigtimedwait(&asked, nullptr, &longest);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    ::fcntl(fd, F_SETLEASE, F_UNLCK);
    _exit(0);
}

TEST(OpenedFiles, OfFileServersAreWaitedFor) {
    const ScratchFile file(chunk(2, "aaaa"));
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t holder = holdLease(file.path().toLocal8Bit(), ready[1]);
    ASSERT_NE(holder, -1);
    char answer = 'n';
    EXPECT_EQ(::read(ready[0], &answer, 1), 1);
    ::close(ready[0]);
    ::close(ready[1]);
    if (answer == 'y') {
        FileReader reader;
        reader.openFile(file.path());
        EXPECT_TRUE(reader.nextChunk(2));
    }
    int status = 0;
    ASSERT_EQ(::waitpid(holder, &status, 0), holder);
    if (answer != 'y') GTEST_SKIP() << "there are no leases on this file system";
}

/// Reads that end early, as signals and networks make them.
class ReadBytes : public testing::Test {
protected:
    /// What comes of reading four bytes from the second on.
    posix::ReadBytes read(const std::vector<Fault>& faults) {
        FaultLayer layer(file.path(), faults);
        posix::ReadBytes found{};
        layer.during([&] {
            const posix::Descriptor opened(posix::open(file.path(), O_RDONLY));
            found = posix::bytesAt(opened.get(), 1, 4);
        });
        EXPECT_EQ(layer.hits(), static_cast<int>(faults.size()));
        return found;
    }

    const ScratchFile file{"abcdef"};
};

TEST_F(ReadBytes, AreAllThereThoughAReadEndsEarly) {
    const posix::ReadBytes found = read({{Call::Read, 1, {0, 1}}, {Call::Read, 2, {0, 2}}});
    EXPECT_EQ(found.bytes, "bcde");
    EXPECT_EQ(found.error, 0);
}

TEST_F(ReadBytes, AreThoseBeforeTheFailure) {
    const posix::ReadBytes found = read({{Call::Read, 1, {0, 3}}, {Call::Read, 2, {EIO, 0}}});
    EXPECT_EQ(found.bytes, "bcd");
    EXPECT_EQ(found.error, EIO);
}

TEST_F(ReadBytes, EndWhereTheFileDoes) {
    file.resize(3);
    const posix::ReadBytes found = read({{Call::Read, 1, {0, 1}}});
    EXPECT_EQ(found.bytes, "bc");
    EXPECT_EQ(found.error, 0);
}

}  // namespace
