#include <libCommon/version.h>

namespace mz {

char const* version() noexcept {
    return DATAIO_VERSION_STRING;
}

}  // namespace mz
