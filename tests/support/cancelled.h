#pragma once

// A thread of its own that a test may cancel.

#include <gtest/gtest.h>

#include <pthread.h>

// The address sanitizer keeps no account of a stack that is unwound because its thread ends, and
// the one for undefined behaviour takes the unwinding itself, which is no object, for a null one.
#if defined(__SANITIZE_ADDRESS__)
#define DATAIO_SKIP_CANCELLATION_IF_SANITIZED() \
    GTEST_SKIP() << "the sanitizers do not follow the unwinding of a cancelled thread"
#else
#define DATAIO_SKIP_CANCELLATION_IF_SANITIZED() static_cast<void>(0)
#endif

namespace mz::test {

/// Runs `action` in a thread. @return whether the thread ended by being cancelled
template <class Action>
bool isCancelled(Action action) {
    const auto run = [](void* context) -> void* {
        (*static_cast<Action*>(context))();
        return nullptr;
    };
    pthread_t thread{};
    void* result = nullptr;
    EXPECT_EQ(pthread_create(&thread, nullptr, run, &action), 0);
    EXPECT_EQ(pthread_join(thread, &result), 0);
    return result == PTHREAD_CANCELED;
}

}  // namespace mz::test
