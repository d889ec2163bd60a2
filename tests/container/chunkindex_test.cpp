// The binary form of the index, both ways, and the sizes that are refused.

#include <libDataIO/chunkindex.h>
#include <libDataIO/dataiocommon.h>

#include <gtest/gtest.h>

#include <unistd.h>

#include <climits>
#include <type_traits>

#include <tests/support/bytes.h>
#include <tests/support/expectfailure.h>
#include <tests/support/failures.h>
#include <tests/support/savedindex.h>

using namespace mz;
using namespace mz::test;

namespace {

static_assert(std::is_aggregate_v<ChunkRecord>);
static_assert(std::has_virtual_destructor_v<ChunkIndex>);

void expectTooSmall(ChunkIndex& index, const QByteArray& bytes) {
    const QByteArray before = saved(index);
    expectFailure<IOFileException>(indexTooSmall(), [&] { load(index, bytes); });
    EXPECT_EQ(saved(index), before) << "the index was changed";
}

TEST(ChunkIndex, AnEmptyOneSavesAsItsCountAndLoadsBack) {
    ChunkIndex index;
    EXPECT_EQ(saved(index), le32(0));
    EXPECT_EQ(load(index, le32(0)), 4);
    for (int type = 0; type <= 8; ++type)
        EXPECT_FALSE(index.has(type));
}

TEST(ChunkIndex, SavesByAscendingTypeAndThenInOrder) {
    ChunkIndex index;
    index[MZ_CT_LASERPOWER].push_back({500, 40});
    index[MZ_CT_FRAME].push_back({300, 7});
    index[MZ_CT_FRAME].push_back({100, 0xffffffff});
    index[MZ_CT_INFO];  // empty, so it leaves no trace
    EXPECT_EQ(saved(index), le32(3) + indexRecord(2, 300, 7) + indexRecord(2, 100, 0xffffffff) +
                                indexRecord(8, 500, 40));
}

TEST(ChunkIndex, TypesAreOrderedAsUnsignedNumbers) {
    ChunkIndex index;
    index[-1].push_back({1, 2});
    index[3].push_back({3, 4});
    EXPECT_EQ(saved(index), le32(2) + indexRecord(3, 3, 4) + indexRecord(0xffffffff, 1, 2));
    EXPECT_TRUE(index.has(-1));
}

TEST(ChunkIndex, LoadsInFileOrderWhateverTheOrderOfTypes) {
    ChunkIndex index;
    const QByteArray bytes = le32(5) + indexRecord(2, 10, 1) + indexRecord(8, 20, 2) +
                             indexRecord(2, 30, 3) + indexRecord(2, 0xfffffff0, 4) +
                             indexRecord(0x80000001, 40, 5);
    EXPECT_EQ(load(index, bytes), 64);
    ASSERT_EQ(index[2].size(), 3U);
    EXPECT_EQ(index[2][0].offset, 10U);
    EXPECT_EQ(index[2][1].offset, 30U);
    EXPECT_EQ(index[2][2].offset, 0xfffffff0U);
    EXPECT_EQ(index[2][2].length, 4U);
    ASSERT_EQ(index[8].size(), 1U);
    EXPECT_EQ(index[8][0].length, 2U);
    EXPECT_EQ(index[INT_MIN + 1].size(), 1U);
    EXPECT_FALSE(index.has(5));
}

TEST(ChunkIndex, LoadsFromAnyAlignmentAndLeavesWhatFollows) {
    const QByteArray index1 = le32(1) + indexRecord(2, 10, 20);
    const QByteArray bytes = QByteArray("x") + index1 + QByteArray("key = value\n");
    ChunkIndex index;
    EXPECT_EQ(index.load(bytes.constData() + 1, static_cast<unsigned int>(bytes.size() - 1)), 16);
    EXPECT_EQ(saved(index), index1);
}

TEST(ChunkIndex, LoadingTwiceDoublesEveryList) {
    ChunkIndex index;
    const QByteArray bytes =
        le32(3) + indexRecord(2, 1, 2) + indexRecord(2, 3, 4) + indexRecord(6, 5, 6);
    load(index, bytes);
    load(index, bytes);
    EXPECT_EQ(saved(index), le32(6) + indexRecord(2, 1, 2) + indexRecord(2, 3, 4) +
                                indexRecord(2, 1, 2) + indexRecord(2, 3, 4) + indexRecord(6, 5, 6) +
                                indexRecord(6, 5, 6));
}

TEST(ChunkIndex, AskingForAListMakesIt) {
    ChunkIndex index;
    EXPECT_FALSE(index.has(2));
    EXPECT_TRUE(index[2].empty());
    EXPECT_TRUE(index.has(2));
}

TEST(ChunkIndex, PayloadsShorterThanTheirRecordsFail) {
    ChunkIndex index;
    index[2].push_back({1, 2});
    const QByteArray whole = le32(2) + indexRecord(2, 1, 2) + indexRecord(2, 3, 4);
    for (int length = 0; length < whole.size(); ++length)
        expectTooSmall(index, whole.left(length));
    EXPECT_EQ(load(index, whole), 28);
}

TEST(ChunkIndex, ANullPayloadFails) {
    ChunkIndex index;
    expectFailure<IOFileException>(indexTooSmall(), [&] { index.load(nullptr, 0); });
}

TEST(ChunkIndex, NegativeAndAbsurdCountsFail) {
    // Among them those for which 4 + 12 N is small again in 32 bits.
    for (uint32_t count : {0x80000000U, 0xffffffffU, 0xfffffffeU, 0x15555555U, 0x15555556U,
                           0x2aaaaaaaU, 0x55555555U, 0x7fffffffU}) {
        ChunkIndex index;
        expectTooSmall(index, le32(count) + indexRecord(2, 1, 2) + indexRecord(2, 3, 4));
    }
}

TEST(ChunkIndex, AlternatingTypesCostNoMoreThanTheirNumber) {
    constexpr uint32_t pairs = 1025;
    QByteArray bytes = le32(2 * pairs);
    for (uint32_t i = 0; i < pairs; ++i)
        bytes += indexRecord(2, i, 1) + indexRecord(6, 0, 1);
    ChunkIndex index;
    load(index, bytes);
    ASSERT_EQ(index[2].size(), pairs);
    EXPECT_EQ(index[2].back().offset, pairs - 1);
    // Room made for each record alone would copy the list as often as it has records.
    EXPECT_GT(index[2].capacity(), pairs);
}

TEST(ChunkIndex, CopiesAreIndependent) {
    ChunkIndex index;
    index[2].push_back({1, 2});
    ChunkIndex copy(index);
    copy[2].push_back({3, 4});
    EXPECT_EQ(index[2].size(), 1U);
    index = copy;
    EXPECT_EQ(saved(index), saved(copy));
}

TEST(ChunkIndex, DumpListsEachRecordAndIsFlushed) {
    ChunkIndex index;
    index[8].push_back({0xfffffff0, 40});
    index[2].push_back({0, 100});
    index[2].push_back({132, 0x80000000});
    index[5];
    const std::string expected =
        "Chunk index----------------------\n"
        "index[2][0] -> first: off 0 - len 100 \n"
        "index[2][1] -> first: off 132 - len 2147483648 \n"
        "index[8][0] -> first: off 4294967280 - len 40 \n"
        "---------------------------------\n";
    testing::internal::CaptureStdout();
    index.debugDump();
    const auto flushed = lseek(STDOUT_FILENO, 0, SEEK_CUR);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
    EXPECT_EQ(flushed, static_cast<off_t>(expected.size()));
}

TEST(ChunkIndex, AFailureNamesTheOperationThatFailed) {
    const LogCapture quiet;
    try {
        ChunkIndex().load(nullptr, 0);
        FAIL() << "nothing thrown";
    } catch (const IOFileException& thrown) {
        EXPECT_STREQ(thrown.locationInfo().fileName(), "libDataIO/container/chunkindex.cpp");
        // Some compilers put a space in front of the star.
        EXPECT_EQ(QByteArray(thrown.locationInfo().methodName()).replace(" *", "*").toStdString(),
                  "virtual int mz::ChunkIndex::load(const void*, unsigned int)");
    }
}

}  // namespace
