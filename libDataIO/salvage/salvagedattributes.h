#pragma once

// The attributes of a salvaged movie.

#include <libDataIO/salvage/damagedmovie.h>

namespace mz {

/// What the movie says of itself and, where it says nothing, what is given, but for the times in
/// it: they are those of another movie. As in a recording "endian" is there in any case, and
/// "data_type" fits the last frame, which is read.
AttributeChunk salvagedAttributes(DamagedMovie& movie, AttributeChunk given);

}  // namespace mz
