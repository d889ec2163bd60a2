#include <libCommon/locationinfo.h>

namespace mz {

const char* const LocationInfo::_fileNameNA = "N/A";
const char* const LocationInfo::_methodNameNA = "N/A";
const LocationInfo LocationInfo::locationUnavailable(_fileNameNA, _methodNameNA, 0);

}  // namespace mz
