#pragma once

// The positions of a movie's fibres as callers ask for them.

#include <libDataIO/imagereader.h>
#include <libDataIO/movies/openmovie.h>
#include <libDataIO/payloads/fibergeometry.h>

#include <optional>
#include <vector>

namespace mz {

/// x, y pairs in raster pixel coordinates, filtered and sorted; empty when the movie has none.
/// @throws IOFileException "IR_GRFI_NOSIZE", "IR_GRFI_UMODE"
std::vector<float> fiberPositions(OpenMovie& movie, ImageReader::FiberFilteringMode mode);

/// Empty unless all four edges are known.
std::optional<BundleBox> bundleBox(const AttributeChunk& attributes);

}  // namespace mz
