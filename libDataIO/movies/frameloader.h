#pragma once

// Makes of a frame's payload what callers get: decompressed, swapped into this machine's byte order
// and, for vectorized movies, reconstructed. Keeps the buffers of all that from frame to frame.

#include <libDataIO/attributechunk.h>
#include <libDataIO/dataiocommon.h>
#include <libDataIO/ireconstructionservice.h>
#include <libDataIO/movies/openmovie.h>
#include <libDataIO/payloads/framecodec.h>
#include <libDataIO/payloads/samplebuffer.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace mz {

/// How many samples a compressed frame has by its header; empty when that is no size of a frame, or
/// more than a payload of that size could fill.
std::optional<int64_t> decodedSamples(const AttributeChunk& header, unsigned int fiberCount,
                                      CompressionType::e compression, std::size_t payloadSize);

class FrameLoader {
public:
    /// Begins with the frames of a movie that has been opened. Buffers are sized by the first frame
    /// that needs them and stay so, whatever is done to the attributes meanwhile.
    void begin(CompressionType::e compression, bool isVectorized, unsigned int fiberCount);
    /// Ends with them, and gives back what their buffers hold.
    void forget();

    bool isVectorized() const { return _isVectorized; }

    /// Whether stored() makes something else of a payload than what stands there.
    bool looksAtPayload(const AttributeChunk& header) const;

    /// A frame as it was recorded, in native byte order. It lies in the payload or in a buffer,
    /// until the next call.
    /// @throws IOFileException "IR_GRF_SIZE", also when there is no memory for a frame of unusual
    ///         size; the exception of the compression library; std::bad_alloc
    FrameView stored(const AttributeChunk& header, FrameView payload);

    /// Prepares a service for the images of a vectorized movie.
    /// @throws IOFileException "IR_GRF_SIZE" as above; std::bad_alloc
    void prepareImages(IReconstructionService& service, const AttributeChunk& header,
                       const std::vector<float>& fibers);
    /// The image of a frame of samples, which are aligned.
    /// @throws IOFileException "IR_GF_SIZE"
    FrameView image(IReconstructionService& service, FrameView samples);

private:
    void _sizeDecodingBuffer(const AttributeChunk& header, std::size_t payloadSize);
    FrameView _swapped(FrameView payload, int bytesPerPixel);

    CompressionType::e _compression = CompressionType::None;
    bool _isVectorized = false;
    unsigned int _fiberCount = 0;
    FrameDecoder _decoder;
    SampleBuffer _decoded;
    std::vector<unsigned char> _swappedBytes;
    SampleBuffer _image;
};

}  // namespace mz
