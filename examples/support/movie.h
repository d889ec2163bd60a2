#pragma once

// What several of the programs show of a movie.

#include <libDataIO/imagereader.h>

#include <QImage>
#include <QSize>

#include <examples/support/console.h>

namespace examples {

/// Whether each frame is a stream of its own, which always comes out as long as the header says.
bool isCompressed(const mz::ImageReader& reader);

/// The size of the movie's pictures. Throws Error when the movie does not say.
QSize pictureSize(const mz::ImageReader& reader);

/// A frame as it is stored, but decoded: pixels, or one sample a fibre where it is vectorized.
struct StoredFrame {
    const void* samples;  ///< valid until the reader is asked for the next frame
    qint64 bytes;         ///< at least what the header promises
};

/// Frame `index`. An uncompressed frame of a damaged file may be shorter than the header says, and
/// only its size tells. Throws Error then, and when there is no such frame.
StoredFrame storedFrame(mz::ImageReader& reader, unsigned int index);

/// A frame's samples as a picture can show them.
struct GreyFrame {
    const void* samples;  ///< valid until the reader is asked for the next frame
    int bits;             ///< 8 or 16
};

/// Frame `index` of a movie of 8- or 16-bit integer pixels, reconstructed where it is vectorized
/// and the reader has a service. Throws Error when there is no such frame, it is too short for a
/// picture, or the pixels are of another type.
GreyFrame greyFrame(mz::ImageReader& reader, unsigned int index);

/// A small picture of a frame, with the colours to be seen on a screen. Throws Error when the movie
/// has none to offer.
QImage thumbnailOf(mz::ImageReader& reader, int frame, QSize largest);

/// All attributes, lines of text as lines.
Facts attributeFacts(const mz::AttributeChunk& attributes);

}  // namespace examples
