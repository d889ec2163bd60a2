#pragma once

// What the system counts as this process's memory.

#include <cstdint>
#include <fstream>
#include <string>

namespace mz::test {

/// A line of /proc/self/status in bytes: "VmSize" and "VmPeak" of address space, "VmHWM" of memory
/// at the most, "RssFile" of
/// pages of files, "RssShmem" of those that lie in memory; -1 when there is none of that name.
inline int64_t processMemory(const std::string& name) {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word && word != name + ':') {
    }
    int64_t kilobytes = -1;
    return status >> kilobytes ? kilobytes * 1024 : -1;
}

}  // namespace mz::test
