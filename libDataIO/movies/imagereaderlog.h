#pragma once

// The one logger of the image reader, whose sources are several files.

#include <libLog/failure.h>

namespace mz {

extern Logger* const imageReaderLogger;

}  // namespace mz
