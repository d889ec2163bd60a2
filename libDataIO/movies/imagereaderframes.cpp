// Frames of a movie: found through the index, decompressed, swapped and reconstructed.

#include <libDataIO/base/byteorder.h>
#include <libDataIO/payloads/framecodec.h>
#include <libDataIO/base/framesize.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/movies/imagereaderlog.h>

#include <algorithm>
#include <limits>
#include <new>
#include <optional>

namespace mz {

namespace {

/// Up to here a frame size is believed; a larger one must be backed by what the file holds.
constexpr int64_t unquestionedBytes = 16 << 20;

/// A bundle samples an image with some ten pixels a fibre; thousands are no reconstruction any
/// more.
constexpr int64_t maxPixelsPerFiber = 4096;

/// The most samples whose bytes getRawFrame can return.
constexpr int64_t maxSamples = std::numeric_limits<unsigned int>::max() / sizeof(uint16_t);

/// Sets `samples` to `count` zeros, unless that is more memory than `plausibleBytes` of source
/// justify or than there is.
bool resizeWithin(std::vector<uint16_t>& samples, int64_t count, uint64_t plausibleBytes) {
    if (count > static_cast<int64_t>(samples.max_size())) return false;
    const int64_t bytes = count * 2;
    if (bytes > unquestionedBytes && static_cast<uint64_t>(bytes) > plausibleBytes) return false;
    try {
        samples.assign(static_cast<size_t>(count), 0);
    } catch (std::bad_alloc const&) {
        return false;
    }
    return true;
}

QString invalidSize() {
    return QStringLiteral("Frame size is invalid, file may be corrupted.");
}

}  // namespace

boost::optional<unsigned int> ImageReader::getRawFrame(void const*& data, unsigned int idx) {
    if (idx >= _nbFrames || !_readChunk(MZ_CT_FRAME, idx)) return boost::none;
    const unsigned int size = _reader.chunkSize();
    if (_compression == CompressionType::None) {
        data = _needSwapping() ? _swapDataBytes() : _reader.data();
        _currFrame = idx;
        return size;
    }
    data = _reader.data();
    _currFrame = idx;
    _decompress(data, size);
    return static_cast<unsigned int>(_decompData.size() * sizeof(uint16_t));
}

void ImageReader::_decompress(void const*& data, unsigned int size) {
    if (_decompData.empty()) _sizeDecompressionBuffer(size);
    _decoder->decode(_compression, data, size, _decompData);
    if (_needSwapping()) copySwapped16(_decompData.data(), _decompData.data(), _decompData.size());
    data = _decompData.data();
}

void ImageReader::_sizeDecompressionBuffer(unsigned int payloadSize) {
    const std::optional<int64_t> samples =
        dataType() == QLatin1String("vec") ? std::make_optional(int64_t{_fiberCount})
                                           : frameBytes(_intOr("width", 0), _intOr("height", 0), 1);
    if (!samples || *samples > maxSamples ||
        !resizeWithin(_decompData, *samples, plausibleDecodedSize(_compression, payloadSize))) {
        DATAIO_FAIL(IOFileException, imageReaderLogger, SOFTWARE, "IR_GRF_SIZE", invalidSize());
    }
}

void const* ImageReader::_swapDataBytes() {
    const auto* payload = static_cast<const unsigned char*>(_reader.data());
    const size_t size = _reader.chunkSize();
    const int bytes = pixBytes();
    if (bytes != 2 && bytes != 4) return payload;
    _dataSwapped.resize(size);
    if (bytes == 2)
        copySwapped16(payload, _dataSwapped.data(), size / 2);
    else
        copySwapped32(payload, _dataSwapped.data(), size / 4);
    // A damaged payload may end inside a sample, and its size is what getRawFrame returns.
    const auto rest = static_cast<ptrdiff_t>(size % static_cast<size_t>(bytes));
    std::copy(payload + size - rest, payload + size, _dataSwapped.end() - rest);
    return _dataSwapped.data();
}

bool ImageReader::getFrame(void const*& data, unsigned int idx) {
    return _getSizedFrame(data, idx).has_value();
}

boost::optional<size_t> ImageReader::_getSizedFrame(void const*& data, unsigned int idx) {
    const boost::optional<unsigned int> size = getRawFrame(data, idx);
    if (!size) return boost::none;
    if (!_vectorizedData) return size_t{*size};
    _reconstruct(data, *size);
    return _tmpData.size() * sizeof(uint16_t);
}

void ImageReader::_prepareReconstruction(std::vector<float> const& fibers) {
    const int width = _intOr("width", 0);
    const int height = _intOr("height", 0);
    const std::optional<int64_t> samples = frameBytes(width, height, 1);
    const auto plausibleBytes = static_cast<uint64_t>(_fiberCount * maxPixelsPerFiber * 2);
    if (!samples || !resizeWithin(_tmpData, *samples, plausibleBytes)) {
        DATAIO_FAIL(IOFileException, imageReaderLogger, SOFTWARE, "IR_GRF_SIZE", invalidSize());
    }
    _reconstructionService->prepare({fibers.data(), fibers.data() + fibers.size()}, width, height,
                                    _floatOr("fovx", 0), _floatOr("fovy", 0),
                                    _floatOr("bbox_min_x", -5000), _floatOr("bbox_max_x", 5000),
                                    _floatOr("bbox_min_y", -5000), _floatOr("bbox_max_y", 5000));
}

void ImageReader::_reconstruct(void const*& data, unsigned int size) {
    if (!_reconstructionService) {
        DATAIO_FAIL(IOFileException, imageReaderLogger, SOFTWARE, "IR_UNSUPPORTED_FORMAT",
                    QStringLiteral("File %1: vectorized data unsupported because no reconstruction "
                                   "service provided.")
                        .arg(_fileName));
    }
    if (size / sizeof(uint16_t) < _fiberCount) {
        DATAIO_FAIL(IOFileException, imageReaderLogger, SOFTWARE, "IR_GF_SIZE", invalidSize());
    }
    const auto* samples = static_cast<const uint16_t*>(data);
    if (reinterpret_cast<uintptr_t>(data) % alignof(uint16_t) != 0) {
        // Chunks follow each other without padding, so a payload may start at an odd address.
        _alignedSamples.resize(_fiberCount);
        std::copy_n(static_cast<const char*>(data), _fiberCount * sizeof(uint16_t),
                    reinterpret_cast<char*>(_alignedSamples.data()));
        samples = _alignedSamples.data();
    }
    _reconstructionService->reconstruct({samples, samples + _fiberCount},
                                        {_tmpData.data(), _tmpData.data() + _tmpData.size()});
    data = _tmpData.data();
}

bool ImageReader::nextFrame(void const*& data) {
    const unsigned int current = _currFrame;
    const bool read = current < _nbFrames && getFrame(data, current);
    _currFrame = current + 1;
    return read;
}

bool ImageReader::rewind() {
    _currFrame = 0;
    return true;
}

}  // namespace mz
