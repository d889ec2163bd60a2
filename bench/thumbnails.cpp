// Thumbnails, against what Qt offers. Qt's has neither palette nor contrast.

#include <libDataIO/imagereader.h>
#include <libDataIO/paldatagenerator.h>

#include <QImage>

#include <algorithm>
#include <cstring>

#include <bench/movies.h>
#include <bench/plain.h>
#include <bench/subjects.h>

namespace bench {

namespace {

constexpr int boxWidth = 160;
constexpr int boxHeight = 125;
constexpr int thumbnails = 30;

Sum sumOfImage(const QImage& image) {
    Sum sum = 0;
    for (int y = 0; y < image.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x)
            sum += line[x];
    }
    return sum;
}

/// What the thumbnail of a frame must be, computed pixel by pixel: the samples at the centres of
/// equal cells, shown from black to white over the range of every fourth sample of the middle.
Sum expectedSum(const Material& material, int frame) {
    const uint16_t* samples = material.frame(frame);
    const int width = material.width();
    int low = 16383;
    int high = -16383;
    for (int y = material.height() / 10; y < 9 * material.height() / 10; y += 4) {
        for (int i = 0; i < width / 5; ++i) {
            const int sample = static_cast<int16_t>(samples[y * width + width / 10 + 4 * i]);
            if (sample > high)
                high = sample;
            else if (sample > -16384 && sample < low)
                low = sample;
        }
    }
    high = std::max(high, low + 32);
    mz::MzPalette palette;
    palette.initDefault();
    palette.adjustNodeValues(static_cast<float>(low + 32768) / 65535.0F,
                             static_cast<float>(high + 32768) / 65535.0F);
    std::vector<QRgb> colors;
    mz::PalDataGenerator<mz::LerpQRGB<mz::IdxSigned16>>()(palette, colors,
                                                          mz::MakeSpecificValueBlack, 0x8000);
    Sum sum = 0;
    for (int y = 0; y < boxHeight; ++y) {
        for (int x = 0; x < boxWidth; ++x) {
            const int column = (2 * x + 1) * width / (2 * boxWidth);
            const int row = (2 * y + 1) * material.height() / (2 * boxHeight);
            sum += colors[samples[row * width + column]];
        }
    }
    return sum;
}

QImage throughQt(const char* frame, const Material& material) {
    const QImage grey(reinterpret_cast<const uchar*>(frame), material.width(), material.height(),
                      material.width() * 2, QImage::Format_Grayscale16);
    return grey.convertToFormat(QImage::Format_RGB32)
        .scaled(boxWidth, boxHeight, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

}  // namespace

void compareThumbnails(const Context& context) {
    const QString movie = context.path("movie");
    const Scratch scratch({movie});
    record(movie, context.large);
    mz::ImageReader reader(movie);
    const PlainMapping file(movie);

    // Frames that lie far apart, as those of different movies do, and another one each time.
    int next = 0;
    const auto frameFor = [&] { return next = (next + 37) % context.large.frames(); };
    QImage made;
    int shown = 0;

    Comparison comparison;
    comparison.title = "Thumbnails of 160 × 125 pixels of 16-bit frames of 512 × 400";
    comparison.isShort = true;
    comparison.repeats = thumbnails;
    comparison.goals = {{"DataIO", "QImage to RGB32, scaled", 2.2}};
    // Qt's pixels are its own; that they are all there and not black is what can be said of them.
    comparison.expected = 1;
    comparison.cases = {
        {"DataIO",
         [&] {
             shown = frameFor();
             return Sum{reader.thumbnail(made, boxWidth, boxHeight, shown)};
         },
         {},
         [&] { return Sum{sumOfImage(made) == expectedSum(context.large, shown)}; }},
        {"QImage to RGB32, scaled",
         [&] {
             shown = frameFor();
             made = throughQt(file.data() + payloadOffset(shown, context.large.frameBytes()),
                              context.large);
             return Sum{0};
         },
         {},
         [&] {
             return Sum{made.width() == boxWidth && made.height() == boxHeight &&
                        sumOfImage(made) > Sum{0xff000001} * boxWidth * boxHeight};
         }}};
    context.harness.run(comparison);
}

}  // namespace bench
