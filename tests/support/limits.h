#pragma once

// Limits of the system put on the test while they live, for faults that are real.

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <csignal>

#include <tests/support/processmemory.h>

// The sanitizers need address space without end and descriptors of their own: they try out the
// memory they look at through a pipe.
#if defined(__SANITIZE_ADDRESS__)
#define DATAIO_SKIP_IF_SANITIZED() GTEST_SKIP() << "the sanitizer needs the resource itself"
#else
#define DATAIO_SKIP_IF_SANITIZED() static_cast<void>(0)
#endif

namespace mz::test {

class SoftLimit {
public:
    SoftLimit(__rlimit_resource resource, rlim_t value) : _resource(resource) {
        EXPECT_EQ(getrlimit(_resource, &_before), 0);
        const rlimit now{value, _before.rlim_max};
        EXPECT_EQ(setrlimit(_resource, &now), 0);
    }
    SoftLimit(const SoftLimit&) = delete;
    SoftLimit& operator=(const SoftLimit&) = delete;
    ~SoftLimit() { setrlimit(_resource, &_before); }

private:
    __rlimit_resource _resource;
    rlimit _before{};
};

/// No file grows beyond so many bytes: a write across the limit is short, one behind it fails with
/// EFBIG.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes)
        : _handler(std::signal(SIGXFSZ, SIG_IGN)), _limit(RLIMIT_FSIZE, bytes) {}
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() { std::signal(SIGXFSZ, _handler); }

private:
    void (*_handler)(int);
    SoftLimit _limit;
};

/// So many bytes of address space more than the process has now.
class AddressSpaceLimit : SoftLimit {
public:
    explicit AddressSpaceLimit(rlim_t more)
        : SoftLimit(RLIMIT_AS, static_cast<rlim_t>(processMemory("VmSize")) + more) {}
};

}  // namespace mz::test
