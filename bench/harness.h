#pragma once

// Comparisons that hold on a restless machine. All cases of a comparison run once a round, in an
// order that is shuffled anew, and what counts is the ratio of two cases within one round: the
// median of it over all rounds. Times are printed for orientation only.

#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace bench {

/// What a case has seen, so that none is fast by doing less: the sum of all pixels, mostly.
using Sum = uint64_t;

struct Case {
    std::string name;
    std::function<Sum()> work;        ///< what is timed
    std::function<void()> prepare{};  ///< before each work, not timed; may be empty
    std::function<Sum()> verify{};    ///< after each work, not timed; its sum counts then
};

struct Goal {
    std::string of;
    std::string against;
    double atLeast;  ///< how many times as fast `of` is to be
};

struct Comparison {
    std::string title;
    std::vector<Case> cases;
    std::vector<Goal> goals;
    Sum expected = 0;      ///< of every case
    double bytes = 0;      ///< that one work goes through; 0 when it is no matter of throughput
    int repeats = 1;       ///< works a round, for those of less than some milliseconds
    bool isShort = false;  ///< below a millisecond: measured ratios move by 20 %, otherwise by 5 %
};

/// Goes through comparisons and keeps account of wrong sums and missed goals.
class Harness {
public:
    /// How a work is timed. The processor's time leaves out what other programs on the machine
    /// take, and what a work waits for the disk.
    enum class Clock { Wall, Processor };

    Harness(int rounds, Clock clock) : _rounds(rounds), _clock(clock) {}

    /// Runs a comparison and prints its tables.
    void run(const Comparison& comparison);

    /// A line that is no ratio of times: an amount that must not be above a limit.
    void amount(const std::string& what, double reached, double limit, const char* unit);
    void heading(const std::string& title) const;

    /// Counts as a wrong sum does.
    void wrong(const std::string& what);

    /// Prints how many goals were reached. @return false when a sum was wrong
    bool conclude() const;

private:
    using Times = std::vector<std::vector<double>>;  // of a case, of a round; seconds

    Times _measure(const Comparison& comparison);
    double _timed(const Comparison& comparison, const Case& measured);
    void _judge(const Comparison& comparison, const Goal& goal, const Times& times);
    void _count(double shortfall, double slack);

    double _now() const;

    int _rounds;
    Clock _clock;
    std::mt19937 _shuffle{20};
    int _wrong = 0;
    int _reached = 0;
    int _nearly = 0;
    int _missed = 0;
};

/// Median of the values, and the quarters below and above which the others lie.
struct Spread {
    double low;
    double median;
    double high;
};
Spread spreadOf(std::vector<double> values);

/// Keeps this process on one core, the last one that it may use.
void pinToOneCore();

}  // namespace bench
