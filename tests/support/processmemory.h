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

/// How much more memory the process had in the course of an action than before it.
template <class Action>
int64_t memoryTakenBy(Action action) {
    // The peak of what happened before is forgotten, where the system lets one.
    std::ofstream("/proc/self/clear_refs") << '5';
    const int64_t before = processMemory("VmHWM");
    action();
    return processMemory("VmHWM") - before;
}

}  // namespace mz::test
