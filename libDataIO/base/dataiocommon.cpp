#include <libDataIO/dataiocommon.h>

#include <array>

using namespace mz;

namespace {

struct PixelTypeTraits {
    const char* name;
    MZImagePixelGroups group;
    int bits;
};

/// One row a type, at the position of its number.
constexpr std::array<PixelTypeTraits, 13> pixelTypes = {{
    {"MZ_UNKNOWN", MZ_UNKNOWN_GROUP, 0},
    {"MZ_FLOAT", MZ_FLOAT_GROUP, 32},
    {"MZ_DOUBLE", MZ_FLOAT_GROUP, 64},
    {"MZ_UCHAR", MZ_UNSIGNED_GROUP, 8},
    {"MZ_CHAR", MZ_SIGNED_GROUP, 8},
    {"MZ_USHORT", MZ_UNSIGNED_GROUP, 16},
    {"MZ_SHORT", MZ_SIGNED_GROUP, 16},
    {"MZ_UINT", MZ_UNSIGNED_GROUP, 32},
    {"MZ_INT", MZ_SIGNED_GROUP, 32},
    {"MZ_ULONG", MZ_UNSIGNED_GROUP, 32},
    {"MZ_LONG", MZ_SIGNED_GROUP, 32},
    {"MZ_RGB", MZ_XYZ_GROUP, 24},
    {"MZ_RGBA", MZ_XYZA_GROUP, 32},
}};

bool isPixelType(MZImagePixelType type) {
    return type >= MZ_UNKNOWN && static_cast<size_t>(type) < pixelTypes.size();
}

MZImagePixelType integerType(int bits, MZImagePixelType of8, MZImagePixelType of16,
                             MZImagePixelType of32, MZImagePixelType of64) {
    switch (bits) {
        case 8:
            return of8;
        case 16:
            return of16;
        case 32:
            return of32;
        case 64:
            return of64;
        default:
            return MZ_UNKNOWN;
    }
}

MZImagePixelType smallestIndexType(int bits) {
    if (bits <= 8) return MZ_UCHAR;
    if (bits <= 16) return MZ_USHORT;
    if (bits <= 32) return MZ_UINT;
    if (bits <= 64) return MZ_ULONG;
    return MZ_UNKNOWN;
}

}  // namespace

MZImagePixelGroups GetPixGroup(MZImagePixelType type) {
    return isPixelType(type) ? pixelTypes[static_cast<size_t>(type)].group : MZ_UNKNOWN_GROUP;
}

int GetPixBits(MZImagePixelType type) {
    return isPixelType(type) ? pixelTypes[static_cast<size_t>(type)].bits : 0;
}

MZImagePixelType GuessPixelType(MZImagePixelGroups group, int bits) {
    switch (group) {
        case MZ_FLOAT_GROUP:
            return bits == 32 || bits == 64 ? MZ_FLOAT : MZ_UNKNOWN;
        case MZ_SIGNED_GROUP:
            return integerType(bits, MZ_CHAR, MZ_SHORT, MZ_INT, MZ_LONG);
        case MZ_UNSIGNED_GROUP:
            return integerType(bits, MZ_UCHAR, MZ_USHORT, MZ_UINT, MZ_ULONG);
        case MZ_INDEXED_GROUP:
            return smallestIndexType(bits);
        case MZ_XYZ_GROUP:
            return bits == 24 ? MZ_RGB : MZ_UNKNOWN;
        case MZ_XYZA_GROUP:
            return bits == 24 ? MZ_RGBA : MZ_UNKNOWN;  // 24, although GetPixBits says 32
        case MZ_UNKNOWN_GROUP:
            break;
    }
    return MZ_UNKNOWN;
}

void PixelTypeToQstring(MZImagePixelType type, QString& name) {
    if (isPixelType(type)) name = QString::fromLatin1(pixelTypes[static_cast<size_t>(type)].name);
}

MZImagePixelType QstringToPixelType(const QString& name) {
    const QString upper = name.toUpper();
    for (size_t i = 0; i < pixelTypes.size(); ++i) {
        if (upper == QLatin1String(pixelTypes[i].name)) return static_cast<MZImagePixelType>(i);
    }
    return MZ_UNKNOWN;
}
