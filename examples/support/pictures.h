#pragma once

// Grey pictures in and out: anything that Qt reads becomes 8- or 16-bit samples, samples become PNG
// files.

#include <QByteArray>
#include <QImage>
#include <QString>
#include <QStringList>

#include <cstddef>

namespace examples {

/// Pictures that can become one movie.
struct PictureSeries {
    QStringList files;
    int width = 0;
    int height = 0;
    int bits = 0;  ///< 16 when one of them has more than 8 bits a channel, else 8
};

/// The pictures of a folder that Qt can read, sorted by name. Throws Error when there are none.
QStringList picturesOf(const QString& folder);

/// Looks at the headers of the pictures. Throws Error, naming the file, for one that cannot be read
/// or has another size than the first.
PictureSeries surveyPictures(const QStringList& files);

/// The grey samples of one picture of a series, rows from the top without padding, one or two bytes
/// each. Going from 8 to 16 bits keeps white white: every value is multiplied by 257. Throws Error
/// when the picture cannot be read.
QByteArray loadSamples(const QString& file, const PictureSeries& series, int bits);

/// What a picture shows of its samples.
enum class Contrast {
    Exact,     ///< the samples themselves
    Stretched  ///< 8 bits from the darkest to the brightest, less half a percent at either end
};

/// Samples of 8 or 16 bits as a grey picture that owns its pixels.
/// @param samples width * height samples, rows from the top without padding
QImage greyPicture(const void* samples, int width, int height, int bits, Contrast contrast);

/// Writes a PNG file, over an old one. Throws Error when that fails.
void savePng(const QImage& image, const QString& file);

}  // namespace examples
