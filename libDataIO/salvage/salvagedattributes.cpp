#include <libDataIO/base/byteorder.h>
#include <libDataIO/container/chunktypes.h>
#include <libDataIO/frametimer.h>
#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/payloads/framecodec.h>
#include <libDataIO/salvage/salvagedattributes.h>

#include <algorithm>
#include <limits>

namespace mz {

namespace {

/// Bytes of an image, empty when the header does not tell.
std::optional<int64_t> imageBytes(const AttributeChunk& attributes) {
    const std::optional<PixelLayout> layout = pixelLayout(attributes);
    return layout ? layout->frameBytes() : std::nullopt;
}

/// Uncompressed bytes of the last frame of which that can be told; 0 when there is none, or nothing
/// to compare it with.
unsigned int lastFrameSize(DamagedMovie& movie, const AttributeChunk& attributes) {
    const std::optional<int64_t> image = imageBytes(attributes);
    if (!image) return 0;
    QString name;
    attributes.get(keys::compression, name);
    const CompressionType::e compression = compressionOfName(name);
    const auto limit =
        static_cast<uint64_t>(std::min<int64_t>(*image, std::numeric_limits<int>::max()));
    const auto& chunks = movie.remains().scan.chunks;
    QByteArray payload;
    for (auto chunk = chunks.rbegin(); chunk != chunks.rend(); ++chunk) {
        if (roleOfChunk(chunk->type) != ChunkRole::Frame) continue;
        if (compression == CompressionType::None) return chunk->size;
        if (movie.read(*chunk, payload) != 0) continue;
        const auto size = decodedSize(compression, payload.constData(), chunk->size, limit);
        if (size) return static_cast<unsigned int>(*size);
    }
    return 0;
}

}  // namespace

AttributeChunk salvagedAttributes(DamagedMovie& movie, AttributeChunk given) {
    AttributeChunk attributes;
    if (const auto& own = movie.remains().ownInfo) attributes = *own;
    FrameTimer::removeFromAttChunk(given);
    for (const auto& [key, value] : given.attributes())
        attributes.attributes().emplace(key, value);
    attributes.attributes().emplace(keys::endian, Attribute{QString::number(nativeEndian)});
    reconcileDataType(attributes, lastFrameSize(movie, attributes));
    return attributes;
}

}  // namespace mz
