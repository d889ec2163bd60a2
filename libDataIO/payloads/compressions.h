#pragma once

// The compressions of frames, one row each. Whoever adds a type is led by the compiler: from
// isCompression below to the row, to the filters in framecodec.cpp, and to the tests' own streams.

#include <libDataIO/dataiocommon.h>
#include <libDataIO/payloads/fastdeflate.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

class QString;

namespace mz {

struct CompressionTraits {
    CompressionType::e type;
    const char* name;  ///< in the attribute "compression_type"

    /// How many bytes one byte of a stream may become. A stream that would have to become more is
    /// taken for an attack on the memory of the reader.
    uint64_t plausibleRatio;

    /// Set for streams that libdeflate makes and reads.
    std::optional<DeflateFormat> deflate;
};

/// Row i is that of the type whose number is i.
inline constexpr std::array compressions = {
    CompressionTraits{CompressionType::None, "none", 1, std::nullopt},
    // Deflate reaches 1,032.
    CompressionTraits{CompressionType::ZLib, "z", 1'100, DeflateFormat::ZLib},
    CompressionTraits{CompressionType::GZip, "gz", 1'100, DeflateFormat::GZip},
    // Frames of a single value throughout, of a closed shutter for instance, reach 1,400,000.
    CompressionTraits{CompressionType::BZip2, "bz2", 1'500'000, std::nullopt},
};

/// Whether a number is a type of the format.
constexpr bool isCompression(CompressionType::e type) {
    switch (type) {
        case CompressionType::None:
        case CompressionType::ZLib:
        case CompressionType::GZip:
        case CompressionType::BZip2:
            return true;
    }
    return false;
}

/// Whether each type has its row, and at its place.
constexpr bool areCompressionsComplete() {
    constexpr int beyondAnyType = 256;
    for (int number = -1; number < beyondAnyType; ++number) {
        const auto type = static_cast<CompressionType::e>(number);
        const bool hasRow = number >= 0 && number < static_cast<int>(compressions.size());
        if (hasRow != isCompression(type)) return false;
        if (hasRow && compressions[static_cast<std::size_t>(number)].type != type) return false;
    }
    return true;
}
static_assert(areCompressionsComplete(), "a row for each type, in the order of their numbers");

/// The row of a type, that of None for values outside the enumeration.
constexpr const CompressionTraits& compressionOf(CompressionType::e type) {
    return compressions[static_cast<std::size_t>(isCompression(type) ? type
                                                                     : CompressionType::None)];
}

/// What the attribute "compression_type" says for a type: "none" for values outside the
/// enumeration.
QString compressionName(CompressionType::e type);

/// The type of such a text, None for every other one. Case matters.
CompressionType::e compressionOfName(const QString& name);

}  // namespace mz
