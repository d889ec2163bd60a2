#pragma once

// Checks in a process of their own, which knows nothing of what this one has in memory.

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>

namespace mz::test {

/// Runs the checks in a child of this process; fails when one of them does.
template <class Checks>
void inChild(Checks checks) {
    std::fflush(nullptr);
    const pid_t child = ::fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        try {
            checks();
        } catch (const std::exception& failure) {
            ADD_FAILURE() << failure.what();
        }
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

}  // namespace mz::test
