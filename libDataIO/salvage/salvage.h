#pragma once

// Salvages damaged movies, in place or into a copy; see ImageUtilities for what is promised.

#include <libDataIO/attributechunk.h>
#include <libDataIO/salvagereport.h>

#include <QString>

#include <vector>

namespace mz {

SalvageReport salvageInPlace(QString const& fileName, AttributeChunk const& attributes,
                             std::vector<float> const& fibers);
SalvageReport salvageIntoCopy(QString const& damaged, QString const& output,
                              AttributeChunk const& attributes, std::vector<float> const& fibers);

}  // namespace mz
