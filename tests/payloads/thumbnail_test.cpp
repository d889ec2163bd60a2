// The arithmetic of thumbnails on frames by hand and at random: grid, contrast window and pixels.

#include <libDataIO/paldatagenerator.h>
#include <libDataIO/payloads/samplebuffer.h>
#include <libDataIO/payloads/thumbnail.h>

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QSet>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include <tests/support/bytes.h>
#include <tests/support/limits.h>
#include <tests/support/palettes.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr int largest = std::numeric_limits<int>::max();

ThumbnailGrid grid(int width, int height, int maxWidth, int maxHeight) {
    const auto found = thumbnailGrid(width, height, maxWidth, maxHeight);
    EXPECT_TRUE(found.has_value());
    return found.value_or(ThumbnailGrid{1, 1, 1, 1, 1, 1, 1});
}

/// A frame of samples that start at an odd address, as frames in a file may.
class Frame16 {
public:
    Frame16(int width, int height, const std::vector<int>& samples)
        : _width(width), _height(height), _bytes("x") {
        for (const int sample : samples)
            _bytes += le16(static_cast<uint16_t>(sample));
    }
    Frame16(int width, int height, const QByteArray& bytes)
        : _width(width), _height(height), _bytes("x" + bytes) {}

    const char* data() const { return _bytes.constData() + 1; }
    int width() const { return _width; }
    int height() const { return _height; }
    uint16_t at(int column, int row) const {
        const qsizetype i = 1 + 2 * (qsizetype{row} * _width + column);
        return static_cast<uint16_t>(static_cast<unsigned char>(_bytes[i]) |
                                     static_cast<unsigned char>(_bytes[i + 1]) << 8);
    }
    ContrastWindow window() const { return contrastWindow(data(), _width, _height); }

private:
    int _width;
    int _height;
    QByteArray _bytes;
};

Frame16 constantFrame(int width, int height, int sample) {
    return Frame16(width, height, std::vector<int>(static_cast<size_t>(width * height), sample));
}

Frame16 randomFrame(int width, int height, unsigned int seed) {
    std::mt19937 random(seed);
    std::vector<int> samples(static_cast<size_t>(width * height));
    for (int& sample : samples)
        sample = static_cast<int>(random() % 65536);
    return Frame16(width, height, samples);
}

TEST(ThumbnailGrid, KeepsTheProportions) {
    const ThumbnailGrid quarter = grid(640, 480, 160, 160);
    EXPECT_EQ(quarter.width, 160);
    EXPECT_EQ(quarter.height, 120);
    EXPECT_EQ(quarter.step, 4.0F);
    EXPECT_EQ(quarter.stepX, 4.0F);
    EXPECT_EQ(quarter.stepY, 4.0F);

    const ThumbnailGrid uneven = grid(500, 333, 160, 120);
    EXPECT_EQ(uneven.step, 500.0F / 160.0F);
    EXPECT_EQ(uneven.width, 160);
    EXPECT_EQ(uneven.height, 106);  // 106.56
    EXPECT_EQ(uneven.stepY, 333.0F / 106.0F);

    const ThumbnailGrid enlarged = grid(2, 1, 100, 100);
    EXPECT_EQ(enlarged.width, 100);
    EXPECT_EQ(enlarged.height, 50);
}

TEST(ThumbnailGrid, IsEmptyWhereASideHasNoPixel) {
    EXPECT_FALSE(thumbnailGrid(0, 10, 10, 10));
    EXPECT_FALSE(thumbnailGrid(10, -1, 10, 10));
    EXPECT_FALSE(thumbnailGrid(10, 10, 0, 10));
    EXPECT_FALSE(thumbnailGrid(10, 10, 10, -5));
    EXPECT_FALSE(thumbnailGrid(1000, 1, 100, 100));
    EXPECT_FALSE(thumbnailGrid(1, largest, 100, 100));
    EXPECT_TRUE(thumbnailGrid(1000, 10, 100, 100));
}

TEST(ThumbnailGrid, TakesTheLargestNumbers) {
    EXPECT_EQ(grid(1, 1, largest, largest).width, largest);
    EXPECT_EQ(grid(largest, largest, 100, 100).width, 100);
    EXPECT_EQ(grid(largest, largest, largest, largest).height, largest);
}

/// The window in one line after the other: rows, columns and comparisons as they are described.
ContrastWindow naiveWindow(const Frame16& frame) {
    int min = 16383;
    int max = -16383;
    for (int row = frame.height() / 10; row < 9 * frame.height() / 10; row += 4) {
        int column = frame.width() / 10;
        for (int count = frame.width() / 5; count > 0; --count, column += 4) {
            const int v = static_cast<int16_t>(frame.at(column, row));
            const bool raises = v > max;
            if (raises) max = v;
            if (!raises && v > -16384 && v < min) min = v;
        }
    }
    if (max < min + 32) max = min + 32;
    return {min, max};
}

TEST(ContrastWindow, LooksAtTheSamplesOfTheNaiveOne) {
    for (unsigned int seed = 0; seed < 60; ++seed) {
        const Frame16 frame = randomFrame(static_cast<int>(5 + seed * 7 % 60),
                                          static_cast<int>(1 + seed * 11 % 50), seed);
        const ContrastWindow expected = naiveWindow(frame);
        EXPECT_EQ(frame.window().min, expected.min) << seed;
        EXPECT_EQ(frame.window().max, expected.max) << seed;
    }
}

TEST(ContrastWindow, IsAtLeastThirtyTwoWide) {
    std::vector<int> samples;
    for (int i = 0; i < 40 * 40; ++i)
        samples.push_back(100 + (i / 4 + 10) % 11);
    const ContrastWindow window = Frame16(40, 40, samples).window();
    EXPECT_EQ(window.min, 100);
    EXPECT_EQ(window.max, 132);
}

/// A frame of one looked-at row: 10 wide columns 1 and 5, row 1 of 10 (rows 1, 5).
ContrastWindow windowOf(int first, int second, int third, int fourth) {
    std::vector<int> samples(100, 9999);
    samples[11] = first;
    samples[15] = second;
    samples[51] = third;
    samples[55] = fourth;
    return Frame16(10, 10, samples).window();
}

TEST(ContrastWindow, NeverTakesASampleThatRaisesTheMaximumAsMinimum) {
    // Rising all the way: none of them is a minimum.
    EXPECT_EQ(windowOf(100, 200, 300, 400).min, 16383);
    EXPECT_EQ(windowOf(100, 200, 300, 400).max, 16383 + 32);
    // The second is the first that does not raise the maximum.
    EXPECT_EQ(windowOf(400, 300, 500, 600).min, 300);
    EXPECT_EQ(windowOf(400, 300, 500, 600).max, 600);
}

TEST(ContrastWindow, PassesOverTheLowestSamples) {
    EXPECT_EQ(windowOf(1000, -16384, -32768, 1000).min, 1000);
    EXPECT_EQ(windowOf(1000, -16383, -32768, 1000).min, -16383);
}

TEST(ContrastWindow, LiesAtItsStartWhereThereIsNothingToLookAt) {
    for (const auto& [width, height] : {std::pair(1, 1), std::pair(4, 100), std::pair(100, 1)}) {
        const ContrastWindow window = constantFrame(width, height, 5).window();
        EXPECT_EQ(window.min, 16383) << width;
        EXPECT_EQ(window.max, 16415) << width;
    }
}

TEST(SqueezeRamp, PutsTheRampOntoTheWindow) {
    MzPalette palette = grey(0, 1000);
    const ContrastFaults faults = squeezeRamp(palette, {250, 750});
    EXPECT_FALSE(faults.badCropRange || faults.minOutside || faults.maxOutside);
    EXPECT_EQ(palette._nodes.front()._val, 0.25F);
    EXPECT_EQ(palette._nodes.back()._val, 0.75F);
}

TEST(SqueezeRamp, CutsEndsOutsideTheCropRange) {
    struct Case {
        ContrastWindow window;
        bool minOutside, maxOutside;
        float first, last;
    };
    for (const Case& c :
         {Case{{-1, 500}, true, false, 0, 0.5F}, Case{{500, 1001}, false, true, 0.5F, 1},
          Case{{-10, 2000}, true, true, 0, 1}, Case{{1001, 2000}, true, true, 0, 1},
          Case{{-20, -10}, true, true, 0, 1}, Case{{0, 1000}, false, false, 0, 1}}) {
        MzPalette palette = grey(0, 1000);
        const ContrastFaults faults = squeezeRamp(palette, c.window);
        EXPECT_FALSE(faults.badCropRange);
        EXPECT_EQ(faults.minOutside, c.minOutside) << c.window.min;
        EXPECT_EQ(faults.maxOutside, c.maxOutside) << c.window.min;
        EXPECT_EQ(palette._nodes.front()._val, c.first) << c.window.min;
        EXPECT_EQ(palette._nodes.back()._val, c.last) << c.window.min;
    }
}

TEST(SqueezeRamp, LeavesAPaletteWithAnEmptyCropRange) {
    for (const auto& [cropMin, cropMax] :
         {std::pair(7, 7), std::pair(8, 7), std::pair(largest, -largest - 1)}) {
        MzPalette palette = grey(cropMin, cropMax);
        const MzPalette before = palette;
        const ContrastFaults faults = squeezeRamp(palette, {0, 100});
        EXPECT_TRUE(faults.badCropRange);
        EXPECT_FALSE(faults.minOutside || faults.maxOutside);
        EXPECT_EQ(palette, before);
    }
}

TEST(SqueezeRamp, TakesTheWidestCropRange) {
    MzPalette palette = grey(-largest - 1, largest);
    EXPECT_FALSE(squeezeRamp(palette, {-16383, 32767}).badCropRange);
    EXPECT_NEAR(palette._nodes.front()._val, 0.5F, 1e-5F);
}

int naiveIndex(int i, float step) {
    return static_cast<int>(std::floor((static_cast<float>(i) + 0.5F) * step));
}

/// Compares every pixel with the look-up of the sample that it comes from.
void expectAsNaive16(const Frame16& frame, int maxWidth, int maxHeight, const MzPalette& palette,
                     uint16_t mask) {
    const ThumbnailGrid sampling = grid(frame.width(), frame.height(), maxWidth, maxHeight);
    QImage image;
    ASSERT_TRUE(renderThumbnail16(frame.data(), sampling, palette, mask, image));
    ASSERT_EQ(image.size(), QSize(sampling.width, sampling.height));
    ASSERT_EQ(image.format(), QImage::Format_RGB32);
    std::vector<QRgb> table;
    PalDataGenerator<LerpQRGB<IdxSigned16>>()(palette, table, MakeSpecificValueBlack, mask);
    const float sx = static_cast<float>(frame.width()) / static_cast<float>(sampling.width);
    const float sy = static_cast<float>(frame.height()) / static_cast<float>(sampling.height);
    for (int j = 0; j < sampling.height; ++j)
        for (int i = 0; i < sampling.width; ++i)
            ASSERT_EQ(image.pixel(i, j), table[frame.at(naiveIndex(i, sx), naiveIndex(j, sy))])
                << i << ", " << j;
}

TEST(Thumbnail16, ShowsTheSampleUnderEachPixelThroughThePalette) {
    const Frame16 frame = randomFrame(97, 61, 3);
    for (const auto& [width, height] : {std::pair(97, 61), std::pair(40, 40), std::pair(10, 50),
                                        std::pair(200, 300), std::pair(33, 7)})
        expectAsNaive16(frame, width, height, grey(-20000, 30000), 0x8000);
}

TEST(Thumbnail16, ShowsTheMaskLevelBlack) {
    const Frame16 frame(2, 2, {0x8000, 100, 200, 0});
    MzPalette white = grey(0, 100);
    for (PalNode& node : white._nodes)
        node._col = PalColor(1, 1, 1);
    QImage image;
    ASSERT_TRUE(renderThumbnail16(frame.data(), grid(2, 2, 2, 2), white, 0x8000, image));
    EXPECT_EQ(image.pixel(0, 0), 0xff000000U);
    EXPECT_EQ(image.pixel(1, 0), 0xffffffffU);
    ASSERT_TRUE(renderThumbnail16(frame.data(), grid(2, 2, 2, 2), white, 200, image));
    EXPECT_EQ(image.pixel(0, 0), 0xffffffffU);
    EXPECT_EQ(image.pixel(0, 1), 0xff000000U);
}

TEST(Thumbnail8, HoldsTheSamplesThemselves) {
    QByteArray frame;
    for (int i = 0; i < 37 * 23; ++i)
        frame.append(static_cast<char>(i * 7 % 256));
    for (const auto& [width, height] : {std::pair(37, 23), std::pair(10, 10), std::pair(90, 60)}) {
        const ThumbnailGrid sampling = grid(37, 23, width, height);
        QImage image;
        ASSERT_TRUE(renderThumbnail8(frame.constData(), sampling, image));
        ASSERT_EQ(image.size(), QSize(sampling.width, sampling.height));
        EXPECT_EQ(image.format(), QImage::Format_Indexed8);
        EXPECT_EQ(image.colorCount(), 0);
        for (int j = 0; j < sampling.height; ++j)
            for (int i = 0; i < sampling.width; ++i)
                ASSERT_EQ(
                    image.constScanLine(j)[i],
                    static_cast<uchar>(
                        frame[naiveIndex(j, sampling.step) * 37 + naiveIndex(i, sampling.step)]))
                    << i << ", " << j;
    }
}

TEST(Thumbnail8, OwnsItsPixels) {
    QByteArray frame(16, 'a');
    QImage image;
    ASSERT_TRUE(renderThumbnail8(frame.constData(), grid(4, 4, 4, 4), image));
    frame.fill('b');
    EXPECT_EQ(image.constScanLine(3)[3], 'a');
}

TEST(Thumbnail8, UsesOneStepForBothAxes) {
    // Step 10/3: three columns of 3.33, and of the 4 rows only one, at 1.67.
    QByteArray frame;
    for (int i = 0; i < 40; ++i)
        frame.append(static_cast<char>(i));
    QImage image;
    ASSERT_TRUE(renderThumbnail8(frame.constData(), grid(10, 4, 3, 3), image));
    ASSERT_EQ(image.size(), QSize(3, 1));
    EXPECT_EQ(image.constScanLine(0)[0], 11);
    EXPECT_EQ(image.constScanLine(0)[1], 15);
    EXPECT_EQ(image.constScanLine(0)[2], 18);
    // The 16-bit way takes the row in the middle.
    const Frame16 wide(10, 4, std::vector<int>(frame.begin(), frame.end()));
    ASSERT_TRUE(renderThumbnail16(wide.data(), grid(10, 4, 3, 3), grey(0, 255), 0x8000, image));
    EXPECT_EQ(qRed(image.pixel(0, 0)), 21);
}

TEST(Thumbnail8, UsesOneStepForBothAxesOfAHighFrame) {
    // Three rows of 3.33, and of the 4 columns only one, at 1.67.
    QByteArray frame;
    for (int i = 0; i < 40; ++i)
        frame.append(static_cast<char>(i));
    QImage image;
    ASSERT_TRUE(renderThumbnail8(frame.constData(), grid(4, 10, 3, 3), image));
    ASSERT_EQ(image.size(), QSize(1, 3));
    EXPECT_EQ(image.constScanLine(0)[0], 1 * 4 + 1);
    EXPECT_EQ(image.constScanLine(1)[0], 5 * 4 + 1);
    EXPECT_EQ(image.constScanLine(2)[0], 8 * 4 + 1);
}

TEST(Thumbnail, StaysInsideTheFrameWhateverTheRounding) {
    // Frames that end where their last sample does: the address sanitizer sees a step beyond.
    for (int width = 1; width < 120; ++width) {
        const std::vector<char> bytes(static_cast<size_t>(width) * 2, 'a');
        for (int maximum = 1; maximum < 200; ++maximum) {
            const auto sampling = thumbnailGrid(width, 1, maximum, maximum);
            if (!sampling) continue;
            QImage image;
            ASSERT_TRUE(renderThumbnail8(bytes.data(), *sampling, image));
            ASSERT_EQ(image.constScanLine(0)[image.width() - 1], 'a');
        }
    }
    // Steps that floating point gets wrong by more than a pixel.
    const std::vector<char> bytes(3, 'a');
    QImage image;
    ASSERT_TRUE(renderThumbnail8(bytes.data(), ThumbnailGrid{3, 1, 5, 1, 1.0F, 1.0F, 1.0F}, image));
    EXPECT_EQ(image.constScanLine(0)[4], 'a');
}

TEST(Thumbnail, ThatDoesNotFitIntoMemoryIsFalse) {
    const std::vector<char> bytes(8, 'a');
    QImage image(3, 3, QImage::Format_RGB32);
    image.fill(Qt::red);
    const QImage before = image.copy();
    const ThumbnailGrid huge = grid(2, 2, largest, largest);
    EXPECT_FALSE(renderThumbnail8(bytes.data(), huge, image));
    EXPECT_FALSE(renderThumbnail16(bytes.data(), huge, grey(0, 255), 0, image));
    EXPECT_EQ(image, before);
}

TEST(Thumbnail, ThatHasMemoryForTheImageAloneIsFalse) {
    DATAIO_SKIP_IF_SANITIZED();
    constexpr rlim_t mebibyte = 1 << 20;
    constexpr int width = 32 * mebibyte;
    const SampleBuffer zeros(width);
    const auto* const frame = reinterpret_cast<const char*>(zeros.data());
    const ThumbnailGrid wide = grid(width, 1, width, 1);
    QImage image;
    {
        const AddressSpaceLimit limit(64 * mebibyte);
        EXPECT_FALSE(renderThumbnail8(frame, wide, image));
    }
    {
        const AddressSpaceLimit limit(192 * mebibyte);
        EXPECT_FALSE(renderThumbnail16(frame, wide, grey(0, 255), 0, image));
    }
    EXPECT_TRUE(image.isNull());
}

TEST(Placeholder, IsAPictureOfThirtyThreeColours) {
    const QImage image = placeholderThumbnail();
    ASSERT_EQ(image.size(), QSize(160, 120));
    QSet<QRgb> colours;
    for (int j = 0; j < image.height(); ++j)
        for (int i = 0; i < image.width(); ++i)
            colours.insert(image.pixel(i, j));
    EXPECT_EQ(colours.size(), 33);
}

TEST(ThumbnailOfRealFrames, IsTheNaiveOne) {
    const QString folder = qEnvironmentVariable("DATAIO_SAMPLES");
    if (folder.isEmpty()) GTEST_SKIP() << "no real frames: DATAIO_SAMPLES names no folder";
    QFile file(QDir(folder).filePath(QStringLiteral("brain-planes/frames.u16")));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << file.fileName().toStdString();
    const qint64 frameSize = 512 * 400 * 2;
    for (const int index : {0, 13, 29}) {
        ASSERT_TRUE(file.seek(index * frameSize));
        const Frame16 frame(512, 400, file.read(frameSize));
        const ContrastWindow expected = naiveWindow(frame);
        EXPECT_EQ(frame.window().min, expected.min);
        EXPECT_EQ(frame.window().max, expected.max);
        MzPalette palette = grey(-32768, 32767);
        const ContrastFaults faults = squeezeRamp(palette, frame.window());
        EXPECT_FALSE(faults.badCropRange || faults.minOutside || faults.maxOutside);
        expectAsNaive16(frame, 160, 160, palette, 0x8000);
    }
}

}  // namespace
