#pragma once

// Salvages damaged movies, in place or into a copy; see ImageUtilities for what is promised.

#include <libDataIO/attributechunk.h>
#include <libDataIO/salvagereport.h>

#include <QString>

#include <vector>

namespace mz {

SalvageReport salvageInPlace(const QString& fileName, const AttributeChunk& attributes,
                             const std::vector<float>& fibers);
SalvageReport salvageIntoCopy(const QString& damaged, const QString& output,
                              const AttributeChunk& attributes, const std::vector<float>& fibers);

}  // namespace mz
