#pragma once

// Asks a reader everything it can be asked about a file that may be damaged. Whatever comes back is
// touched to its last byte, so that a pointer beyond its memory does not go unnoticed.

#include <libCommon/exceptions.h>
#include <libDataIO/imagereader.h>

#include <QImage>
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <tests/support/repeatingservice.h>
#include <tests/support/touch.h>

namespace mz::test {

/// The codes that the documentation gives for damaged files.
inline const std::set<std::string>& codesOfDamage() {
    static const std::set<std::string> codes = {
        "IR_MISSINFO",   "CI_L_CHUNK",    "IR_GRFI_NOSIZE", "IR_GRF_SIZE",    "IR_GF_SIZE",
        "IR_RC_BOUND",   "MM_NC_BOUND",   "MM_CR_BOUND",    "CHB_LDF_READ",   "CHB_LFD_PARSE",
        "FDCW_MODIFY",   "FDCW_MODIFY1",  "FDCW_MODIFY2",   "FDCW_MODIFY3",   "FDCW_MODIFY4",
        "FDCW_PC_BOUND", "FDCW_NC_BOUND", "IW_ARFCI_INFO",  "IW_ARFCI_INFO2", "IW_AF_INFO1",
        "IW_AF_SIZE",    "IW_AF_FULL",    "IW_RF_FIND",     "IW_RF_BOUND",    "IW_RF_CHUNK",
        "IW_RF_TIMER",   "IW_IO_INDEX",   "IW_SFF_BOUND"};
    return codes;
}

/// Runs a request that may fail in a documented way.
/// @return whether it did not
template <class Request>
bool succeeds(Request request) {
    try {
        request();
        return true;
    } catch (const IOFileException& thrown) {
        EXPECT_EQ(codesOfDamage().count(thrown.code().toStdString()), 1U) << thrown.what();
        EXPECT_FALSE(thrown.message().isEmpty());
    } catch (const BaseException& thrown) {
        ADD_FAILURE() << "not an IOFileException: " << thrown.what();
    } catch (const std::ios_base::failure&) {
        // A damaged stream, as the compression library says it.
    } catch (const std::exception& thrown) {
        ADD_FAILURE() << "undocumented: " << thrown.what();
    }
    return false;
}

/// What a reader found in a file.
struct Findings {
    bool opened = false;
    unsigned int frames = 0;
    unsigned int readableFrames = 0;
    std::vector<QByteArray> rawFrames;  ///< those that could be read
    std::vector<unsigned int> fibers;   ///< pixel offsets
    std::ostringstream told;            ///< all answers, attributes asked for by name left aside
};

/// Tells in `told` what else it is given, which shows what the reader takes from the header.
class TellingService : public RepeatingService {
public:
    explicit TellingService(std::ostream& told) : _told(told) {}

    bool prepare(boost::iterator_range<const float*> fibers, int width, int height, float fovX,
                 float fovY, float minX, float maxX, float minY, float maxY) override {
        _told << "prepare " << width << ' ' << height << ' ' << fovX << ' ' << fovY << ' ' << minX
              << ' ' << maxX << ' ' << minY << ' ' << maxY << '\n';
        return RepeatingService::prepare(fibers, width, height, fovX, fovY, minX, maxX, minY, maxY);
    }

private:
    std::ostream& _told;
};

template <class Values>
void tell(std::ostream& told, const char* what, const Values& values) {
    told << what;
    for (const auto& value : values)
        told << ' ' << value;
    told << '\n';
}

inline void readFrames(ImageReader& reader, Findings& findings) {
    int width = 0;
    int height = 0;
    reader.width(width);
    reader.height(height);
    findings.told << "size " << width << ' ' << height << '\n';
    const bool isVectorized = reader.dataType() == QLatin1String("vec");
    for (unsigned int i = 0; i < reader.nbFrames(); ++i) {
        const void* data = nullptr;
        size_t rawSize = 0;
        succeeds([&] {
            const auto size = reader.getRawFrame(data, i);
            if (!size) return;
            rawSize = *size;
            touch(data, rawSize);
            findings.told << "frame " << i << ' ' << rawSize << '\n';
            if (rawSize < 4096) {
                findings.rawFrames.emplace_back(static_cast<const char*>(data),
                                                static_cast<qsizetype>(rawSize));
                findings.told << findings.rawFrames.back().toHex().constData() << '\n';
            }
        });
        succeeds([&] {
            if (!reader.getFrame(data, i)) return;
            ++findings.readableFrames;
            touch(data, isVectorized
                            ? size_t{2} * static_cast<size_t>(width) * static_cast<size_t>(height)
                            : rawSize);
        });
    }
    succeeds([&] {
        const void* data = nullptr;
        reader.rewind();
        while (reader.nextFrame(data)) {
        }
    });
}

inline void readFibers(ImageReader& reader, Findings& findings) {
    for (int number = 0; number < 6; ++number) {
        const auto mode = static_cast<ImageReader::FiberFilteringMode>(number);
        std::vector<float> positions;
        std::vector<unsigned int> pixels;
        succeeds([&] { reader.getRasterFiberContinuousIndexes(positions, mode); });
        tell(findings.told, "positions", positions);
        succeeds([&] { reader.getRasterFiberIndexes(pixels, mode); });
        succeeds([&] { reader.getWorldFiberCenters(positions, mode); });
        tell(findings.told, "centres", positions);
        succeeds([&] { reader.getFiberOffsets(pixels, mode); });
        succeeds([&] { reader.nbFibers(mode); });
        if (number == 0) findings.fibers = pixels;
    }
}

inline void tellPalette(std::ostream& told, const MzPalette& palette) {
    told << "palette " << palette._name.toStdString() << ' ' << palette._cropMinInt << ' '
         << palette._cropMaxInt;
    for (const PalNode& node : palette._nodes)
        told << ' ' << node._val << ' ' << node._col._r << ' ' << node._col._g << ' '
             << node._col._b;
    told << '\n';
}

inline void readHeader(ImageReader& reader, std::ostream& told) {
    int number = 0;
    float real = 0;
    QString text;
    bool present = false;
    bool trustable = false;
    MZImagePixelType type = MZ_UNKNOWN;
    MzPalette palette;
    std::vector<float> box;
    told << reader.frameDelay(number) << ' ' << number;
    told << " dimension " << reader.dimension(number) << ' ' << number;
    told << " bits " << reader.pixBits(number) << ' ' << number << ' ' << reader.pixBytes();
    told << " type " << reader.pixType(type) << ' ' << type;
    told << " endian " << reader.endian();
    told << " offset " << reader.utcOffsetSeconds(present, trustable) << present << trustable;
    told << " mask " << reader.getMaskLevel() << " data " << reader.dataType().toStdString();
    told << reader.getComment().toStdString() << reader.getSpecificComment().toStdString() << '\n';
    if (reader.palette(palette)) tellPalette(told, palette);
    reader.attribute(QStringLiteral("width"), real);
    reader.attribute(QStringLiteral("width"), text);
    if (reader.getBundleBoundingBox(box)) tell(told, "box", box);
    timeval time{};
    for (unsigned int i = 0; i <= reader.nbFrames(); ++i) {
        if (reader.getFrameTiming(i, time)) told << ' ' << time.tv_sec << ':' << time.tv_usec;
        if (reader.getLaserPower(i, real)) told << ' ' << real;
    }
    told << '\n';
}

inline void tellImage(std::ostream& told, const QImage& image) {
    const QByteArray bytes = QByteArray::fromRawData(
        reinterpret_cast<const char*>(image.constBits()), image.sizeInBytes());
    told << "thumbnail " << image.width() << ' ' << image.height() << ' ' << qHash(bytes) << '\n';
}

inline Findings readThoroughly(const QString& path) {
    Findings findings;
    ImageReader reader(boost::make_shared<TellingService>(findings.told));
    findings.opened = succeeds([&] { reader.open(path); });
    findings.frames = reader.nbFrames();
    readHeader(reader, findings.told);
    readFrames(reader, findings);
    readFibers(reader, findings);
    for (int frame : {0, 1, 1000}) {
        QImage image;
        const bool made = reader.thumbnail(image, 40, 30, frame);
        EXPECT_EQ(made, !image.isNull());
        if (made) tellImage(findings.told, image);
    }
    EXPECT_TRUE(!findings.opened || succeeds([&] { reader.reloadHeader(); }));
    reader.close();
    return findings;
}

}  // namespace mz::test
