// Byte swapping of samples, and which byte orders ask for it.

#include <libDataIO/base/byteorder.h>

#include <QByteArray>
#include <gtest/gtest.h>

#include <limits>

using namespace mz;

namespace {

using Copy = void (*)(const void*, void*, size_t);

QByteArray copied(Copy copy, const QByteArray& from, size_t count) {
    QByteArray out(from.size(), '.');
    copy(from.constData(), out.data(), count);
    return out;
}

}  // namespace

TEST(ByteOrder, EverythingButZeroAndTwoIsTheOtherOrder) {
    EXPECT_FALSE(isOtherByteOrder(0));
    EXPECT_FALSE(isOtherByteOrder(2));
    for (const int other : {1, 3, -1, -2, 4, std::numeric_limits<int>::min()})
        EXPECT_TRUE(isOtherByteOrder(other)) << other;
}

TEST(ByteOrder, ReversesTheBytesOfEachSample) {
    EXPECT_EQ(copied(copySwapped16, "abcdef", 3), "badcfe");
    EXPECT_EQ(copied(copySwapped32, "abcdefgh", 2), "dcbahgfe");
}

TEST(ByteOrder, TouchesNoMoreThanItsSamples) {
    EXPECT_EQ(copied(copySwapped16, "abcde", 2), "badc.");
    EXPECT_EQ(copied(copySwapped32, "abcdefg", 1), "dcba...");
    EXPECT_EQ(copied(copySwapped16, "ab", 0), "..");
    copySwapped32(nullptr, nullptr, 0);
}

TEST(ByteOrder, SwapsInPlace) {
    QByteArray samples("abcdefgh");
    copySwapped16(samples.constData(), samples.data(), 4);
    EXPECT_EQ(samples, "badcfehg");
    copySwapped32(samples.constData(), samples.data(), 2);
    EXPECT_EQ(samples, "cdabghef");
}

TEST(ByteOrder, SamplesMayLieAnywhere) {
    const QByteArray from(
        "x"
        "abcdefgh");
    QByteArray out(12, '.');
    for (const int shift : {1, 2, 3}) {
        copySwapped32(from.constData() + 1, out.data() + shift, 2);
        EXPECT_EQ(out.mid(shift, 8), "dcbahgfe");
        copySwapped16(from.constData() + 1, out.data() + shift, 4);
        EXPECT_EQ(out.mid(shift, 8), "badcfehg");
    }
}
