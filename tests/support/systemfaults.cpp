#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <tests/support/systemfaults.h>

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
