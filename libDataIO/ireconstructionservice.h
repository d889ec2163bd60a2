#pragma once

// What an application implements to turn the samples of a vectorized movie (one per optical fibre)
// back into images. ImageReader calls it.

#include <libCommon/export.h>

#include <boost/range/iterator_range.hpp>

#include <cstdint>

namespace mz {

/// One service serves one reader at a time; readers that are given none get a clone of the
/// class-wide prototype (ImageReader::setReconstructionServiceFactory).
class DATAIO_EXPORT IReconstructionService {
public:
    virtual ~IReconstructionService();

    /// Called once whenever a vectorized movie is opened.
    /// @param fibers x, y pairs of all fibres in raster pixel coordinates, in the order of the
    ///        samples; valid during the call only
    /// @param width, height size of the image to reconstruct in pixels; 0 when the movie does not
    ///        say
    /// @param fovX, fovY field of view of the image; 0 when the movie does not say
    /// @param minX, maxX, minY, maxY the bundle's bounding box in raster pixel coordinates; -5000
    ///        and 5000 where the movie does not say
    /// @return whether the service can reconstruct; the reader does not look at it
    virtual bool prepare(boost::iterator_range<const float*> fibers, int width, int height,
                         float fovX, float fovY, float minX, float maxX, float minY,
                         float maxY) = 0;

    /// Called for each frame.
    /// @param input one sample a fibre, in native byte order; valid during the call only
    /// @param output width × height samples, row by row from the top. They hold zeros at first,
    ///        later the previous image.
    /// @return whether it succeeded; the reader does not look at it
    virtual bool reconstruct(boost::iterator_range<const uint16_t*> input,
                             boost::iterator_range<uint16_t*> output) = 0;

    /// A new service of the same kind; the caller owns it.
    virtual IReconstructionService* clone() const = 0;
};

}  // namespace mz
