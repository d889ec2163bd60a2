#include <libDataIO/ireconstructionservice.h>

namespace mz {

// Defined here so that the interface has one home for its type information, inside the library.
IReconstructionService::~IReconstructionService() = default;

}  // namespace mz
