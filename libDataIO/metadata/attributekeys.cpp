#include <libDataIO/base/framesize.h>
#include <libDataIO/metadata/attributekeys.h>

namespace mz {

namespace {

/// Movies recorded before "data_type" was written are told apart by their width.
constexpr int widestImage = 895;

constexpr float widestField = 700.0F;

}  // namespace

std::optional<ImageSize> imageSize(const AttributeChunk& attributes) {
    ImageSize size{};
    if (!attributes.get(keys::width, size.width) || !attributes.get(keys::height, size.height))
        return std::nullopt;
    return size;
}

std::optional<int64_t> PixelLayout::frameBytes() const {
    return mz::frameBytes(size.width, size.height, wholeBytes(bits));
}

std::optional<PixelLayout> pixelLayout(const AttributeChunk& attributes) {
    const std::optional<ImageSize> size = imageSize(attributes);
    int bits = 0;
    if (!size || !attributes.get(keys::pixelBits, bits)) return std::nullopt;
    return PixelLayout{*size, bits};
}

std::optional<int> pixelBitsOf(const AttributeChunk& attributes) {
    int value = 0;
    if (attributes.get(keys::pixelType, value))
        return GetPixBits(static_cast<MZImagePixelType>(value));
    if (attributes.get(keys::pixelBits, value)) return value;
    return std::nullopt;
}

int pixelBytesOf(const AttributeChunk& attributes) {
    const std::optional<int> bits = pixelBitsOf(attributes);
    return bits ? pixelBytes(*bits) : 0;
}

MZImagePixelType pixelTypeOf(const AttributeChunk& attributes) {
    int type = MZ_UNKNOWN;
    if (attributes.get(keys::pixelType, type)) return static_cast<MZImagePixelType>(type);
    const std::optional<int> bits = pixelBitsOf(attributes);
    return bits ? GuessPixelType(MZ_UNSIGNED_GROUP, *bits) : MZ_UNKNOWN;
}

int maskLevelOf(const AttributeChunk& attributes) {
    constexpr int noMask = -32768;
    return intAttribute(attributes, keys::maskLevel, noMask);
}

std::optional<int64_t> compressibleBytes(const AttributeChunk& attributes) {
    const std::optional<ImageSize> size = imageSize(attributes);
    if (!size || !size->isPositive()) return std::nullopt;
    return frameBytes(size->width, size->height, 2);
}

QString dataType(const AttributeChunk& attributes) {
    QString type;
    if (attributes.get(keys::dataType, type)) return type;
    const std::optional<ImageSize> size = imageSize(attributes);
    return size && size->width > widestImage ? datatypes::raw : datatypes::image;
}

bool isVectorized(const AttributeChunk& attributes) {
    QString type;
    return attributes.get(keys::dataType, type) && type == datatypes::vectorized;
}

bool hasWideField(const AttributeChunk& attributes) {
    float x = 0;
    float y = 0;
    return attributes.get(keys::fieldOfViewX, x) && attributes.get(keys::fieldOfViewY, y) &&
           (x > widestField || y > widestField);
}

int intAttribute(const AttributeChunk& attributes, const QString& key, int fallback) {
    int value = 0;
    return attributes.get(key, value) ? value : fallback;
}

float floatAttribute(const AttributeChunk& attributes, const QString& key, float fallback) {
    float value = 0;
    return attributes.get(key, value) ? value : fallback;
}

QString multiLineText(const AttributeChunk& attributes, const QString& key) {
    QString text;
    if (!attributes.get(key, text)) return {};
    return text.replace(QChar(7), QLatin1Char('\n'));
}

void reconcileDataType(AttributeChunk& attributes, unsigned int frameSize) {
    const std::optional<PixelLayout> layout = pixelLayout(attributes);
    if (frameSize == 0 || !layout) return;
    const bool hasImageSize = layout->frameBytes() == int64_t{frameSize};
    if (hasImageSize && isVectorized(attributes)) {
        attributes.set(keys::dataType, datatypes::image);
    } else if (!hasImageSize && !isVectorized(attributes)) {
        attributes.set(keys::dataType, datatypes::vectorized);
    }
}

}  // namespace mz
