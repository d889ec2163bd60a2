#pragma once

// Carries out the plan of a salvage.

#include <libDataIO/filewriter.h>
#include <libDataIO/salvage/salvageplan.h>

namespace mz {

/// Cuts a file, whose end is then the writer's cursor.
void cutAt(FileWriter& writer, qint64 offset);

/// Writes what the plan keeps, and its tail, into an empty file.
void writeCopy(const SalvagePlan& plan, DamagedMovie& movie, FileWriter& writer);

/// Writes the tail at the writer's cursor, which is where it was planned.
void writeTail(const SalvagePlan& plan, DamagedMovie& movie, FileWriter& writer);

/// Writes the tail over the torn chunk with which the file ended, and cuts what is behind it. After
/// a failure the torn chunk is back, as far as the system lets it.
/// @param plan with its tail in the place of the torn chunk
void replaceTornChunk(const SalvagePlan& plan, DamagedMovie& movie, FileWriter& writer,
                      const QString& fileName);

}  // namespace mz
