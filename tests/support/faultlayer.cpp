// The calls of the system as the tests define them, in front of those of the C library.

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <optional>
#include <utility>

#include <tests/support/faultlayer.h>

namespace mz::test {

namespace {

constexpr int maxDescriptors = 1024;

/// Plain storage: calls arrive before and after the objects of the program live.
struct State {
    bool active;
    bool everyFile;
    char path[512];
    std::array<bool, maxDescriptors> ours;
    std::array<void*, 16> maps;
    std::array<int, std::size(allCalls)> counts;
    std::array<Fault, 4> faults;
    size_t faultCount;
    int hits;
    long clock;
    std::vector<Change>* changes;  ///< null when they are not noted
    qint64 spoiledBegin;
    qint64 spoiledEnd;
};
State state{};

/// What Meanwhile is to do, and before which call.
struct Action {
    Call call;
    int position;
    std::function<void()> run;
};
std::optional<Action>& action() {
    static std::optional<Action> awaited;
    return awaited;
}

int& countOf(Call call) {
    return state.counts[static_cast<size_t>(call)];
}

bool isOurs(int fd) {
    return state.active && fd >= 0 && fd < maxDescriptors &&
           (state.everyFile || state.ours[static_cast<size_t>(fd)]);
}

bool isOurs(const char* path) {
    return state.active && (state.everyFile || std::strcmp(path, state.path) == 0);
}

/// The place of a mapping of the file in the list of them; null for other memory.
void** ourMap(const void* start) {
    if (!state.active || start == nullptr) return nullptr;
    const auto found = std::find(state.maps.begin(), state.maps.end(), start);
    return found != state.maps.end() ? &*found : nullptr;
}

void fail(int error) {
    if (error == ECANCELED) {
        pthread_cancel(pthread_self());
        pthread_testcancel();
    }
    errno = error;
}

/// Counts a call for the file; the fault that strikes it, or null.
const Fault* strike(Call call) {
    const int number = ++countOf(call);
    if (action() && action()->call == call && action()->position == number) {
        const std::function<void()> run = std::exchange(action(), std::nullopt)->run;
        state.active = false;
        run();
        state.active = true;
    }
    for (size_t i = 0; i < state.faultCount; ++i) {
        const Fault& fault = state.faults[i];
        if (fault.call != call || number < fault.position) continue;
        if (number == fault.position + fault.times && fault.effect.next != 0) {
            static Fault reason{};
            reason.effect.error = fault.effect.next;
            fail(fault.effect.next);
            return &reason;
        }
        if (number >= fault.position + fault.times) continue;
        if (fault.onlyAfterAnother && state.hits == 0) continue;
        ++state.hits;
        fail(fault.effect.error);
        return &fault;
    }
    return nullptr;
}

const Fault* strike(Call call, int fd) {
    return isOurs(fd) ? strike(call) : nullptr;
}

/// Whether a call for the memory at `start` is to fail.
bool strikesMemory(Call call, const void* start) {
    const bool ours = state.active && (state.everyFile || ourMap(start) != nullptr);
    return ours && strike(call) != nullptr;
}

void begin(const std::vector<Fault>& faults) {
    state.counts = {};
    state.ours = {};
    state.maps = {};
    state.hits = 0;
    state.spoiledBegin = state.spoiledEnd = 0;
    state.faultCount = faults.size();
    std::copy(faults.begin(), faults.end(), state.faults.begin());
}

void note(int fd, bool ours) {
    if (fd >= 0 && fd < maxDescriptors) state.ours[static_cast<size_t>(fd)] = ours;
}

ssize_t result(long value) {
    return static_cast<ssize_t>(value);
}

// The system's own calls are made directly: what the C library's names lead to may be a sanitizer's
// that is not ready yet when the first call comes. Where a thread may be cancelled in the C
// library's call, it may be in this one.

qint64 positionOf(int fd) {
    return syscall(SYS_lseek, fd, 0, SEEK_CUR);
}

/// @return false when the first byte to be read is a spoiled one; else `size` ends in front of them
bool isReadable(int fd, qint64 offset, size_t& size) {
    if (!isOurs(fd) || offset < 0 || offset >= state.spoiledEnd) return true;
    if (offset >= state.spoiledBegin) {
        errno = EIO;
        return false;
    }
    size = std::min(size, static_cast<size_t>(state.spoiledBegin - offset));
    return true;
}

void noteWrite(int fd, qint64 end, const char* bytes, ssize_t count) {
    if (!isOurs(fd) || state.changes == nullptr || count <= 0) return;
    state.changes->push_back({Call::Write, end - count, QByteArray(bytes, count)});
}

ssize_t transfer(Call call, long number, int fd, void* data, size_t size) {
    pthread_testcancel();
    const Fault* fault = strike(call, fd);
    if (fault != nullptr) {
        if (fault->effect.error != 0) return -1;
        size = fault->effect.of(size);
    }
    if (call == Call::Read && !isReadable(fd, positionOf(fd), size)) return -1;
    const ssize_t count = result(syscall(number, fd, data, size));
    if (call == Call::Write) noteWrite(fd, positionOf(fd), static_cast<const char*>(data), count);
    return count;
}

ssize_t positioned(Call call, long number, int fd, void* data, size_t size, off_t offset) {
    pthread_testcancel();
    const Fault* fault = strike(call, fd);
    if (fault != nullptr) {
        if (fault->effect.error != 0) return -1;
        size = fault->effect.of(size);
    }
    if (call == Call::Read && !isReadable(fd, offset, size)) return -1;
    const ssize_t count = result(syscall(number, fd, data, size, offset));
    if (call == Call::Write) noteWrite(fd, offset + count, static_cast<const char*>(data), count);
    return count;
}

/// Writes the first bytes of a gathered write.
ssize_t writeFirst(int fd, const iovec* parts, int count, size_t bytes) {
    std::vector<char> all;
    for (int i = 0; i < count; ++i) {
        const char* part = static_cast<const char*>(parts[i].iov_base);
        all.insert(all.end(), part, part + parts[i].iov_len);
    }
    const ssize_t written = result(syscall(SYS_write, fd, all.data(), bytes));
    noteWrite(fd, positionOf(fd), all.data(), written);
    return written;
}

size_t totalOf(const iovec* parts, int count) {
    size_t total = 0;
    for (int i = 0; i < count; ++i)
        total += parts[i].iov_len;
    return total;
}

/// What fcntl does to files that the library locks, or moves away from the standard streams.
std::optional<Call> callOf(int command, const void* argument) {
    if (command == F_DUPFD_CLOEXEC) return Call::Duplicate;
    if (command != F_OFD_SETLK) return std::nullopt;
    return static_cast<const struct flock*>(argument)->l_type == F_UNLCK ? Call::Unlock
                                                                         : Call::Lock;
}

int controlled(int fd, int command, void* argument) {
    const std::optional<Call> call = callOf(command, argument);
    if (call && strike(*call, fd) != nullptr) return -1;
    const auto answer = static_cast<int>(syscall(SYS_fcntl, fd, command, argument));
    if (call == Call::Duplicate && isOurs(fd) && !state.everyFile) note(answer, true);
    return answer;
}

int opened(int directory, const char* path, int flags, unsigned mode) {
    pthread_testcancel();
    const bool ours = isOurs(path);
    if (ours && strike(Call::Open) != nullptr) return -1;
    const auto fd = static_cast<int>(syscall(SYS_openat, directory, path, flags, mode));
    if (ours) note(fd, true);
    return fd;
}

}  // namespace

const char* nameOf(Call call) {
    constexpr const char* names[] = {"open",     "close",  "read",      "write", "seek",
                                     "truncate", "stat",   "map",       "unmap", "advise",
                                     "lock",     "unlock", "duplicate", "remove"};
    return names[static_cast<size_t>(call)];
}

size_t Effect::of(size_t asked) const {
    if (asked == 0) return 0;
    if (bytes == half) return asked / 2;
    if (bytes == allButOne) return asked - 1;
    return std::min(static_cast<size_t>(bytes), asked - 1);
}

std::string Fault::text() const {
    const std::string how = effect.error != 0 ? std::strerror(effect.error)
                            : effect.bytes == Effect::half
                                ? "half of the bytes"
                                : std::to_string(effect.bytes) + " bytes";
    const std::string then =
        effect.next != 0 ? std::string(", then ") + std::strerror(effect.next) : "";
    return std::string(nameOf(call)) + " " + std::to_string(position) + ": " + how + then;
}

FaultLayer::FaultLayer(const QString& path, const std::vector<Fault>& faults) {
    begin(faults);
    const QByteArray name = path.toLocal8Bit();
    std::memset(state.path, 0, sizeof state.path);
    std::memcpy(state.path, name.constData(),
                std::min(sizeof state.path - 1, static_cast<size_t>(name.size())));
}

FaultLayer::~FaultLayer() {
    state.faultCount = 0;
    state.spoiledEnd = 0;
    delete std::exchange(state.changes, nullptr);
}

FaultLayer::Watch::Watch() {
    state.active = true;
}

FaultLayer::Watch::~Watch() {
    state.active = false;
}

int FaultLayer::hits() const {
    return state.hits;
}

void FaultLayer::lift() {
    state.faultCount = 0;
}

int FaultLayer::calls(Call call) const {
    return countOf(call);
}

void FaultLayer::noteChanges() {
    state.changes = new std::vector<Change>;
}

std::vector<Change> FaultLayer::changes() const {
    return *state.changes;
}

void FaultLayer::spoil(qint64 begin, qint64 end) {
    state.spoiledBegin = begin;
    state.spoiledEnd = end;
}

FailingCalls::FailingCalls(Call call, int error, int skip, int times) {
    begin({{call, skip + 1, {error, 0}, times}});
    state.everyFile = true;
    state.active = true;
}

FailingCalls::~FailingCalls() {
    state.active = false;
    state.everyFile = false;
    state.faultCount = 0;
}

int FailingCalls::hits() const {
    return state.hits;
}

Meanwhile::Meanwhile(Call call, int position, std::function<void()> run) {
    begin({});
    action() = Action{call, position, std::move(run)};
    state.everyFile = true;
    state.active = true;
}

Meanwhile::~Meanwhile() {
    action().reset();
    state.active = false;
    state.everyFile = false;
}

bool Meanwhile::hasHappened() const {
    return !action();
}

void setClock(long seconds) {
    state.clock = seconds;
}

int openDescriptors() {
    int count = 0;
    for (int fd = 0; fd < maxDescriptors; ++fd)
        count += fcntl(fd, F_GETFD) != -1 ? 1 : 0;
    return count;
}

}  // namespace mz::test

using namespace mz::test;

// Exported, so that the shared library finds them before the C library's.
#define DATAIO_TEST_CALL extern "C" __attribute__((visibility("default")))

DATAIO_TEST_CALL int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, unsigned) : 0;
    va_end(arguments);
    return opened(AT_FDCWD, path, flags, mode);
}

DATAIO_TEST_CALL int open64(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, unsigned) : 0;
    va_end(arguments);
    return opened(AT_FDCWD, path, flags, mode);
}

DATAIO_TEST_CALL int openat(int directory, const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, unsigned) : 0;
    va_end(arguments);
    return opened(directory, path, flags, mode);
}

DATAIO_TEST_CALL int close(int fd) {
    pthread_testcancel();
    const Fault* fault = strike(Call::Close, fd);
    note(fd, false);
    const auto closed = static_cast<int>(syscall(SYS_close, fd));
    if (fault == nullptr) return closed;
    errno = fault->effect.error;  // the descriptor is gone all the same
    return -1;
}

DATAIO_TEST_CALL ssize_t read(int fd, void* data, size_t size) {
    return transfer(Call::Read, SYS_read, fd, data, size);
}

DATAIO_TEST_CALL ssize_t pread(int fd, void* data, size_t size, off_t offset) {
    return positioned(Call::Read, SYS_pread64, fd, data, size, offset);
}

DATAIO_TEST_CALL ssize_t write(int fd, const void* data, size_t size) {
    return transfer(Call::Write, SYS_write, fd, const_cast<void*>(data), size);
}

DATAIO_TEST_CALL ssize_t pwrite(int fd, const void* data, size_t size, off_t offset) {
    return positioned(Call::Write, SYS_pwrite64, fd, const_cast<void*>(data), size, offset);
}

DATAIO_TEST_CALL ssize_t writev(int fd, const iovec* parts, int count) {
    pthread_testcancel();
    const Fault* fault = strike(Call::Write, fd);
    if (fault == nullptr && state.changes == nullptr)
        return result(syscall(SYS_writev, fd, parts, count));
    if (fault == nullptr) return writeFirst(fd, parts, count, totalOf(parts, count));
    if (fault->effect.error != 0) return -1;
    return writeFirst(fd, parts, count, fault->effect.of(totalOf(parts, count)));
}

DATAIO_TEST_CALL off_t lseek(int fd, off_t offset, int whence) noexcept {
    if (strike(Call::Seek, fd) != nullptr) return -1;
    return syscall(SYS_lseek, fd, offset, whence);
}

DATAIO_TEST_CALL int ftruncate(int fd, off_t length) noexcept {
    if (strike(Call::Truncate, fd) != nullptr) return -1;
    if (isOurs(fd) && state.changes != nullptr)
        state.changes->push_back({Call::Truncate, length, {}});
    return static_cast<int>(syscall(SYS_ftruncate, fd, length));
}

DATAIO_TEST_CALL int fcntl(int fd, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return controlled(fd, command, argument);
}

DATAIO_TEST_CALL int fcntl64(int fd, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return controlled(fd, command, argument);
}

DATAIO_TEST_CALL int unlink(const char* path) noexcept {
    if (isOurs(path) && strike(Call::Remove) != nullptr) return -1;
    return static_cast<int>(syscall(SYS_unlink, path));
}

DATAIO_TEST_CALL int fstat(int fd, struct stat* status) noexcept {
    if (strike(Call::Stat, fd) != nullptr) return -1;
    return static_cast<int>(syscall(SYS_fstat, fd, status));
}

DATAIO_TEST_CALL int stat(const char* path, struct stat* status) noexcept {
    if (isOurs(path) && strike(Call::Stat) != nullptr) return -1;
    return static_cast<int>(syscall(SYS_newfstatat, AT_FDCWD, path, status, 0));
}

DATAIO_TEST_CALL void* mmap(void* start, size_t length, int protection, int flags, int fd,
                            off_t offset) noexcept {
    const bool ours = isOurs(fd);
    if (ours && strike(Call::Map) != nullptr) return MAP_FAILED;
    const long address = syscall(SYS_mmap, start, length, protection, flags, fd, offset);
    auto* const mapped = reinterpret_cast<void*>(address);
    if (ours && !state.everyFile && mapped != MAP_FAILED)
        *std::find(state.maps.begin(), state.maps.end(), nullptr) = mapped;
    return mapped;
}

DATAIO_TEST_CALL int munmap(void* start, size_t length) noexcept {
    if (strikesMemory(Call::Unmap, start)) return -1;
    if (void** place = ourMap(start)) *place = nullptr;
    return static_cast<int>(syscall(SYS_munmap, start, length));
}

DATAIO_TEST_CALL int madvise(void* start, size_t length, int advice) noexcept {
    if (strikesMemory(Call::Advise, start)) return -1;
    return static_cast<int>(syscall(SYS_madvise, start, length, advice));
}

DATAIO_TEST_CALL int gettimeofday(struct timeval* time, void* /*zone*/) noexcept {
    if (state.clock == 0) {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        *time = {now.tv_sec, now.tv_nsec / 1000};
        return 0;
    }
    if (state.clock == brokenClock) {
        *time = {77, 77};  // whatever is left there does not count
        errno = EFAULT;
        return -1;
    }
    *time = {state.clock, 0};
    return 0;
}
