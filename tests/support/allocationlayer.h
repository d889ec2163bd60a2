#pragma once

// Stands between the library and its memory: allocations are counted, and a chosen one fails.
// allocationlayer.cpp defines the C library's functions in the test program, so that operator new,
// Qt and the compression libraries meet the failure as well.

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <string>

namespace mz::test {

/// Of what memory there is none.
struct Lack {
    std::size_t bytes = 0;  ///< only pieces of that size or more are lacking
    bool lasts = false;     ///< not just for one allocation
};

/// The `position`-th allocation fails, from 1, during the actions that it is given, on the thread
/// that runs them. Only one at a time.
class FailingAllocation {
public:
    explicit FailingAllocation(int position, Lack lack = {});
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
    ~FailingAllocation();

    template <class Action>
    void during(Action action) {
        const Watch watch;
        action();
    }

    bool happened() const;

private:
    struct Watch {
        Watch();
        Watch(const Watch&) = delete;
        Watch& operator=(const Watch&) = delete;
        ~Watch();
    };
};

/// Calls `attempt` with a first, a second … allocation that fails, until it makes no more of them.
/// @return how many failed
template <class Attempt>
int forEachAllocation(Attempt attempt, Lack lack = {}) {
    for (int position = 1;; ++position) {
        SCOPED_TRACE("allocation " + std::to_string(position));
        FailingAllocation failing(position, lack);
        attempt(failing);
        if (!failing.happened() || testing::Test::HasFailure()) return position - 1;
    }
}

/// The same, then with no memory at all from each of these allocations on.
template <class Attempt>
int forEachLack(Attempt attempt) {
    const int failed = forEachAllocation(attempt);
    forEachAllocation(attempt, {0, true});
    return failed;
}

/// @return whether the action ran out of memory
template <class Action>
bool runsOutOfMemory(FailingAllocation& failing, Action action) {
    try {
        failing.during(action);
        return false;
    } catch (const std::bad_alloc&) {
        EXPECT_TRUE(failing.happened()) << "on its own account";
        return true;
    }
}

/// Runs an action, and once more when memory has run out: that must go well.
template <class Action>
void runAgainIfNeeded(FailingAllocation& failing, Action action) {
    if (runsOutOfMemory(failing, action)) action();
}

}  // namespace mz::test
