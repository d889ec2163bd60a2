#pragma once

// Lets chosen system calls of the library fail. The test program's own definitions of these calls
// take the place of the C library's, so include this in one source of a test program only.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>

namespace mz::test {

enum class Call { None, Read, Write, Writev, Seek, Truncate, Stat, Map, Unmap, Advise, Close };

struct FaultState {
    Call call = Call::None;
    int error = 0;
    int skip = 0;
    int times = 0;
    int hits = 0;
};
inline FaultState faultState;

/// While it lives, `times` calls of one kind fail, after `skip` that succeed.
class FailingCalls {
public:
    FailingCalls(Call call, int error, int skip = 0, int times = 1) {
        faultState = {call, error, skip, times, 0};
    }
    FailingCalls(FailingCalls const&) = delete;
    FailingCalls& operator=(FailingCalls const&) = delete;
    ~FailingCalls() { faultState = {}; }

    int hits() const { return faultState.hits; }
};

inline bool failsNow(Call call) {
    if (faultState.call != call || faultState.hits == faultState.times) return false;
    if (faultState.skip > 0) {
        --faultState.skip;
        return false;
    }
    ++faultState.hits;
    errno = faultState.error;
    return true;
}

template <class Function>
Function* systemsOwn(Function* /*sameType*/, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace mz::test

// NOLINTBEGIN(bugprone-reserved-identifier): each passes its call on unless it is to fail.
#define DATAIO_TEST_CALL(kind, name, ...)                                 \
    if (mz::test::failsNow(mz::test::Call::kind)) return -1;              \
    static auto* const systemsOwn = mz::test::systemsOwn(&::name, #name); \
    return systemsOwn(__VA_ARGS__)

extern "C" {
ssize_t read(int fd, void* data, size_t size) {
    DATAIO_TEST_CALL(Read, read, fd, data, size);
}
ssize_t pread(int fd, void* data, size_t size, off_t offset) {
    DATAIO_TEST_CALL(Read, pread, fd, data, size, offset);
}
ssize_t write(int fd, const void* data, size_t size) {
    DATAIO_TEST_CALL(Write, write, fd, data, size);
}
ssize_t writev(int fd, const iovec* parts, int count) {
    DATAIO_TEST_CALL(Writev, writev, fd, parts, count);
}
off_t lseek(int fd, off_t offset, int whence) noexcept {
    DATAIO_TEST_CALL(Seek, lseek, fd, offset, whence);
}
int ftruncate(int fd, off_t length) noexcept {
    DATAIO_TEST_CALL(Truncate, ftruncate, fd, length);
}
int fstat(int fd, struct stat* result) noexcept {
    DATAIO_TEST_CALL(Stat, fstat, fd, result);
}
int munmap(void* start, size_t length) noexcept {
    DATAIO_TEST_CALL(Unmap, munmap, start, length);
}
int madvise(void* start, size_t length, int advice) noexcept {
    DATAIO_TEST_CALL(Advise, madvise, start, length, advice);
}
int close(int fd) {
    // The descriptor is closed all the same, as the system does it.
    static auto* const systemsOwn = mz::test::systemsOwn(&::close, "close");
    if (!mz::test::failsNow(mz::test::Call::Close)) return systemsOwn(fd);
    const int error = errno;
    systemsOwn(fd);
    errno = error;
    return -1;
}
void* mmap(void* start, size_t length, int protection, int flags, int fd, off_t offset) noexcept {
    if (mz::test::failsNow(mz::test::Call::Map)) return MAP_FAILED;
    static auto* const systemsOwn = mz::test::systemsOwn(&::mmap, "mmap");
    return systemsOwn(start, length, protection, flags, fd, offset);
}
}
// NOLINTEND(bugprone-reserved-identifier)
