#pragma once

// A movie's frames as the examples show them.

#include <libDataIO/imagereader.h>

#include <QImage>

#include <cstddef>

#include <examples/support/pictures.h>

namespace examples {

/// The size of the movie's pictures. Throws Error when the movie does not say.
QSize pictureSize(mz::ImageReader const& reader);

/// A frame's samples as a picture can show them.
struct GreyFrame {
    void const* samples;  ///< valid until the reader is asked for the next frame
    int bits;             ///< 8 or 16
};

/// Frame `index` of a movie of 8- or 16-bit integer pixels, reconstructed where it is vectorized
/// and the reader has a service. Throws Error when there is no such frame, it is too short for a
/// picture, or the pixels are of another type.
GreyFrame greyFrame(mz::ImageReader& reader, unsigned int index);

}  // namespace examples
