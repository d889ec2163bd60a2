#pragma once

// The recording machine's time zone.

#include <ctime>

namespace mz {

/// Offset of local time from UTC in seconds, east positive, as in force now; 0 when the system does
/// not tell.
inline int localOffsetFromUtc() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    tzset();  // unlike localtime, the re-entrant form need not look at the time zone's variables
    return localtime_r(&now, &local) != nullptr ? static_cast<int>(local.tm_gmtoff) : 0;
}

}  // namespace mz
