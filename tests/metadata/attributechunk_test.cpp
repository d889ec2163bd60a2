// Attributes as text and as values: parsing, dumping, conversion and both merges.

#include <libDataIO/attributechunk.h>

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <type_traits>

#include <tests/support/attributetext.h>

using namespace mz;
using namespace mz::test;

namespace {

std::string text(const AttributeChunk& chunk, const char* key) {
    QString value = QStringLiteral("(absent)");
    chunk.get(QString::fromLatin1(key), value);
    return value.toStdString();
}

const QString key = QStringLiteral("key");

static_assert(std::has_virtual_destructor_v<AttributeChunk>);
static_assert(std::is_copy_assignable_v<AttributeChunk> &&
              std::is_nothrow_move_constructible_v<AttributeChunk>);

TEST(AttributeText, IsOneLineAnEntryInKeyOrder) {
    AttributeChunk chunk;
    chunk.set(QStringLiteral("frame_timer_n0_sec"), 7);
    chunk.set(QStringLiteral("a"), QStringLiteral("x"));
    chunk.set(QStringLiteral("_"), QStringLiteral("y"));
    chunk.set(QStringLiteral("Z"), QStringLiteral("z"));
    chunk.set(QStringLiteral("frame_timer"), 1);
    EXPECT_EQ(dumped(chunk), "Z=z\n_=y\na=x\nframe_timer=1\nframe_timer_n0_sec=7\n");
}

TEST(AttributeText, OrdersKeysByCodeUnitsNotByCodePoints) {
    // U+1F600 is stored as 0xD83D 0xDE00, below U+FFFD although the larger code point.
    const QString surrogates = QString::fromUtf8("\xF0\x9F\x98\x80");
    AttributeChunk chunk;
    chunk.set(QString(QChar(0xFFFD)), 1);
    chunk.set(surrogates, 2);
    EXPECT_EQ(chunk.attributes().begin()->first, surrogates);
}

TEST(AttributeText, OfNothingIsNothing) {
    QString out = QStringLiteral("before");
    AttributeChunk().dump(out);
    EXPECT_EQ(out, QStringLiteral("before"));
    EXPECT_TRUE(parsed(QString()).attributes().empty());
    AttributeChunk chunk;
    chunk.parseLatin1(nullptr, 0);
    EXPECT_TRUE(chunk.attributes().empty());
}

TEST(AttributeText, IsAppendedToWhatTheCallerHas) {
    AttributeChunk chunk;
    chunk.set(key, QStringLiteral("v"));
    QString out = QStringLiteral("before;");
    chunk.dump(out);
    EXPECT_EQ(out, QStringLiteral("before;key=v\n"));
    QByteArray bytes("\0\1", 2);
    chunk.dumpLatin1(bytes);
    EXPECT_EQ(bytes, QByteArray("\0\1key=v\n", 8));
}

TEST(AttributeText, IsAsLongAsItSays) {
    AttributeChunk chunk;
    EXPECT_EQ(chunk.dumpedSize(), 0);
    chunk.set(key, QStringLiteral("v"));
    EXPECT_EQ(chunk.dumpedSize(), 6);
    chunk.set(QStringLiteral("empty"), QString());
    chunk.set(QString::fromUtf8("\xC3\xA9"), QString::fromUtf8("\xF0\x9F\x98\x80"));
    QString asText;
    chunk.dump(asText);
    QByteArray bytes;
    chunk.dumpLatin1(bytes);
    EXPECT_EQ(chunk.dumpedSize(), asText.size());
    EXPECT_EQ(chunk.dumpedSize(), bytes.size());
}

TEST(AttributeText, BecomesLatin1WithQuestionMarks) {
    AttributeChunk chunk;
    chunk.set(QString::fromUtf8("\xC3\xA9"),
              QString::fromUtf8("\xC3\xBF\xE2\x82\xAC\xF0\x9F\x98\x80"));
    QString asText;
    chunk.dump(asText);
    QByteArray bytes;
    chunk.dumpLatin1(bytes);
    EXPECT_EQ(bytes, QByteArray("\xE9=\xFF???\n"));
    EXPECT_EQ(bytes, asText.toLatin1());
}

struct Line {
    const char* line;
    const char* key;  ///< null when the line is dropped
    const char* value;
};

class AttributeLine : public testing::TestWithParam<Line> {};

TEST_P(AttributeLine, IsReadAs) {
    const auto& [line, expectedKey, value] = GetParam();
    const AttributeChunk chunk = parsed(QString::fromLatin1(line));
    ASSERT_EQ(chunk.attributes().size(), expectedKey ? 1U : 0U);
    if (expectedKey) {
        EXPECT_EQ(text(chunk, expectedKey), value);
    }
}

INSTANTIATE_TEST_SUITE_P(Parsing, AttributeLine,
                         testing::Values(Line{"a=b", "a", "b"}, Line{"a=b\n", "a", "b"},
                                         Line{"a=b=c", "a", "b=c"}, Line{"a==", "a", "="},
                                         Line{"a = b", "a ", " b"}, Line{"  a=b \t", "a", "b"},
                                         Line{"a=b\r\n", "a", "b"}, Line{"\n\n a=b\n\n", "a", "b"},
                                         Line{"a=b\rc", "a", "b\rc"}, Line{"a#=b", "a#", "b"},
                                         Line{"a= \n", nullptr, ""}, Line{"a=", nullptr, ""},
                                         Line{"=b", nullptr, ""}, Line{"==b", nullptr, ""},
                                         Line{"=", nullptr, ""}, Line{"nothing", nullptr, ""},
                                         Line{"#a=b", nullptr, ""}, Line{" \t#a=b", nullptr, ""},
                                         Line{"   ", nullptr, ""}));

TEST(AttributeText, LosesEmptyValuesAndOuterWhiteSpaceOnItsWay) {
    AttributeChunk chunk;
    chunk.set(QStringLiteral("empty"), QString());
    chunk.set(QStringLiteral(" a"), QStringLiteral(" b "));
    chunk.set(QStringLiteral("#hidden"), QStringLiteral("x"));
    chunk.set(QStringLiteral("split"), QStringLiteral("one\ntwo=2\nthree"));
    ASSERT_EQ(dumped(chunk), " a= b \n#hidden=x\nempty=\nsplit=one\ntwo=2\nthree\n");
    const AttributeChunk back = parsed(QString::fromStdString(dumped(chunk)));
    EXPECT_EQ(dumped(back), "a= b\nsplit=one\ntwo=2\n");
}

TEST(AttributeText, LastLineOfAKeyWinsAndOtherEntriesStay) {
    AttributeChunk chunk;
    chunk.set(QStringLiteral("kept"), 1);
    chunk.set(QStringLiteral("replaced"), 1);
    chunk.parse(QStringLiteral("replaced=2\nz=1\nb=1\nreplaced=3\n"));
    EXPECT_EQ(dumped(chunk), "b=1\nkept=1\nreplaced=3\nz=1\n");
}

TEST(AttributeText, OfRandomBytesReadsAlikeFromBytesAndFromText) {
    std::mt19937 random(20);
    const QByteArray frequent("\n\n==# \t\rab");
    size_t entries = 0;
    for (int round = 0; round < 3000; ++round) {
        QByteArray bytes(static_cast<int>(random() % 200), '\0');
        for (char& byte : bytes)
            byte = random() % 2 ? frequent[static_cast<int>(random() % 10)]
                                : static_cast<char>(random() % 256);
        AttributeChunk fromBytes;
        fromBytes.parseLatin1(bytes.constData(), bytes.size());
        const AttributeChunk fromText = parsed(QString::fromLatin1(bytes));
        ASSERT_TRUE(haveSameEntries(fromBytes, fromText)) << bytes.toHex().constData();
        entries += fromText.attributes().size();

        QByteArray dumpedBytes;
        fromBytes.dumpLatin1(dumpedBytes);
        QString dumpedText;
        fromText.dump(dumpedText);
        ASSERT_EQ(dumpedBytes, dumpedText.toLatin1());
    }
    EXPECT_GT(entries, 3000U);
}

TEST(AttributeText, IsTrimmedOfEachWhiteSpaceCharacterAlike) {
    for (int code = 0; code < 256; ++code) {
        const QByteArray bytes =
            QByteArray(1, static_cast<char>(code)) + "k=v" + QByteArray(1, static_cast<char>(code));
        AttributeChunk chunk;
        chunk.parseLatin1(bytes.constData(), bytes.size());
        EXPECT_TRUE(haveSameEntries(chunk, parsed(QString::fromLatin1(bytes)))) << code;
        if (QChar(code).isSpace()) {
            EXPECT_EQ(text(chunk, "k"), "v") << code;
        }
    }
}

TEST(AttributeValue, AbsentLeavesTheResultAlone) {
    const AttributeChunk chunk;
    QString asText = QStringLiteral("old");
    int integer = 42;
    float number = 1.5F;
    double wide = 2.5;
    char character = 'c';
    EXPECT_FALSE(chunk.get(key, asText));
    EXPECT_FALSE(chunk.get(key, integer));
    EXPECT_FALSE(chunk.get(key, number));
    EXPECT_FALSE(chunk.get(key, wide));
    EXPECT_FALSE(chunk.get(key, character));
    EXPECT_EQ(asText, QStringLiteral("old"));
    EXPECT_EQ(integer, 42);
    EXPECT_EQ(number, 1.5F);
    EXPECT_EQ(wide, 2.5);
    EXPECT_EQ(character, 'c');
}

TEST(AttributeValue, DoubleIsStoredAsTheNearestFloat) {
    // The last one is where the two precisions round to different digits.
    for (const double value : {1.5, -300.0, 0.1, 1e-40, 1e300, 16777217.5, 1.0000005}) {
        AttributeChunk asDouble;
        asDouble.set(key, value);
        AttributeChunk asFloat;
        asFloat.set(key, static_cast<float>(value));
        EXPECT_EQ(text(asDouble, "key"), text(asFloat, "key")) << value;
    }
    AttributeChunk chunk;
    chunk.set(key, 1.5);
    EXPECT_EQ(text(chunk, "key"), "1.500000e+00");
}

TEST(AttributeValue, DoubleIsTheFloatWidened) {
    for (const char* stored : {"1.5", "0.1", "1e-3", "16777217", "1e39", "text", ""}) {
        AttributeChunk chunk;
        chunk.set(key, QString::fromLatin1(stored));
        float number = 7;
        double wide = 7;
        EXPECT_EQ(chunk.get(key, wide), chunk.get(key, number)) << stored;
        EXPECT_EQ(wide, double{number}) << stored;
    }
}

TEST(AttributeValue, IntegerIsDecimalOrZeroAndFalse) {
    const auto read = [](const char* value, int& out) {
        AttributeChunk chunk;
        chunk.set(key, QString::fromLatin1(value));
        return chunk.get(key, out);
    };
    int out = 99;
    EXPECT_TRUE(read("42", out));
    EXPECT_EQ(out, 42);
    EXPECT_TRUE(read("-2147483648", out));
    EXPECT_EQ(out, -2147483647 - 1);
    EXPECT_TRUE(read("010", out));
    EXPECT_EQ(out, 10);
    for (const char* bad : {"12abc", "", "2147483648", "0x10", "1.0", "1e3"}) {
        out = 99;
        EXPECT_FALSE(read(bad, out)) << bad;
        EXPECT_EQ(out, 0) << bad;
    }
}

TEST(AttributeValue, NumberIsAnyUsualFormOrZeroAndFalse) {
    const auto read = [](const char* value, float& out) {
        AttributeChunk chunk;
        chunk.set(key, QString::fromLatin1(value));
        return chunk.get(key, out);
    };
    float out = 99;
    EXPECT_TRUE(read("0.5", out));
    EXPECT_EQ(out, 0.5F);
    EXPECT_TRUE(read("-3.000000e+02", out));
    EXPECT_EQ(out, -300.0F);
    EXPECT_TRUE(read("inf", out));
    EXPECT_TRUE(std::isinf(out));
    EXPECT_TRUE(read("nan", out));
    EXPECT_TRUE(std::isnan(out));
    for (const char* bad : {"1e40", "-1e40", "1e400", "half", "", "1,5"}) {
        out = 99;
        EXPECT_FALSE(read(bad, out)) << bad;
        EXPECT_EQ(out, 0.0F) << bad;
    }
}

TEST(AttributeValue, CharacterIsOneLatin1Character) {
    AttributeChunk chunk;
    char out = '?';
    chunk.set(key, QStringLiteral("A"));
    EXPECT_TRUE(chunk.get(key, out));
    EXPECT_EQ(out, 'A');
    for (const QString& notOne : {QStringLiteral("AB"), QString()}) {
        chunk.set(key, notOne);
        EXPECT_FALSE(chunk.get(key, out));
        EXPECT_EQ(out, 'A');
    }
    chunk.set(key, QString(QChar(0x20AC)));
    EXPECT_TRUE(chunk.get(key, out));
    EXPECT_EQ(out, 0);
    chunk.set(key, static_cast<char>(0xE9));
    EXPECT_EQ(text(chunk, "key"), "\xC3\xA9");
    EXPECT_TRUE(chunk.get(key, out));
    EXPECT_EQ(out, static_cast<char>(0xE9));
}

TEST(AttributeValue, IsStoredAsText) {
    AttributeChunk chunk;
    const auto stored = [&](auto value) {
        chunk.set(key, value);
        return text(chunk, "key");
    };
    EXPECT_EQ(stored(-12), "-12");
    EXPECT_EQ(stored(-2147483647 - 1), "-2147483648");
    EXPECT_EQ(stored(1.0F), "1.000000e+00");
    EXPECT_EQ(stored(1.5F), "1.500000e+00");
    EXPECT_EQ(stored(0.25F), "2.500000e-01");
    EXPECT_EQ(stored(-300.0F), "-3.000000e+02");
    EXPECT_EQ(stored('x'), "x");
    EXPECT_EQ(stored(QStringLiteral(" as is\n")), " as is\n");
    EXPECT_EQ(chunk.attributes().size(), 1U);
}

TEST(AttributeChunk, ErasesAndClears) {
    AttributeChunk chunk;
    chunk.set(key, 1);
    chunk.set(QStringLiteral("Key"), 2);
    EXPECT_EQ(chunk.erase(key), 1U);
    EXPECT_EQ(chunk.erase(key), 0U);
    EXPECT_EQ(dumped(chunk), "Key=2\n");
    chunk.clear();
    EXPECT_TRUE(chunk.attributes().empty());
}

TEST(AttributeChunk, MergeReplacesAndExcludesNothing) {
    AttributeChunk chunk = parsed(QStringLiteral("a=1\nb=1\n"));
    chunk.merge(parsed(QStringLiteral("b=2\nc=2\nendian=1\ncompression_type=gz\n")));
    EXPECT_EQ(dumped(chunk), "a=1\nb=2\nc=2\ncompression_type=gz\nendian=1\n");
}

const char* const mergeSource =
    "a=2\ncompression_type=gz\nendian=1\nendianness=3\nframe_timer=1\nframe_timer_n3_sec=4\n"
    "Frame_timer=5\nplug_event=1\nplug_event_n0=6\nz=9\n";

std::string safelyMerged(AttributeChunk::MergeFlags flags) {
    AttributeChunk chunk = parsed(QStringLiteral("a=1\n"));
    chunk.safeMerge(parsed(QString::fromLatin1(mergeSource)), flags);
    return dumped(chunk);
}

TEST(AttributeChunk, SafeMergeKeepsItsOwnAndWhatBelongsToTheWrittenFile) {
    EXPECT_EQ(safelyMerged(AttributeChunk::NoFlags),
              "Frame_timer=5\na=1\nendianness=3\nframe_timer=1\nframe_timer_n3_sec=4\n"
              "plug_event=1\nplug_event_n0=6\nz=9\n");
    EXPECT_EQ(safelyMerged(AttributeChunk::RemoveFrameTimer),
              "Frame_timer=5\na=1\nendianness=3\nplug_event=1\nplug_event_n0=6\nz=9\n");
    EXPECT_EQ(safelyMerged(AttributeChunk::RemovePlugEvent),
              "Frame_timer=5\na=1\nendianness=3\nframe_timer=1\nframe_timer_n3_sec=4\nz=9\n");
    EXPECT_EQ(safelyMerged(AttributeChunk::RemoveFrameTimer | AttributeChunk::RemovePlugEvent),
              "Frame_timer=5\na=1\nendianness=3\nz=9\n");
}

TEST(AttributeChunk, CommentFitsOnOneLine) {
    const auto formatted = [](const char* comment) {
        return AttributeChunk::formatComment(QString::fromLatin1(comment)).toStdString();
    };
    EXPECT_EQ(formatted("a\nb"), "a\ab");
    EXPECT_EQ(formatted("a\ab\n\n"), "a b\a\a");
    EXPECT_EQ(formatted("a\r\nb"), "a\r\ab");
    EXPECT_EQ(formatted(""), "");
}

TEST(AttributeChunk, PrintsItsEntries) {
    const AttributeChunk chunk = parsed(QStringLiteral("b=2\na=1 1\n"));
    testing::internal::CaptureStdout();
    chunk.dumpDebug();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Attribute Chunk Dump:\nNumber of items: 2\na -> 1 1\nb -> 2\n");
}

}  // namespace
