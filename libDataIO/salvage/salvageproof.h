#pragma once

// What reading a movie says of it: whether it opens, and which of its frames can be read.

#include <libDataIO/salvage/damagedmovie.h>
#include <libDataIO/salvage/salvageplan.h>
#include <libDataIO/salvagereport.h>

#include <optional>
#include <vector>

namespace mz {

/// The report on a movie that opens as it is, empty for one that does not.
/// @throws what ImageReader::open throws when that does not tell whether the movie is damaged
std::optional<SalvageReport> soundReport(const QString& fileName);

/// The frames of a plan that cannot be read, in ascending order of their numbers. They are read in
/// the damaged movie: what a plan has not proven must never be found in a file that opens.
/// @throws IOFileException "IU_S_BUSY", std::bad_alloc
std::vector<UselessFrame> uselessFrames(const SalvagePlan& plan, DamagedMovie& movie);

/// The frames of a movie that opens and that cannot be read, in ascending order of their numbers.
/// @throws IOFileException when the system fails, std::bad_alloc
std::vector<UselessFrame> unreadableFrames(const QString& fileName);

}  // namespace mz
