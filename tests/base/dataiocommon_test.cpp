// The table of pixel types: group, bits and name of each, and the way back from them.

#include <libDataIO/dataiocommon.h>

#include <gtest/gtest.h>

#include <climits>
#include <ostream>

using namespace mz;

namespace {

struct Row {
    int value;
    const char* name;
    MZImagePixelGroups group;
    int bits;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}

class PixelTypes : public testing::TestWithParam<Row> {};

TEST_P(PixelTypes, HaveGroupBitsAndName) {
    const auto type = static_cast<MZImagePixelType>(GetParam().value);
    EXPECT_EQ(GetPixGroup(type), GetParam().group);
    EXPECT_EQ(GetPixBits(type), GetParam().bits);
    QString name;
    PixelTypeToQstring(type, name);
    EXPECT_EQ(name.toStdString(), GetParam().name);
    EXPECT_EQ(QstringToPixelType(QString::fromLatin1(GetParam().name)), type);
    EXPECT_EQ(QstringToPixelType(QString::fromLatin1(GetParam().name).toLower()), type);
}

INSTANTIATE_TEST_SUITE_P(
    All, PixelTypes,
    testing::Values(Row{0, "MZ_UNKNOWN", MZ_UNKNOWN_GROUP, 0},
                    Row{1, "MZ_FLOAT", MZ_FLOAT_GROUP, 32}, Row{2, "MZ_DOUBLE", MZ_FLOAT_GROUP, 64},
                    Row{3, "MZ_UCHAR", MZ_UNSIGNED_GROUP, 8}, Row{4, "MZ_CHAR", MZ_SIGNED_GROUP, 8},
                    Row{5, "MZ_USHORT", MZ_UNSIGNED_GROUP, 16},
                    Row{6, "MZ_SHORT", MZ_SIGNED_GROUP, 16},
                    Row{7, "MZ_UINT", MZ_UNSIGNED_GROUP, 32}, Row{8, "MZ_INT", MZ_SIGNED_GROUP, 32},
                    Row{9, "MZ_ULONG", MZ_UNSIGNED_GROUP, 32},
                    Row{10, "MZ_LONG", MZ_SIGNED_GROUP, 32}, Row{11, "MZ_RGB", MZ_XYZ_GROUP, 24},
                    Row{12, "MZ_RGBA", MZ_XYZA_GROUP, 32}));

TEST(PixelTypes, ValuesOutsideTheEnumerationAreUnknownAndLeaveTheNameAlone) {
    for (int value : {13, -1, INT_MAX, INT_MIN}) {
        const auto type = static_cast<MZImagePixelType>(value);
        EXPECT_EQ(GetPixGroup(type), MZ_UNKNOWN_GROUP);
        EXPECT_EQ(GetPixBits(type), 0);
        QString name = QStringLiteral("as it was");
        PixelTypeToQstring(type, name);
        EXPECT_EQ(name, QStringLiteral("as it was"));
    }
}

TEST(PixelTypes, UnknownNamesAndUntrimmedNamesAreUnknown) {
    EXPECT_EQ(QstringToPixelType(QStringLiteral("MZ_FOO")), MZ_UNKNOWN);
    EXPECT_EQ(QstringToPixelType(QStringLiteral(" MZ_INT")), MZ_UNKNOWN);
    EXPECT_EQ(QstringToPixelType(QStringLiteral("MZ_INT ")), MZ_UNKNOWN);
    EXPECT_EQ(QstringToPixelType(QString()), MZ_UNKNOWN);
}

/// The same table in another form: what each group accepts, every other depth being unknown.
MZImagePixelType expectedGuess(int group, int bits) {
    const auto pick = [bits](MZImagePixelType a, MZImagePixelType b, MZImagePixelType c,
                             MZImagePixelType d) {
        return bits == 8 ? a : bits == 16 ? b : bits == 32 ? c : bits == 64 ? d : MZ_UNKNOWN;
    };
    if (group == 1) return pick(MZ_UNKNOWN, MZ_UNKNOWN, MZ_FLOAT, MZ_FLOAT);
    if (group == 2) return pick(MZ_CHAR, MZ_SHORT, MZ_INT, MZ_LONG);
    if (group == 3) return pick(MZ_UCHAR, MZ_USHORT, MZ_UINT, MZ_ULONG);
    if (group == 4 && bits > 64) return MZ_UNKNOWN;
    if (group == 4)
        return bits > 32 ? MZ_ULONG : bits > 16 ? MZ_UINT : bits > 8 ? MZ_USHORT : MZ_UCHAR;
    if (group == 5 && bits == 24) return MZ_RGB;
    if (group == 6 && bits == 24) return MZ_RGBA;
    return MZ_UNKNOWN;
}

TEST(GuessPixelType, AgreesWithTheTableForEveryGroupAndDepth) {
    for (int group : {-1, 0, 1, 2, 3, 4, 5, 6, 7, 100}) {
        for (int bits = -70; bits <= 140; ++bits) {
            EXPECT_EQ(GuessPixelType(static_cast<MZImagePixelGroups>(group), bits),
                      expectedGuess(group, bits))
                << "group " << group << " bits " << bits;
        }
    }
    EXPECT_EQ(GuessPixelType(MZ_INDEXED_GROUP, INT_MIN), MZ_UCHAR);
    EXPECT_EQ(GuessPixelType(MZ_INDEXED_GROUP, INT_MAX), MZ_UNKNOWN);
}

}  // namespace
