#include <libDataIO/paldatagenerator.h>
#include <libDataIO/payloads/placeholder.xpm>
#include <libDataIO/payloads/thumbnail.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

namespace mz {

namespace {

/// The integer below; clamped, since a huge maximum makes a frame's few pixels fill any size.
int floorToInt(float value) {
    constexpr auto beyond = static_cast<float>(std::numeric_limits<int>::max());
    return value < beyond ? static_cast<int>(std::floor(value)) : std::numeric_limits<int>::max();
}

/// The frame's row or column at the centre of the i-th thumbnail pixel. Rounding could put the last
/// one just outside the frame.
int sourceIndex(int i, float step, int sourceCount) {
    return std::min(floorToInt((static_cast<float>(i) + 0.5F) * step), sourceCount - 1);
}

std::vector<int> sourceIndexes(int count, float step, int sourceCount) {
    std::vector<int> indexes(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i)
        indexes[static_cast<size_t>(i)] = sourceIndex(i, step, sourceCount);
    return indexes;
}

/// A frame lies anywhere in its file.
template <class Sample>
Sample sampleAt(const char* row, int column) {
    Sample sample;
    std::memcpy(&sample, row + static_cast<ptrdiff_t>(column) * ptrdiff_t{sizeof sample},
                sizeof sample);
    return sample;
}

template <class Sample>
const char* rowAt(const char* frame, int row, int width) {
    return frame + static_cast<ptrdiff_t>(row) * width * ptrdiff_t{sizeof(Sample)};
}

/// Makes an image of the grid's size, each pixel `convert` of the frame's sample there.
template <class Sample, class Pixel, class Convert>
bool sampleFrame(const char* frame, const ThumbnailGrid& grid, float stepX, float stepY,
                 QImage::Format format, Convert convert, QImage& image) {
    QImage sampled(grid.width, grid.height, format);
    if (sampled.isNull()) return false;
    const std::vector<int> columns = sourceIndexes(grid.width, stepX, grid.frameWidth);
    for (int j = 0; j < grid.height; ++j) {
        const char* row =
            rowAt<Sample>(frame, sourceIndex(j, stepY, grid.frameHeight), grid.frameWidth);
        auto* out = reinterpret_cast<Pixel*>(sampled.scanLine(j));
        for (const int column : columns)
            *out++ = convert(sampleAt<Sample>(row, column));
    }
    image = sampled;
    return true;
}

}  // namespace

std::optional<ThumbnailGrid> thumbnailGrid(int frameWidth, int frameHeight, int maxWidth,
                                           int maxHeight) {
    if (frameWidth < 1 || frameHeight < 1 || maxWidth < 1 || maxHeight < 1) return std::nullopt;
    const auto w = static_cast<float>(frameWidth);
    const auto h = static_cast<float>(frameHeight);
    const float step =
        std::max(w / static_cast<float>(maxWidth), h / static_cast<float>(maxHeight));
    const int width = floorToInt(w / step);
    const int height = floorToInt(h / step);
    if (width < 1 || height < 1) return std::nullopt;
    return ThumbnailGrid{frameWidth,
                         frameHeight,
                         width,
                         height,
                         step,
                         w / static_cast<float>(width),
                         h / static_cast<float>(height)};
}

ContrastWindow contrastWindow(const char* frame, int width, int height) {
    int min = 16383;
    int max = -16383;
    const auto endRow = static_cast<int>(int64_t{9} * height / 10);
    for (int row = height / 10; row < endRow; row += 4) {
        const char* samples = rowAt<int16_t>(frame, row, width);
        for (int i = 0; i < width / 5; ++i) {
            const int sample = sampleAt<int16_t>(samples, width / 10 + 4 * i);
            if (sample > max)
                max = sample;
            else if (sample > -16384 && sample < min)
                min = sample;
        }
    }
    return {min, std::max(max, min + 32)};
}

ContrastFaults squeezeRamp(MzPalette& palette, const ContrastWindow& window) {
    ContrastFaults faults;
    const int64_t cropMin = palette._cropMinInt;
    const int64_t cropWidth = palette._cropMaxInt - cropMin;
    if (cropWidth < 1) {
        faults.badCropRange = true;
        return faults;
    }
    const auto place = [&](int64_t sample) {
        return static_cast<float>(sample - cropMin) / static_cast<float>(cropWidth);
    };
    const auto isOutside = [](float at) { return at < 0.0F || at > 1.0F; };
    float min = place(window.min);
    float max = place(window.max);
    faults.minOutside = isOutside(min);
    faults.maxOutside = isOutside(max);
    if (faults.minOutside) min = 0.0F;
    if (faults.maxOutside) max = 1.0F;
    palette.adjustNodeValues(min, max);
    return faults;
}

bool renderThumbnail8(const char* frame, const ThumbnailGrid& grid, QImage& image) try {
    // One step for both axes: what rounding the size left over is cut off, not spread over them.
    return sampleFrame<uint8_t, uint8_t>(
        frame, grid, grid.step, grid.step, QImage::Format_Indexed8,
        [](uint8_t sample) { return sample; }, image);
} catch (const std::bad_alloc&) {
    return false;
}

bool renderThumbnail16(const char* frame, const ThumbnailGrid& grid, const MzPalette& palette,
                       uint16_t maskLevel, QImage& image) try {
    std::vector<QRgb> table;
    PalDataGenerator<LerpQRGB<IdxSigned16>>()(palette, table, MakeSpecificValueBlack, maskLevel);
    return sampleFrame<uint16_t, QRgb>(
        frame, grid, grid.stepX, grid.stepY, QImage::Format_RGB32,
        [&table](uint16_t sample) { return table[sample]; }, image);
} catch (const std::bad_alloc&) {
    return false;
}

QImage placeholderThumbnail() {
    return QImage(placeholder_xpm);
}

}  // namespace mz
