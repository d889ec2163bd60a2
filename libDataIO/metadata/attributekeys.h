#pragma once

// The attributes that the library itself reads and writes, and what follows from them. Those of a
// palette are known to AttributePaletteAdaptor alone.

#include <libDataIO/attributechunk.h>
#include <libDataIO/dataiocommon.h>

#include <QString>

#include <cstdint>
#include <optional>

namespace mz {

namespace keys {

// Texts, not literals, since each look-up in the map would make one: "endian" is asked for with
// every frame.
inline const QString endian = QStringLiteral("endian");
inline const QString width = QStringLiteral("width");
inline const QString height = QStringLiteral("height");
inline const QString frameDelay = QStringLiteral("framedelay");
inline const QString dimension = QStringLiteral("datadimension");
inline const QString pixelType = QStringLiteral("pixtype");
inline const QString pixelBits = QStringLiteral("pixbits");
inline const QString indexed = QStringLiteral("indexed");
inline const QString comment = QStringLiteral("comment");
inline const QString specificComment = QStringLiteral("specific_comment");
inline const QString maskLevel = QStringLiteral("mask_level");
inline const QString dataType = QStringLiteral("data_type");
inline const QString compression = QStringLiteral("compression_type");
inline const QString utcOffset = QStringLiteral("utc_offset_seconds");
inline const QString utcOffsetUntrustable = QStringLiteral("utc_offset_untrustable");
inline const QString fieldOfViewX = QStringLiteral("fovx");
inline const QString fieldOfViewY = QStringLiteral("fovy");
inline const QString bundleMinX = QStringLiteral("bbox_min_x");
inline const QString bundleMinY = QStringLiteral("bbox_min_y");
inline const QString bundleMaxX = QStringLiteral("bbox_max_x");
inline const QString bundleMaxY = QStringLiteral("bbox_max_y");

/// Whether there are times among the attributes; "frame_timer_n0_sec" and so on follow it.
inline const QString frameTimer = QStringLiteral("frame_timer");

/// In front of what applications add.
inline const QString plugPrefix = QStringLiteral("plug_");
/// Events are "plug_event_1", "plug_event_2" and so on.
inline const QString plugEvent = QStringLiteral("plug_event");

}  // namespace keys

namespace datatypes {

inline const QString raw = QStringLiteral("raw");
inline const QString image = QStringLiteral("imp");
inline const QString vectorized = QStringLiteral("vec");

}  // namespace datatypes

struct ImageSize {
    int width;
    int height;

    bool isPositive() const { return width > 0 && height > 0; }
};

/// Empty unless both sides are there. They may be 0 or negative.
std::optional<ImageSize> imageSize(const AttributeChunk& attributes);

/// What tells how many bytes a frame of pixels has.
struct PixelLayout {
    ImageSize size;
    int bits;

    /// Whole bytes of each pixel; empty when the values make no size.
    std::optional<int64_t> frameBytes() const;
};

/// Empty unless size and "pixbits" are there.
std::optional<PixelLayout> pixelLayout(const AttributeChunk& attributes);

/// Bits per pixel by "pixtype" or else by "pixbits"; empty when neither tells.
std::optional<int> pixelBitsOf(const AttributeChunk& attributes);

/// Whole bytes per pixel, 0 when the bits are not known.
int pixelBytesOf(const AttributeChunk& attributes);

/// "pixtype", as it stands there, or else the unsigned integer of "pixbits" bits; MZ_UNKNOWN when
/// neither tells.
MZImagePixelType pixelTypeOf(const AttributeChunk& attributes);

/// The most bytes that a frame may have to be compressed: readers hand compressed frames out as
/// 16-bit samples, as many as the image has pixels. Empty when the header tells no positive size.
std::optional<int64_t> compressibleBytes(const AttributeChunk& attributes);

/// -32768 when it is missing.
int maskLevelOf(const AttributeChunk& attributes);

/// "data_type", or what its absence stands for: movies wider than 895 pixels are "raw", others
/// "imp".
QString dataType(const AttributeChunk& attributes);

/// Whether frames hold one sample a fibre.
bool isVectorized(const AttributeChunk& attributes);

/// Whether the field of view is so wide that the bundle does not resolve the image any more. A
/// movie that does not tell both sides is taken for a narrow one.
bool hasWideField(const AttributeChunk& attributes);

int intAttribute(const AttributeChunk& attributes, const QString& key, int fallback);
float floatAttribute(const AttributeChunk& attributes, const QString& key, float fallback);

/// A text of several lines, which AttributeChunk::formatComment has put into one; null when it is
/// missing.
QString multiLineText(const AttributeChunk& attributes, const QString& key);

/// Frames that have not exactly the size of an image can only be vectorized ones: sets "data_type"
/// to "vec" or, where it says so wrongly, to "imp". Does nothing when the header does not tell the
/// image's size.
/// @param frameSize uncompressed bytes of the last frame; 0 when there is none, and nothing is done
void reconcileDataType(AttributeChunk& attributes, unsigned int frameSize);

}  // namespace mz
