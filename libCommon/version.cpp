#include <libCommon/version.h>

namespace mz {

const char* version() noexcept {
    return DATAIO_VERSION_STRING;
}

}  // namespace mz
