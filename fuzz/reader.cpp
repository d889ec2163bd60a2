#include <libDataIO/imagereader.h>

#include <QImage>

#include <algorithm>
#include <cstring>
#include <limits>

#include <fuzz/operations.h>
#include <fuzz/support/checks.h>
#include <fuzz/support/input.h>
#include <fuzz/support/memoryfile.h>
#include <fuzz/support/touchingservice.h>
#include <tests/support/touch.h>

namespace mz::fuzz {

using test::touch;

namespace {

constexpr unsigned int mostFrames = 8;
constexpr int noFilteringMode = 6;

void readHeader(ImageReader& reader) {
    int number = 0;
    bool present = false;
    bool trustable = false;
    MZImagePixelType type = MZ_UNKNOWN;
    MzPalette palette;
    reader.width(number);
    reader.height(number);
    reader.frameDelay(number);
    reader.dimension(number);
    reader.pixBits(number);
    reader.pixBytes();
    const bool knowsType = reader.pixType(type);
    require(knowsType == (type != MZ_UNKNOWN), "pixType says whether the type is known");
    reader.endian();
    reader.utcOffsetSeconds(present, trustable);
    require(present || !trustable, "an offset that is missing is not trustable");
    reader.dataType();
    reader.getMaskLevel();
    reader.getComment();
    reader.getSpecificComment();
    reader.palette(palette);
    require(!palette._nodes.empty(), "a palette without nodes is replaced");

    for (const auto& [key, value] : reader.attributeChunk().attributes()) {
        QString text;
        float real = 0;
        require(reader.attribute(key, text) && text == value._val, "attributes are found");
        reader.attribute(key, number);
        reader.attribute(key, real);
    }
    reader.setAttribute(QStringLiteral("fuzz"), number);
    reader.setAttribute(QStringLiteral("fuzz"), 0.5F);
    reader.setAttribute(QStringLiteral("fuzz"), QStringLiteral("text"));
    reader.removeAttribute(QStringLiteral("plug_fuzz"));
}

void readFibers(const ImageReader& reader, Choice& choice) {
    std::vector<float> positions;
    std::vector<unsigned int> numbers;
    for (int i = 0; i <= noFilteringMode; ++i) {
        if (!choice.onceIn(noFilteringMode)) continue;
        const auto mode = static_cast<ImageReader::FiberFilteringMode>(i);
        succeeds([&] {
            reader.getRasterFiberContinuousIndexes(positions, mode);
            const size_t count = positions.size();
            require(reader.nbFibers(mode) == static_cast<int>(count / 2), "fibres are counted");
            reader.getRasterFiberIndexes(numbers, mode);
            require(numbers.size() == count, "every fibre has a pixel");
            reader.getFiberOffsets(numbers, mode);
            require(numbers.size() == count / 2, "every fibre has an offset");
            reader.getWorldFiberCenters(positions, mode);
            require(positions.size() == count, "every fibre has a place in the world");
        });
    }
    const bool found = reader.getBundleBoundingBox(positions);
    require(positions.size() == (found ? 4U : 0U), "a bounding box has four edges or none");
}

void readTiming(const ImageReader& reader, unsigned int frame) {
    float power = 0;
    timeval time{};
    require(reader.getLaserPower(frame, power) == reader.getLaserPower(frame).has_value(),
            "both forms of the laser power agree");
    require(reader.getFrameTiming(frame, time) == reader.getFrameTiming(frame).has_value(),
            "both forms of the time agree");
    reader.laserPower(power);
    reader.frameTiming(time);
}

/// Bytes behind a pointer of getFrame, as the header tells them to a caller; 0 when only the file
/// tells.
size_t imageBytes(const ImageReader& reader) {
    int width = 0;
    int height = 0;
    QString compression;
    reader.attribute(QStringLiteral("compression_type"), compression);
    const bool isCompressed = compression == QLatin1String("z") ||
                              compression == QLatin1String("gz") ||
                              compression == QLatin1String("bz2");
    const bool has16Bits = isCompressed || reader.dataType() == QLatin1String("vec");
    if (!has16Bits || !reader.width(width) || !reader.height(height)) return 0;
    return static_cast<size_t>(width) * static_cast<size_t>(height) * 2;
}

/// Whether an image as wide as a caller likes and of any height remains small: a frame of one
/// column would become one of millions of rows.
bool isFlat(const ImageReader& reader) {
    int width = 0;
    int height = 0;
    return imageBytes(reader) != 0 && reader.width(width) && reader.height(height) && width > 0 &&
           height / width < 4;
}

void readPixels(ImageReader& reader, unsigned int number) {
    const bool exists = number < reader.nbFrames();
    const void* data = nullptr;
    succeedsOnFrames([&] {
        const boost::optional<unsigned int> size = reader.getRawFrame(data, number);
        require(exists || !size, "there are no frames behind the last");
        if (size) touch(data, *size);
    });
    data = nullptr;
    succeedsOnFrames([&] {
        if (reader.getFrame(data, number)) touch(data, imageBytes(reader));
    });
}

void makeThumbnail(ImageReader& reader, unsigned int number, int side) {
    if (side > 40 && !isFlat(reader)) return;
    QImage image;
    if (!reader.thumbnail(image, std::min(side, 400), side, static_cast<int>(number)))
        require(image.isNull(), "an image that cannot be made is untouched");
}

void readFrame(ImageReader& reader, unsigned int number, Choice& choice) {
    readPixels(reader, number);
    for (const int side : {1, 40}) {
        if (choice.onceIn(4)) makeThumbnail(reader, number, side);
    }
    if (choice.onceIn(256)) makeThumbnail(reader, number, std::numeric_limits<int>::max());
    readTiming(reader, number);
}

void readFrames(ImageReader& reader, Choice& choice) {
    const unsigned int count = reader.nbFrames();
    for (unsigned int i = 0; i < std::min(count, mostFrames); ++i) {
        if (choice.onceIn(3)) readFrame(reader, i, choice);
    }
    for (unsigned int i : {count - 1, count, count + 1, std::numeric_limits<unsigned int>::max()}) {
        if (choice.onceIn(6)) readFrame(reader, i, choice);
    }
}

/// Backwards, and by steps.
void walkFrames(ImageReader& reader) {
    const unsigned int count = reader.nbFrames();
    const void* data = nullptr;
    for (unsigned int i = std::min(count, mostFrames); i > 0; --i)
        succeedsOnFrames([&] { reader.getRawFrame(data, i - 1); });
    reader.rewind();
    for (unsigned int i = 0; i < std::min(count + 1, mostFrames); ++i) {
        const unsigned int current = reader.currFrameIdx();
        if (!succeedsOnFrames([&] { reader.nextFrame(data); })) break;
        require(reader.currFrameIdx() == current + 1, "nextFrame steps on by one");
    }
}

void reload(ImageReader& reader) {
    const void* data = nullptr;
    succeedsOnFrames([&] { reader.getRawFrame(data, 0); });
    require(succeeds([&] { reader.reloadHeader(); }), "a header that was read is read again");
    readPixels(reader, 0);
}

void readClosed(ImageReader& reader) {
    reader.close();
    const void* data = nullptr;
    require(reader.getFilename().isNull(), "a closed reader has no file");
    require(!reader.getRawFrame(data, 0) && !reader.getFrame(data, 0) && data == nullptr,
            "a closed reader has no frames");
    reader.rewind();
    require(!reader.nextFrame(data), "a closed reader has no next frame");
    readHeader(reader);
    readTiming(reader, 0);
}

void visit(ImageReader& reader, const QString& path, Choice& choice) {
    if (succeeds([&] { reader.open(path); })) {
        choice.doOne([&] { readHeader(reader); }, [&] { readFibers(reader, choice); },
                     [&] { readFrames(reader, choice); }, [&] { walkFrames(reader); },
                     [&] { reload(reader); });
    }
    if (choice.onceIn(8)) readClosed(reader);
}

}  // namespace

void readMovie(const QByteArray& input, Choice choice) {
    if (claimsLargeFrames(input)) return;
    const MemoryFile file(input);
    const auto without = [&] {
        ImageReader alone;
        visit(alone, file.path(), choice);
    };
    const auto with = [&] {
        ImageReader reader(boost::make_shared<TouchingService>());
        visit(reader, file.path(), choice);
    };
    if (input.contains("vec"))
        choice.doOne(without, with);
    else
        without();
}

}  // namespace mz::fuzz
