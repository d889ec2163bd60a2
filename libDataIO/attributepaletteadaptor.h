#pragma once

// Keeps a palette as attributes of a movie, under an optional prefix so that several palettes fit
// into one map.
//
//   pal_cropMin, pal_cropMax, pal_name
//   pal_nbcols                      number of nodes ("pal_nbnodes" is read where it is absent)
//   pal_n0_val                      position of the first node
//   pal_n0_r, pal_n0_g, pal_n0_b    its colour; then pal_n1_val and so on
//
// A prefix "x" makes that "x_pal_cropMin" and so on.

#include <libCommon/export.h>
#include <libCommon/mzpalette.h>

#include <QString>

namespace mz {

class AttributeChunk;

class DATAIO_EXPORT AttributePaletteAdaptor {
public:
    /// Sets the keys of `palette`, positions clamped to [0, 1] (a NaN is 0) and colours as they
    /// are. Keys of an earlier palette with more nodes stay.
    static void paletteToAttributes(const MzPalette& palette, AttributeChunk& attributes,
                                    const QString& prefix = QString());

    /// Replaces `palette`, whose former content is lost in every case, by the one in `attributes`.
    /// Positions and colours are clamped to [0, 1] and nodes sorted by position, equal ones in the
    /// order of their numbers. Crop ends and name that are missing keep a new palette's values.
    /// False when there is no number of nodes, or when a node is incomplete or no number: then the
    /// nodes before it are in `palette`, crop range and name are a new palette's.
    static bool attributesToPalette(const AttributeChunk& attributes, MzPalette& palette,
                                    const QString& prefix = QString());
};

}  // namespace mz
