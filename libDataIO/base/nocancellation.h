#pragma once

// For what must be done whole, destructors above all: reading, writing and closing a file are
// places where the system may cancel a thread, and an unwinding that begins in a destructor ends
// the process.

#include <pthread.h>

namespace mz {

/// Switches the cancellation of the calling thread off while it lives. A thread that is cancelled
/// meanwhile ends at the next place behind it where it may be.
class NoCancellation {
public:
    NoCancellation() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &_before); }
    NoCancellation(const NoCancellation&) = delete;
    NoCancellation& operator=(const NoCancellation&) = delete;
    ~NoCancellation() { pthread_setcancelstate(_before, nullptr); }

private:
    int _before = PTHREAD_CANCEL_ENABLE;
};

}  // namespace mz
