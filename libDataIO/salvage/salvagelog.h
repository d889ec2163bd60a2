#pragma once

// The logger of the modules that salvage damaged movies.

#include <libLog/failure.h>

namespace mz {

extern Logger* const salvageLogger;

}  // namespace mz
