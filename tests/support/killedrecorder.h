#pragma once

// A recorder in a process of its own that is killed at some moment.

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <thread>

namespace mz::test {

/// A child of this process rather than a program of its own: it lives for a few milliseconds, in
/// which a program would not even have started under a sanitizer.
class KilledRecorder {
public:
    using Report = std::function<void(int)>;

    /// @param record records until it is killed, and reports numbers above 0 while it does
    explicit KilledRecorder(const std::function<void(const Report&)>& record) {
        int ends[2];
        EXPECT_EQ(::pipe(ends), 0);
        _reports = ends[0];
        _child = ::fork();
        if (_child == 0) {
            ::close(ends[0]);
            const int pipe = ends[1];
            record([pipe](int number) {
                if (::write(pipe, &number, sizeof number) != sizeof number) _exit(1);
            });
            _exit(0);
        }
        ::close(ends[1]);
    }
    KilledRecorder(const KilledRecorder&) = delete;
    KilledRecorder& operator=(const KilledRecorder&) = delete;
    ~KilledRecorder() { ::close(_reports); }

    /// @param life from the first report on
    /// @return the last report
    int killAfter(std::chrono::microseconds life) {
        int last = readReport();
        std::this_thread::sleep_for(life);
        ::kill(_child, SIGKILL);
        int status = 0;
        EXPECT_EQ(::waitpid(_child, &status, 0), _child);
        EXPECT_TRUE(WIFSIGNALED(status)) << "the recorder ended by itself";
        while (const int report = readReport())
            last = report;
        return last;
    }

private:
    /// 0 when there are no more.
    int readReport() const {
        int report = 0;
        return ::read(_reports, &report, sizeof report) == sizeof report ? report : 0;
    }

    int _reports = -1;
    pid_t _child = -1;
};

}  // namespace mz::test
