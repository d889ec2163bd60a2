// The calls of the system as the library makes them, where they move less than they were asked to.

#include <libDataIO/base/posixfile.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <tests/support/faultlayer.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

/// Gives bytes in as many reads as they were written in, as a file system under load may.
class Pipe {
public:
    Pipe() { EXPECT_EQ(::pipe2(_ends, O_CLOEXEC), 0); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        ::close(_ends[0]);
        closeWriting();
    }

    int reading() const { return _ends[0]; }
    void write(const char* text) const {
        const auto size = static_cast<ssize_t>(std::strlen(text));
        EXPECT_EQ(::write(_ends[1], text, std::strlen(text)), size);
    }
    void closeWriting() {
        if (_ends[1] != -1) ::close(_ends[1]);
        _ends[1] = -1;
    }

private:
    int _ends[2] = {-1, -1};
};

TEST(PosixFile, WhatWasReadBeforeAFailureCounts) {
    const Pipe pipe;
    pipe.write("abc");
    char bytes[8] = "-------";
    const FailingCalls failing(Call::Read, EIO, 1);
    const posix::ReadResult result = posix::readAll(pipe.reading(), bytes, 7);
    EXPECT_EQ(result.count, 3);
    EXPECT_EQ(result.error, EIO);
    EXPECT_STREQ(bytes, "abc----");
}

TEST(PosixFile, AnEndInFrontOfWhatWasAskedForIsNoFailure) {
    Pipe pipe;
    pipe.write("abc");
    pipe.closeWriting();
    char bytes[8] = "-------";
    errno = EIO;  // of an earlier call
    const posix::ReadResult result = posix::readAll(pipe.reading(), bytes, 7);
    EXPECT_EQ(result.count, 3);
    EXPECT_EQ(result.error, 0);
    EXPECT_STREQ(bytes, "abc----");
}

TEST(PosixFile, BytesAreThoseThatTheFileHas) {
    const ScratchFile file("abcdef");
    const posix::Descriptor opened(file.open());
    const posix::ReadBytes inside = posix::bytesAt(opened.get(), 2, 3);
    EXPECT_EQ(inside.bytes, "cde");
    EXPECT_EQ(inside.error, 0);
    const posix::ReadBytes across = posix::bytesAt(opened.get(), 4, 10);
    EXPECT_EQ(across.bytes, "ef");
    EXPECT_EQ(across.error, 0);
    const FailingCalls failing(Call::Read, EIO);
    const posix::ReadBytes none = posix::bytesAt(opened.get(), 0, 6);
    EXPECT_EQ(none.bytes, "");
    EXPECT_EQ(none.error, EIO);
}

TEST(PosixFile, TheLengthOfWhatIsNotOpenIsNotKnown) {
    EXPECT_EQ(posix::fileSize(-1), -1);
}

}  // namespace
