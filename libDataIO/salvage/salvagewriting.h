#pragma once

// Carries out the plan of a salvage.

#include <libDataIO/filewriter.h>
#include <libDataIO/salvage/salvageplan.h>

#include <vector>

namespace mz {

/// Cuts a file, whose end is then the writer's cursor.
void cutAt(FileWriter& writer, qint64 offset);

/// Writes what the plan keeps, and its tail, into an empty file.
/// @return the frames that cannot be read in the damaged movie, in ascending order of their
///         numbers; when there are any, what was written is no movie
std::vector<UselessFrame> writeCopy(const SalvagePlan& plan, DamagedMovie& movie,
                                    FileWriter& writer);

/// Writes the tail at the writer's cursor, which is where it was planned.
void writeTail(const SalvagePlan& plan, DamagedMovie& movie, FileWriter& writer);

// The tail of a movie that stays in place is written twice: whole behind all that the file holds,
// and then where it belongs. At any moment the file ends with a whole tail, or with one that is
// marked as unfinished and that no salvage takes notice of.

/// The plan with its tail so far behind its place that it does not overlap it.
SalvagePlan withTailBehindItsPlace(const SalvagePlan& plan, const ChunkScan& scan);

/// Writes the tail of that plan behind a mark; the movie opens then.
void appendUnfinishedTail(const SalvagePlan& plan, DamagedMovie& movie, FileWriter& writer);

/// Writes that tail where the damaged movie was torn, or else ended, and cuts what is behind it.
/// After a failure the bytes of a torn chunk are back, as far as the system lets it.
void moveTail(const SalvagePlan& plan, DamagedMovie& movie, FileWriter& writer,
              const QString& fileName);

}  // namespace mz
