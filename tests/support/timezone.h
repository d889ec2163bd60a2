#pragma once

// The time zone of the test program, set while an object lives.

#include <cstdlib>
#include <ctime>
#include <string>

namespace mz::test {

/// Puts the process into a time zone of POSIX form while it lives.
class TimeZone {
public:
    explicit TimeZone(const char* zone) {
        const char* before = getenv("TZ");
        _had = before != nullptr;
        if (_had) _before = before;
        setenv("TZ", zone, 1);
        tzset();
    }
    ~TimeZone() {
        if (_had)
            setenv("TZ", _before.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    bool _had;
    std::string _before;
};

}  // namespace mz::test
