#pragma once

// Lets chosen system calls of the library fail. systemfaults.cpp defines these calls in the test
// program, where they take the place of the C library's.

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
