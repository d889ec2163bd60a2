#pragma once

// Frames to take thumbnails of, the fixture that takes them, and a naive rendering to compare their
// pixels with.

#include <libDataIO/attributepaletteadaptor.h>
#include <libDataIO/paldatagenerator.h>

#include <QImage>

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include <tests/support/moviereader.h>

namespace mz::test {

constexpr int width = 30;
constexpr int height = 20;

/// Samples from 100 to 1,249, rising from pixel to pixel.
inline QByteArray picture16() {
    QByteArray frame;
    for (int i = 0; i < width * height; ++i)
        frame += le16(static_cast<uint16_t>(100 + i * 23 % 1150));
    return frame;
}

inline QByteArray picture8() {
    QByteArray frame;
    for (int i = 0; i < width * height; ++i)
        frame += static_cast<char>(i * 7);
    return frame;
}

inline MovieBytes withHeader(MZImagePixelType type) {
    MovieBytes movie;
    movie.size(width, height).attribute("pixtype", type);
    return movie.endian(Order::Little);
}

inline MovieBytes withPalette(MovieBytes movie, const MzPalette& palette) {
    AttributeChunk attributes;
    AttributePaletteAdaptor::paletteToAttributes(palette, attributes, QString());
    for (const auto& [key, value] : attributes.attributes())
        movie.attribute(key.toLatin1().constData(), value._val.toLatin1());
    return movie;
}

/// A thumbnail, its size and its frame, as someone would make it who had never heard of tables.
struct Naive {
    QByteArray frame;
    int frameWidth, frameHeight, maxWidth, maxHeight;

    float step() const {
        return std::max(static_cast<float>(frameWidth) / static_cast<float>(maxWidth),
                        static_cast<float>(frameHeight) / static_cast<float>(maxHeight));
    }
    int width() const { return static_cast<int>(static_cast<float>(frameWidth) / step()); }
    int height() const { return static_cast<int>(static_cast<float>(frameHeight) / step()); }

    uint16_t sample16(int i, int j) const {
        const float sx = static_cast<float>(frameWidth) / static_cast<float>(width());
        const float sy = static_cast<float>(frameHeight) / static_cast<float>(height());
        return test::sample16(frame, pixel(i, j, sx, sy));
    }
    uchar sample8(int i, int j) const {
        return static_cast<uchar>(frame[pixel(i, j, step(), step())]);
    }

    /// Lowest and highest sample of every fourth pixel of every fourth row in the middle.
    std::pair<int, int> window() const {
        int min = 16383;
        int max = -16383;
        for (int row = frameHeight / 10; row < 9 * frameHeight / 10; row += 4) {
            for (int k = 0; k < frameWidth / 5; ++k) {
                const int at = row * frameWidth + frameWidth / 10 + 4 * k;
                const auto v = static_cast<int16_t>(test::sample16(frame, at));
                if (v > max)
                    max = v;
                else if (v > -16384 && v < min)
                    min = v;
            }
        }
        return {min, std::max(max, min + 32)};
    }

private:
    int pixel(int i, int j, float sx, float sy) const {
        const auto row = static_cast<int>((static_cast<float>(j) + 0.5F) * sy);
        const auto column = static_cast<int>((static_cast<float>(i) + 0.5F) * sx);
        return row * frameWidth + column;
    }
};

class Thumbnail : public MovieReader {
protected:
    Thumbnail() : image(3, 2, QImage::Format_RGB32) {
        image.fill(Qt::red);
        before = image.copy();
    }

    void expectNone(int maxWidth = 10, int maxHeight = 10, int frameIdx = 0) {
        EXPECT_FALSE(reader.thumbnail(image, maxWidth, maxHeight, frameIdx));
        EXPECT_EQ(image, before);
    }

    static QRgb pixelOf(const QImage& picture, int i, int j) {
        return reinterpret_cast<const QRgb*>(picture.constScanLine(j))[i];
    }

    /// Expects the pixels of the palette once its ramp is squeezed from `min` to `max`, fractions
    /// of its crop range.
    void expectThrough(MzPalette palette, float min, float max, uint16_t mask, const Naive& naive) {
        ASSERT_EQ(image.size(), QSize(naive.width(), naive.height()));
        ASSERT_EQ(image.format(), QImage::Format_RGB32);
        palette.adjustNodeValues(min, max);
        std::vector<QRgb> table;
        PalDataGenerator<LerpQRGB<IdxSigned16>>()(palette, table, MakeSpecificValueBlack, mask);
        for (int j = 0; j < naive.height(); ++j)
            for (int i = 0; i < naive.width(); ++i)
                ASSERT_EQ(pixelOf(image, i, j), table[naive.sample16(i, j)]) << i << ", " << j;
    }

    QImage image;
    QImage before;
};

/// Gives the same image for every frame.
class ImageService : public IReconstructionService {
public:
    bool prepare(boost::iterator_range<const float*>, int, int, float, float, float, float, float,
                 float) override {
        return true;
    }
    bool reconstruct(boost::iterator_range<const uint16_t*>,
                     boost::iterator_range<uint16_t*> output) override {
        const QByteArray frame = picture16();
        std::memcpy(output.begin(), frame.constData(), static_cast<size_t>(frame.size()));
        return true;
    }
    IReconstructionService* clone() const override { return new ImageService; }
};

}  // namespace mz::test
