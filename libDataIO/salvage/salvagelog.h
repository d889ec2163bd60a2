#pragma once

// How the modules of the salvage log and fail.

#include <libLog/failure.h>

namespace mz {

extern Logger* const salvageLogger;

/// @param error what errno was after the call that failed
[[noreturn]] void failSalvageRead(int error);

/// Why something whole is left out that the system does not give.
QString whyUnreadable(int error);

/// The file is not as it was when its chunks were looked for.
[[noreturn]] void failSalvageBusy(const QString& fileName);

}  // namespace mz
