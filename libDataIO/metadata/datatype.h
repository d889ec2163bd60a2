#pragma once

// What the attribute "data_type" says of frames, checked against the frames themselves.

#include <libDataIO/attributechunk.h>

namespace mz {

/// Frames that have not exactly the size of an image can only be vectorized ones: sets "data_type"
/// to "vec" or, where it says so wrongly, to "imp". Does nothing when the header does not tell the
/// image's size.
/// @param frameSize uncompressed bytes of the last frame; 0 when there is none, and nothing is done
void reconcileDataType(AttributeChunk& attributes, unsigned int frameSize);

}  // namespace mz
