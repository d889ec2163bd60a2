#include <sched.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <numeric>

#include <bench/harness.h>

namespace bench {

namespace {

size_t positionOf(const Comparison& comparison, const std::string& name) {
    const auto found = std::find_if(comparison.cases.begin(), comparison.cases.end(),
                                    [&](const Case& c) { return c.name == name; });
    return static_cast<size_t>(found - comparison.cases.begin());
}

std::string timeText(double seconds) {
    char text[32];
    if (seconds >= 1e-3)
        std::snprintf(text, sizeof text, "%.1F ms", seconds * 1e3);
    else
        std::snprintf(text, sizeof text, "%.2F µs", seconds * 1e6);
    return text;
}

void printTimes(const Comparison& comparison, const std::vector<std::vector<double>>& times) {
    const bool hasSpeed = comparison.bytes > 0;
    std::printf("| case | median |%s\n|---|---|%s\n", hasSpeed ? " GB/s |" : "",
                hasSpeed ? "---|" : "");
    for (size_t i = 0; i < times.size(); ++i) {
        const double median = spreadOf(times[i]).median;
        std::printf("| %s | %s |", comparison.cases[i].name.c_str(), timeText(median).c_str());
        if (hasSpeed) std::printf(" %.3F |", comparison.bytes / median / 1e9);
        std::printf("\n");
    }
}

}  // namespace

Spread spreadOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t last = values.size() - 1;
    return {values[last / 4], values[last / 2], values[last - last / 4]};
}

void pinToOneCore() {
    cpu_set_t allowed;
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) return;
    for (int core = CPU_SETSIZE - 1; core >= 0; --core) {
        if (!CPU_ISSET(core, &allowed)) continue;
        CPU_ZERO(&allowed);
        CPU_SET(core, &allowed);
        sched_setaffinity(0, sizeof allowed, &allowed);
        return;
    }
}

void Harness::heading(const std::string& title) const {
    std::printf("\n### %s\n\n", title.c_str());
    std::fflush(stdout);
}

void Harness::run(const Comparison& comparison) {
    heading(comparison.title);
    const Times times = _measure(comparison);
    printTimes(comparison, times);
    if (!comparison.goals.empty())
        std::printf(
            "\n| ratio of speed | against | goal | median | middle half | "
            "|\n|---|---|---|---|---|---|\n");
    for (const Goal& goal : comparison.goals)
        _judge(comparison, goal, times);
    std::fflush(stdout);
}

Harness::Times Harness::_measure(const Comparison& comparison) {
    Times times(comparison.cases.size());
    std::vector<size_t> order(comparison.cases.size());
    std::iota(order.begin(), order.end(), size_t{0});
    for (int round = 0; round < _rounds; ++round) {
        std::shuffle(order.begin(), order.end(), _shuffle);
        for (const size_t i : order)
            times[i].push_back(_timed(comparison, comparison.cases[i]));
    }
    return times;
}

double Harness::_timed(const Comparison& comparison, const Case& measured) {
    double total = 0;
    for (int i = 0; i < comparison.repeats; ++i) {
        if (measured.prepare) measured.prepare();
        const double start = _now();
        Sum sum = measured.work();
        total += _now() - start;
        if (measured.verify) sum = measured.verify();
        if (sum != comparison.expected)
            wrong(comparison.title + ", " + measured.name + ": the sum is " + std::to_string(sum) +
                  " in place of " + std::to_string(comparison.expected));
    }
    return total / comparison.repeats;
}

double Harness::_now() const {
    timespec time{};
    clock_gettime(_clock == Clock::Wall ? CLOCK_MONOTONIC : CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

void Harness::_judge(const Comparison& comparison, const Goal& goal, const Times& times) {
    const std::vector<double>& own = times[positionOf(comparison, goal.of)];
    const std::vector<double>& other = times[positionOf(comparison, goal.against)];
    std::vector<double> ratios(own.size());
    std::transform(other.begin(), other.end(), own.begin(), ratios.begin(), std::divides<>());
    const Spread ratio = spreadOf(ratios);
    const double slack = comparison.isShort ? 0.8 : 0.95;
    const char* verdict = "**missed**";
    if (ratio.median >= goal.atLeast) {
        verdict = "reached";
        ++_reached;
    } else if (ratio.median >= goal.atLeast * slack) {
        verdict = "within the slack";
        ++_nearly;
    } else {
        ++_missed;
    }
    std::printf("| %s | %s | %.2F | %.2F | %.2F..%.2F | %s |\n", goal.of.c_str(),
                goal.against.c_str(), goal.atLeast, ratio.median, ratio.low, ratio.high, verdict);
}

void Harness::amount(const std::string& what, double reached, double limit, const char* unit) {
    const bool isWithin = reached <= limit;
    ++(isWithin ? _reached : _missed);
    std::printf("| %s | %.2F %s | %.2F %s | %s |\n", what.c_str(), limit, unit, reached, unit,
                isWithin ? "reached" : "**missed**");
    std::fflush(stdout);
}

void Harness::wrong(const std::string& what) {
    ++_wrong;
    std::printf("WRONG: %s\n", what.c_str());
}

bool Harness::conclude() const {
    std::printf(
        "\n%d goals reached, %d within the slack of measuring, %d missed; %d wrong results\n",
        _reached, _nearly, _missed, _wrong);
    return _wrong == 0;
}

}  // namespace bench
