#include <libDataIO/base/framesize.h>
#include <libDataIO/base/samefile.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/movies/framereading.h>
#include <libDataIO/payloads/fibergeometry.h>
#include <libDataIO/payloads/framecodec.h>
#include <libDataIO/rsqcompressutil.h>
#include <libLog/failure.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace mz {

namespace {

Logger* const logger = Logger::logger(QStringLiteral("dataio.rsqcompressutil"));

constexpr size_t tooManyFiberValues = 70002;  // two a fibre
constexpr float fewestPixelsPerFiber = 4.0F;  // below, vectorizing saves nothing
constexpr int framesPerReport = 50;

constexpr auto fiberFiltering = ImageReader::ImageSizeFiberFiltering;

bool isWorthVectorizing(const ImageReader& movie, size_t fiberValues) {
    const ImageSize size = imageSize(movie.attributeChunk()).value_or(ImageSize{0, 0});
    const size_t fibers = fiberValues / 2;
    const float pixels = static_cast<float>(size.width) * static_cast<float>(size.height);
    return fiberValues < tooManyFiberValues &&
           pixels / static_cast<float>(fibers) >= fewestPixelsPerFiber;
}

RSQCompress::Vectorization decidedVectorization(const ImageReader& movie, size_t fiberValues,
                                                RSQCompress::Vectorization wanted) {
    MZImagePixelType type = MZ_UNKNOWN;
    movie.pixType(type);
    if (type != MZ_USHORT && type != MZ_SHORT) wanted = RSQCompress::SameAsInput;
    if (fiberValues == 0 || movie.dataType() == datatypes::raw ||
        hasWideField(movie.attributeChunk()) || !isWorthVectorizing(movie, fiberValues)) {
        return RSQCompress::NoVectorization;
    }
    return wanted;
}

/// Where the bytes of an output frame come from.
enum class Source {
    StoredFrame,   ///< decompressed, otherwise as recorded
    SampledImage,  ///< one pixel a fibre
    ReconstructedImage
};

struct FramePlan {
    Source source;
    QString dataType;  ///< of the output
};

FramePlan framePlan(const ImageReader& movie, RSQCompress::Vectorization vectorization) {
    const bool vectorizedInput = isVectorized(movie.attributeChunk());
    switch (vectorization) {
        case RSQCompress::NoVectorization:
            if (vectorizedInput) return {Source::ReconstructedImage, datatypes::image};
            break;
        case RSQCompress::VectorizeIfPossible:
            return {vectorizedInput ? Source::StoredFrame : Source::SampledImage,
                    datatypes::vectorized};
        case RSQCompress::SameAsInput:
            break;
    }
    return {Source::StoredFrame, movie.dataType()};
}

bool isCompressed(const ImageReader& movie) {
    QString name;
    movie.attribute(keys::compression, name);
    return compressionOfName(name) != CompressionType::None;
}

struct FrameBytes {
    const void* data;
    unsigned int size;
};

/// Produces the output's frames one by one; what it hands out is valid until the next one.
class FrameSource {
public:
    FrameSource(ImageReader& movie, Source source) : _movie(movie), _source(source) {
        movie.getFiberOffsets(_offsets, fiberFiltering);
        if (const std::optional<ImageSize> size = imageSize(movie.attributeChunk())) {
            _pixels = frameBytes(size->width, size->height, 1).value_or(0);
            MZImagePixelType type = MZ_UNKNOWN;
            movie.pixType(type);
            _imageBytes = PixelLayout{*size, GetPixBits(type)}.frameBytes();
            int bits = 0;
            // 0 bits say nothing about the frame.
            if (movie.pixBits(bits) && bits > 0)
                _headerBytes = PixelLayout{*size, bits}.frameBytes();
        }
        _isCompressedImage = isCompressed(movie) && !isVectorized(movie.attributeChunk());
    }

    FrameBytes frame(unsigned int number) {
        switch (_source) {
            case Source::SampledImage:
                return _sampled(number);
            case Source::ReconstructedImage:
                return _reconstructed(number);
            case Source::StoredFrame:
                break;
        }
        return _stored(number);
    }

private:
    FrameBytes _stored(unsigned int number) {
        FrameBytes frame = _raw(number);
        // A compressed frame comes out in a buffer of 16-bit samples; its own bytes are the first
        // of it.
        if (_isCompressedImage && _headerBytes && *_headerBytes < frame.size) {
            frame.size = static_cast<unsigned int>(*_headerBytes);
        }
        return frame;
    }

    FrameBytes _sampled(unsigned int number) {
        const FrameBytes image = _raw(number);
        if (_pixels * 2 > image.size || !sampleAtOffsets(image.data, _pixels, _offsets, _samples))
            _failWithInvalidSize();
        return {_samples.data(), static_cast<unsigned int>(_samples.size() * 2)};
    }

    FrameBytes _reconstructed(unsigned int number) {
        const void* data = nullptr;
        if (!_movie.getFrame(data, number) || !_isReconstructedSize()) _failWithInvalidSize();
        return {data, static_cast<unsigned int>(*_imageBytes)};
    }

    /// Reconstructed images have 16-bit pixels, whatever the header says. One that speaks of more,
    /// or of none, would give frames that hold no image.
    bool _isReconstructedSize() const {
        return _imageBytes && *_imageBytes <= _pixels * 2 &&
               *_imageBytes <= std::numeric_limits<unsigned int>::max() &&
               (*_imageBytes > 0 || _pixels == 0);
    }

    FrameBytes _raw(unsigned int number) {
        const std::optional<FrameView> frame = FrameReading::rawFrame(_movie, number);
        if (!frame) _failWithInvalidSize();
        return {frame->data, static_cast<unsigned int>(frame->size)};
    }

    [[noreturn]] static void _failWithInvalidSize() {
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "RC_CF_SIZE", invalidFrameSizeMessage());
    }

    ImageReader& _movie;
    Source _source;
    std::vector<unsigned int> _offsets;
    std::vector<uint16_t> _samples;
    int64_t _pixels = 0;
    std::optional<int64_t> _imageBytes;
    std::optional<int64_t> _headerBytes;
    bool _isCompressedImage = false;
};

struct FrameRange {
    int first;
    int last;

    bool contains(int frame) const { return frame >= first && frame <= last; }
    double size() const { return static_cast<double>(last) - first + 1; }
};

FrameRange checkedRange(const ImageReader& movie, int first, int last) {
    const auto frames = static_cast<int64_t>(movie.nbFrames());
    const int64_t from = std::max(first, 0);
    const int64_t to = last < 0 ? frames - 1 : last;
    const bool isEmptyMovie = frames == 0 && from == 0 && to == -1;
    if (!isEmptyMovie && (to >= frames || to < from)) {
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "RC_CF_RANGE",
                    QStringLiteral("Frame range is outside the movie."));
    }
    return {static_cast<int>(from), static_cast<int>(to)};
}

/// Emptying the output would destroy the recording that is to be copied.
void checkDistinct(const QString& inputFilename, const QString& outputFilename) {
    if (isSameFile(inputFilename, outputFilename)) {
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "RC_CF_SAME",
                    QStringLiteral("Input and output are the same file."));
    }
}

/// Such an index was damaged, or made to harm: a short one could fill a disk.
void checkIndex(const ImageReader& movie) {
    std::vector<unsigned int> offsets;
    offsets.reserve(movie.nbFrames());
    for (unsigned int i = 0; i < movie.nbFrames(); ++i)
        if (const std::optional<ChunkRecord> record = movie.frameRecord(i))
            offsets.push_back(record->offset);
    std::sort(offsets.begin(), offsets.end());
    if (std::adjacent_find(offsets.begin(), offsets.end()) != offsets.end()) {
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "RC_CF_INDEX",
                    QStringLiteral("Index lists a frame twice, file may be corrupted."));
    }
}

/// The index tells the sizes without a look at the frames; where it makes one too large, the frame
/// itself decides, since an index may be damaged.
void checkPixels(ImageReader& movie, FrameRange range) {
    const std::optional<int64_t> most = compressibleBytes(movie.attributeChunk());
    if (!most) return;
    for (int i = range.first; i <= range.last; ++i) {
        const auto number = static_cast<unsigned int>(i);
        const std::optional<ChunkRecord> record = movie.frameRecord(number);
        if (!record || record->length <= *most) continue;
        const std::optional<FrameView> frame = FrameReading::rawFrame(movie, number);
        if (frame && static_cast<int64_t>(frame->size) > *most) {
            DATAIO_FAIL(IOFileException, logger, SOFTWARE, "RC_CF_PIXELS", widePixelsMessage());
        }
    }
}

void report(ProgressReporter& reporter, double increment) {
    const double reached = std::min(reporter._current + increment, 1.0);
    reporter._func((reached - reporter._current) * reporter._total);
    reporter._current = reached;
}

/// An event reads: number of its frame, BEL, text.
void copyPlugEvents(const ImageReader& movie, ImageWriter& output, FrameRange range) {
    const QChar separator(7);
    int kept = 0;
    QString event;
    for (int k = 1; movie.attribute(keys::plugEvent + QStringLiteral("_%1").arg(k), event); ++k) {
        bool isNumber = false;
        const int frame = event.section(separator, 0, 0).toInt(&isNumber);
        if (!isNumber || !range.contains(frame)) continue;
        output.setPlugAttribute(
            QStringLiteral("event_%1").arg(++kept),
            QString::number(frame - range.first + 1) + separator + event.section(separator, 1, 1));
    }
}

}  // namespace

ProgressReporter::ProgressReporter(boost::function<void(double)> func, double total)
    : _func(std::move(func)), _total(total) {}

void RSQCompress::compressFileImpl(const QString& inputFilename, const QString& outputFilename,
                                   CompressionType::e comp, Vectorization vec, int firstFrame,
                                   int lastFrame, ProgressReporter* reporter,
                                   boost::shared_ptr<IReconstructionService> reconstructionService,
                                   CompressionEffort::e effort) {
    ImageReader input(inputFilename, std::move(reconstructionService));
    const FrameRange range = checkedRange(input, firstFrame, lastFrame);
    checkDistinct(inputFilename, outputFilename);
    checkIndex(input);

    std::vector<float> fibers;
    input.getRasterFiberContinuousIndexes(fibers, fiberFiltering);
    const FramePlan plan = framePlan(input, decidedVectorization(input, fibers.size(), vec));
    // Samples of fibres and reconstructed images are 16-bit in any case.
    if (plan.source == Source::StoredFrame && compressionOf(comp).type != CompressionType::None &&
        !isCompressed(input)) {
        checkPixels(input, range);
    }

    ImageWriter output;
    output.create(outputFilename, false);
    output.attributeChunk().safeMerge(
        input.attributeChunk(), AttributeChunk::RemoveFrameTimer | AttributeChunk::RemovePlugEvent);
    output.attribute(keys::dataType, plan.dataType);
    output.setCompression(comp);
    output.setCompressionEffort(effort);
    if (!fibers.empty()) output.addRasterFiberContinuousIndexes(fibers);

    FrameSource frames(input, plan.source);
    const double increment = std::max(1.0, framesPerReport / range.size());
    for (int i = range.first; i <= range.last; ++i) {
        const auto number = static_cast<unsigned int>(i);
        const FrameBytes frame = frames.frame(number);
        output.addFrame(frame.data, frame.size, input.getFrameTiming(number),
                        input.getLaserPower(number));
        if (reporter != nullptr && !reporter->_func.empty() && i % framesPerReport != 0) {
            report(*reporter, increment);
        }
    }
    copyPlugEvents(input, output, range);
    // Not left to the destructor, which could not tell that the disk was full.
    output.close();
}

}  // namespace mz
