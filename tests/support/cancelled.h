#pragma once

// A thread of its own that a test may cancel.

#include <gtest/gtest.h>

#include <pthread.h>

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
