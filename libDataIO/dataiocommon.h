#pragma once

// What all modules of the file library share: the enumerations of the file format and the
// arithmetic of pixel types.

#include <libCommon/export.h>

#include <QString>

namespace mz {

/// What a chunk holds; stored as an unsigned 32-bit number in chunk headers and index records. The
/// writer produces frames, info, fibre centres, frame timers and laser powers; the others are
/// reserved.
enum MZImageChunkType : unsigned int {
    MZ_CT_HEADER = 0,
    MZ_CT_PALETTE = 1,
    MZ_CT_FRAME = 2,
    MZ_CT_THUMBNAIL = 3,
    MZ_CT_INDEX = 4,
    MZ_CT_INFO = 5,  ///< index and attributes, always the last chunk of a finished file
    MZ_CT_FIBERCENTER = 6,
    MZ_CT_FRAMETIMER = 7,
    MZ_CT_LASERPOWER = 8
};

/// How frame payloads are compressed; no other chunk ever is.
namespace CompressionType {
enum e : int {
    None = 0,  ///< "none" in the attribute "compression_type"
    ZLib = 1,  ///< "z"
    GZip = 2,  ///< "gz"
    BZip2 = 3  ///< "bz2"
};
}  // namespace CompressionType

/// How much time the compression of a zlib or gzip frame may cost. Every reader reads both, and
/// nothing in the file tells them apart.
namespace CompressionEffort {
enum e : int {
    Standard = 0,  ///< the compression library's default level
    Fast = 1       ///< several times as fast, slightly larger; no effect on bzip2
};
}  // namespace CompressionEffort

/// What one pixel is; stored in the attribute "pixtype" as its number.
enum MZImagePixelType : int {
    MZ_UNKNOWN = 0,
    MZ_FLOAT = 1,
    MZ_DOUBLE = 2,
    MZ_UCHAR = 3,
    MZ_CHAR = 4,
    MZ_USHORT = 5,
    MZ_SHORT = 6,
    MZ_UINT = 7,
    MZ_INT = 8,
    MZ_ULONG = 9,  ///< 32 bits, the long of the 32-bit platform
    MZ_LONG = 10,  ///< 32 bits as well
    MZ_RGB = 11,
    MZ_RGBA = 12
};

/// Families of pixel types; with a bit depth they name a type (GuessPixelType).
enum MZImagePixelGroups : int {
    MZ_UNKNOWN_GROUP = 0,
    MZ_FLOAT_GROUP = 1,
    MZ_SIGNED_GROUP = 2,
    MZ_UNSIGNED_GROUP = 3,
    MZ_INDEXED_GROUP = 4,  ///< only an input of GuessPixelType: no type is of this group
    MZ_XYZ_GROUP = 5,
    MZ_XYZA_GROUP = 6
};

}  // namespace mz

// The pixel-type functions are global. They throw nothing and accept any value of their
// enumerations.

/// The group of a type, MZ_UNKNOWN_GROUP for MZ_UNKNOWN and for values outside the enumeration.
DATAIO_EXPORT mz::MZImagePixelGroups GetPixGroup(mz::MZImagePixelType type);

/// Bits per pixel, 0 for MZ_UNKNOWN and for values outside the enumeration.
DATAIO_EXPORT int GetPixBits(mz::MZImagePixelType type);

/// The type of a group at a bit depth, MZ_UNKNOWN for combinations that no type has.
/// Floating point gives MZ_FLOAT at 32 and at 64 bits; integers take 8, 16, 32 and 64 bits, the
/// last as the "long" types; indexed gives the smallest unsigned type that holds `bits` (at most
/// 64); colour takes 24 bits, with and without alpha.
DATAIO_EXPORT mz::MZImagePixelType GuessPixelType(mz::MZImagePixelGroups group, int bits);

/// Sets `name` to the enumerator's name ("MZ_USHORT"); leaves it alone for values outside the
/// enumeration.
DATAIO_EXPORT void PixelTypeToQstring(mz::MZImagePixelType type, QString& name);

/// The type of that name, whatever its case; MZ_UNKNOWN when there is none. White space is not
/// trimmed.
DATAIO_EXPORT mz::MZImagePixelType QstringToPixelType(const QString& name);
