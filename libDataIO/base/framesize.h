#pragma once

// How many bytes a frame has, from header values that may say anything.

#include <QString>
#include <QtNumeric>

#include <cstdint>
#include <optional>

namespace mz {

/// Whole bytes per pixel as frames are sized: 12 bits take 2, 0 bits none.
inline int wholeBytes(int bits) {
    return bits / 8 + (bits % 8 != 0 ? 1 : 0);
}

/// Whole bytes per pixel as readers report them; differs from wholeBytes for 0 bits, which give 1.
inline int pixelBytes(int bits) {
    return static_cast<int>((int64_t{bits} - 1) / 8 + 1);
}

/// width × height × bytesPerPixel; empty when a factor is negative or the product beyond 63 bits.
inline std::optional<int64_t> frameBytes(int width, int height, int bytesPerPixel) {
    int64_t bytes = 0;
    const bool isSize = width >= 0 && height >= 0 && bytesPerPixel >= 0 &&
                        !qMulOverflow(int64_t{width} * height, int64_t{bytesPerPixel}, &bytes);
    return isSize ? std::optional<int64_t>(bytes) : std::nullopt;
}

/// What is said of a frame whose bytes are not those that the file makes expect.
inline QString invalidFrameSizeMessage() {
    return QStringLiteral("Frame size is invalid, file may be corrupted.");
}

/// What is said of a frame that compression would cut (compressibleBytes).
inline QString widePixelsMessage() {
    return QStringLiteral("Only 16-bit pixels can be compressed.");
}

}  // namespace mz
