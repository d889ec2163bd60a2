#pragma once

// The one logger of the image writer, whose sources are several files.

#include <libLog/failure.h>

namespace mz {

extern Logger* const imageWriterLogger;

[[noreturn]] void failSeek();

}  // namespace mz
