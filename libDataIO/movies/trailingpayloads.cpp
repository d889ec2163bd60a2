#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/movies/imagewriterlog.h>
#include <libDataIO/movies/trailingpayloads.h>
#include <libDataIO/payloads/fibergeometry.h>
#include <libDataIO/payloads/laserpower.h>

#include <memory>

namespace mz {

namespace {

template <class Value>
QByteArray bytesOf(const std::vector<Value>& values) {
    return {reinterpret_cast<const char*>(values.data()),
            static_cast<qsizetype>(values.size() * sizeof(Value))};
}

std::optional<QByteArray> fiberPayload(const MovieContents& contents) {
    if (contents.fibers.empty()) return std::nullopt;
    const std::optional<ImageSize> size = imageSize(contents.info);
    if (!size || !size->isPositive()) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_ARFCI_INFO",
                    QStringLiteral(
                        "Width and height of the picture must be defined before saving fibers."));
    }
    return bytesOf(encodeFiberCenters(contents.fibers, *size));
}

std::optional<QByteArray> timerPayload(MovieContents& contents) {
    FrameTimer& times = contents.frames.times();
    if (!contents.hasAutotime && times.empty()) return std::nullopt;
    QByteArray records(static_cast<qsizetype>(times.size() * FrameTimer::rawRecordSize), '\0');
    times.dumpToRawBuffer(records.data(), static_cast<unsigned int>(records.size()));
    return records;
}

std::optional<QByteArray> powerPayload(const MovieContents& contents) {
    if (contents.frames.powers().empty()) return std::nullopt;
    return bytesOf(encodeLaserPowers(contents.frames.powers()));
}

QByteArray infoPayload(MovieContents& contents) {
    if (!contents.frames.empty()) contents.info[MZ_CT_FRAME] = contents.frames.records();
    int size = 0;
    const std::unique_ptr<char[]> payload(contents.info.save(size));
    return {payload.get(), size};
}

void loadFibers(const void* payload, unsigned int size, MovieContents& contents) {
    const std::optional<ImageSize> image = imageSize(contents.info);
    if (!image || !image->isPositive()) {
        DATAIO_FAIL(IOFileException, imageWriterLogger, SOFTWARE, "IW_ARFCI_INFO2",
                    QStringLiteral("cannot get fiber centers without width and height."));
    }
    contents.fibers = decodeFiberCenters(payload, size, *image);
}

}  // namespace

void MovieContents::clear() {
    info.clear();
    frames.clear();
    fibers.clear();
}

std::optional<QByteArray> trailingPayload(MZImageChunkType type, MovieContents& contents) {
    switch (type) {
        case MZ_CT_FIBERCENTER:
            return fiberPayload(contents);
        case MZ_CT_FRAMETIMER:
            return timerPayload(contents);
        case MZ_CT_LASERPOWER:
            return powerPayload(contents);
        case MZ_CT_INFO:
            return infoPayload(contents);
        case MZ_CT_FRAME:
        case MZ_CT_HEADER:
        case MZ_CT_PALETTE:
        case MZ_CT_THUMBNAIL:
        case MZ_CT_INDEX:
            break;  // stand nowhere behind the frames
    }
    return std::nullopt;
}

void loadTrailingPayload(MZImageChunkType type, const void* payload, unsigned int size,
                         MovieContents& contents) {
    switch (type) {
        case MZ_CT_FIBERCENTER:
            return loadFibers(payload, size, contents);
        case MZ_CT_FRAMETIMER:
            contents.frames.times().readFromRawBuffer(static_cast<const char*>(payload), size);
            return;
        case MZ_CT_LASERPOWER:
            contents.frames.powers() = decodeLaserPowers(payload, size);
            return;
        case MZ_CT_INFO:
        case MZ_CT_FRAME:
        case MZ_CT_HEADER:
        case MZ_CT_PALETTE:
        case MZ_CT_THUMBNAIL:
        case MZ_CT_INDEX:
            return;
    }
}

}  // namespace mz
