// The functions of the C library that give memory as the tests define them, in front of its own.
// The sanitizers have theirs in that place; beside them operator new alone fails.

#include <cerrno>
#include <cstdlib>

#include <tests/support/allocationlayer.h>

namespace mz::test {

namespace {

/// Plain storage: the first allocations come before any object lives.
struct State {
    bool active;
    bool happened;
    int left;  ///< allocations until the one that fails
    Lack lack;
};
thread_local State state{};

bool strikes(size_t bytes) {
    if (!state.active || bytes < state.lack.bytes) return false;
    if (state.happened) return state.lack.lasts;
    state.happened = --state.left == 0;
    return state.happened;
}

}  // namespace

FailingAllocation::FailingAllocation(int position, Lack lack) {
    state = {false, false, position, lack};
}

FailingAllocation::~FailingAllocation() {
    state = {};
}

bool FailingAllocation::happened() const {
    return state.happened;
}

FailingAllocation::Watch::Watch() {
    state.active = true;
}

FailingAllocation::Watch::~Watch() {
    state.active = false;
}

}  // namespace mz::test

using mz::test::strikes;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

void* operator new(std::size_t size) {
    void* memory = strikes(size) ? nullptr : std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

#else

// Exported, so that the shared libraries find them before the C library's.
#define DATAIO_TEST_CALL extern "C" __attribute__((visibility("default")))

extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_calloc(size_t count, size_t size);
extern "C" void* __libc_realloc(void* memory, size_t size);

DATAIO_TEST_CALL void* malloc(size_t size) noexcept {
    if (!strikes(size)) return __libc_malloc(size);
    errno = ENOMEM;
    return nullptr;
}

DATAIO_TEST_CALL void* calloc(size_t count, size_t size) noexcept {
    if (!strikes(count * size)) return __libc_calloc(count, size);
    errno = ENOMEM;
    return nullptr;
}

DATAIO_TEST_CALL void* realloc(void* memory, size_t size) noexcept {
    if (!strikes(size)) return __libc_realloc(memory, size);
    errno = ENOMEM;
    return nullptr;
}

#endif
