#pragma once

// Ratios of speed that a busy machine does not move much: the processor's time is counted, not the
// clock's, and the works to compare take turns.

#include <algorithm>
#include <ctime>
#include <functional>
#include <utility>
#include <vector>

namespace mz::test {

using Work = std::function<void()>;

inline double processorTime(const Work& work) {
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    };
    const double start = now();
    work();
    return now() - start;
}

inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// How many times as fast `work` is as `other`: the median over rounds in which each runs `repeats`
/// times.
inline double speedOver(const Work& other, const Work& work, int repeats = 1) {
    constexpr int rounds = 9;
    const auto repeated = [repeats](const Work& once) {
        return processorTime([&] {
            for (int i = 0; i < repeats; ++i)
                once();
        });
    };
    repeated(other);  // what is only done once is left out
    repeated(work);
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        const double own = repeated(work);
        ratios.push_back(repeated(other) / own);
    }
    return median(ratios);
}

/// Measures until `work` is seen to be more than `bound` times as fast as `other`, a few times at
/// most: a machine that is busy with something else slows one of the two for a while, a technique
/// that is lost slows it always.
/// @return the last ratio
inline double speedAbove(double bound, const Work& other, const Work& work, int repeats = 1) {
    constexpr int attempts = 5;
    double ratio = 0;
    for (int attempt = 0; attempt < attempts && !(ratio > bound); ++attempt)
        ratio = speedOver(other, work, repeats);
    return ratio;
}

}  // namespace mz::test
