// The payload of an info chunk: the index and behind it the attributes.

#include <libDataIO/chunkinfo.h>

#include <QByteArray>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <tests/support/attributetext.h>
#include <tests/support/bytes.h>
#include <tests/support/expectfailure.h>
#include <tests/support/savedindex.h>

using namespace mz;
using namespace mz::test;

namespace {

static_assert(std::is_base_of_v<ChunkIndex, ChunkInfo> &&
              std::is_base_of_v<AttributeChunk, ChunkInfo>);
static_assert(std::is_copy_assignable_v<ChunkInfo> && std::is_copy_constructible_v<ChunkInfo>);

const QByteArray oneRecord = le32(1) + indexRecord(2, 100, 5);

TEST(ChunkInfoSave, PutsTheTextBehindTheIndex) {
    ChunkInfo info;
    info[8].push_back({7, 4});
    info[2].push_back({0, 10});
    info[2].push_back({42, 11});
    info.set(QStringLiteral("width"), 640);
    info.set(QStringLiteral("comment"), QString::fromUtf8("caf\xC3\xA9 \xE2\x82\xAC"));
    EXPECT_EQ(saved(info), le32(3) + indexRecord(2, 0, 10) + indexRecord(2, 42, 11) +
                               indexRecord(8, 7, 4) + "comment=caf\xE9 ?\nwidth=640\n");
}

TEST(ChunkInfoSave, OfNothingIsAnIndexWithoutRecords) {
    ChunkInfo info;
    EXPECT_EQ(saved(info), le32(0));
}

TEST(ChunkInfoLoad, TakesTheTextUpToTheEndOfThePayload) {
    ChunkInfo info;
    EXPECT_EQ(load(info, oneRecord + "comment=caf\xE9\nwidth=640"), 1);
    ASSERT_TRUE(info.has(2));
    ASSERT_EQ(info[2].size(), 1U);
    EXPECT_EQ(info[2][0].offset, 100U);
    EXPECT_EQ(info[2][0].length, 5U);
    EXPECT_EQ(dumped(info), "comment=caf\xC3\xA9\nwidth=640\n");
}

TEST(ChunkInfoLoad, NeedsNoText) {
    ChunkInfo info;
    EXPECT_EQ(load(info, oneRecord), 1);
    EXPECT_EQ(info[2].size(), 1U);
    EXPECT_TRUE(info.attributes().empty());
}

TEST(ChunkInfoLoad, AddsToWhatIsThere) {
    ChunkInfo info;
    load(info, oneRecord + "a=1\nb=1\n");
    load(info, oneRecord + "b=2\n");
    EXPECT_EQ(info[2].size(), 2U);
    EXPECT_EQ(dumped(info), "a=1\nb=2\n");
}

TEST(ChunkInfoLoad, OfAPayloadThatIsTooSmallForItsIndexChangesNothing) {
    const QString message = QStringLiteral("Cannot read header index, chunk too small.");
    for (const QByteArray& payload : {oneRecord.chopped(1), QByteArray("\1\0\0", 3), QByteArray(),
                                      le32(0x80000000U) + "a=2\n", le32(0x7fffffff) + "a=2\n"}) {
        ChunkInfo info;
        load(info, oneRecord + "a=1\n");
        expectFailure<IOFileException>({"dataio.chunkindex", SOFTWARE, "CI_L_CHUNK", message},
                                       [&] { load(info, payload); });
        EXPECT_EQ(info[2].size(), 1U);
        EXPECT_EQ(dumped(info), "a=1\n");
    }
}

TEST(ChunkInfo, ComesBackFromItsPayload) {
    ChunkInfo info;
    info[2].push_back({4294967295U, 2147483648U});
    info[5].push_back({1, 2});
    info.set(QStringLiteral("a"), QStringLiteral("x=y"));
    ChunkInfo back;
    load(back, saved(info));
    EXPECT_EQ(saved(back), saved(info));
}

TEST(ChunkInfo, ClearsIndexAndAttributes) {
    ChunkInfo info;
    load(info, oneRecord + "a=1\n");
    info.clear();
    EXPECT_FALSE(info.has(2));
    EXPECT_TRUE(info.attributes().empty());
    EXPECT_EQ(saved(info), le32(0));
}

TEST(ChunkInfo, SavesAndLoadsThroughItsBase) {
    ChunkInfo info;
    info.set(QStringLiteral("a"), 1);
    ChunkIndex& base = info;
    EXPECT_EQ(saved(base), le32(0) + "a=1\n");
    EXPECT_EQ(base.load(oneRecord.constData(), static_cast<unsigned int>(oneRecord.size())), 1);
}

TEST(ChunkInfo, PrintsIndexThenAttributes) {
    ChunkInfo info;
    load(info, oneRecord + "a=1\n");
    testing::internal::CaptureStdout();
    info.dumpDebug();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Chunk index----------------------\n"
              "index[2][0] -> first: off 100 - len 5 \n"
              "---------------------------------\n"
              "Attribute Chunk Dump:\nNumber of items: 1\na -> 1\n");
}

}  // namespace
