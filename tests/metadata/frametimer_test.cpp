// Times in their two stored forms, as records of eight bytes and as attributes.

#include <libDataIO/attributechunk.h>
#include <libDataIO/frametimer.h>

#include <QByteArray>
#include <gtest/gtest.h>

#include <cstdint>
#include <ctime>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <tests/support/attributetext.h>
#include <tests/support/bytes.h>
#include <tests/support/timezone.h>

using namespace mz;
using namespace mz::test;

namespace {

timeval at(int64_t sec, int64_t usec) {
    timeval time{};
    time.tv_sec = sec;
    time.tv_usec = usec;
    return time;
}

using Times = std::vector<std::pair<int64_t, int64_t>>;

FrameTimer timer(const Times& times) {
    FrameTimer result;
    for (const auto& [sec, usec] : times)
        result.push_back(at(sec, usec));
    return result;
}

Times times(const FrameTimer& timer) {
    Times result;
    for (const timeval& time : timer)
        result.emplace_back(time.tv_sec, time.tv_usec);
    return result;
}

QByteArray record(int32_t sec, int32_t usec) {
    return le32(static_cast<uint32_t>(sec)) + le32(static_cast<uint32_t>(usec));
}

TEST(FrameTimerRaw, IsSortedRecordsOfEightBytes) {
    FrameTimer unsorted = timer({{5, 0}, {-1, 3}, {2, 900000}, {2, 7}, {2, -1}});
    QByteArray buffer(5 * 8, '?');
    ASSERT_TRUE(unsorted.dumpToRawBuffer(buffer.data(), 40));
    EXPECT_EQ(buffer,
              record(-1, 3) + record(2, -1) + record(2, 7) + record(2, 900000) + record(5, 0));
    EXPECT_EQ(times(unsorted), (Times{{-1, 3}, {2, -1}, {2, 7}, {2, 900000}, {5, 0}}));
}

TEST(FrameTimerRaw, IsReadInItsOwnOrderAndKeepsDoubles) {
    const QByteArray raw = record(9, 1) + record(-2, -3) + record(9, 1);
    FrameTimer read = timer({{1, 1}});
    ASSERT_TRUE(read.readFromRawBuffer(raw.constData(), 24));
    EXPECT_EQ(times(read), (Times{{9, 1}, {-2, -3}, {9, 1}}));
}

TEST(FrameTimerRaw, OfAnotherSizeIsRefused) {
    FrameTimer unsorted = timer({{2, 0}, {1, 0}});
    QByteArray buffer(16, '?');
    for (const unsigned int size : {1U, 7U, 12U, 15U, 4294967295U}) {
        EXPECT_FALSE(unsorted.dumpToRawBuffer(buffer.data(), size));
        EXPECT_FALSE(unsorted.readFromRawBuffer(buffer.constData(), size));
    }
    EXPECT_EQ(buffer, QByteArray(16, '?'));
    EXPECT_EQ(times(unsorted), (Times{{2, 0}, {1, 0}}));
}

TEST(FrameTimerRaw, MayBeEmpty) {
    FrameTimer empty;
    EXPECT_TRUE(empty.dumpToRawBuffer(nullptr, 0));
    FrameTimer filled = timer({{1, 1}});
    EXPECT_TRUE(filled.readFromRawBuffer(nullptr, 0));
    EXPECT_TRUE(filled.empty());
}

TEST(FrameTimerRaw, KeepsTheLowHalfOfLongTimes) {
    // Sorted by the whole number, so that what the narrowing makes negative still comes last.
    FrameTimer late = timer({{0x80000000LL, 5}, {0x7fffffffLL, 4}});
    QByteArray buffer(16, '?');
    ASSERT_TRUE(late.dumpToRawBuffer(buffer.data(), 16));
    EXPECT_EQ(buffer, record(0x7fffffff, 4) + record(INT32_MIN, 5));
    EXPECT_EQ(late.back().tv_sec, 0x80000000LL);
}

TEST(FrameTimerAttributes, HoldSortedEntriesAndTheOffsetFromUtc) {
    const TimeZone zone("TEST-5:30");  // half past five hours east
    FrameTimer unsorted = timer({{20, 2}, {10, 1}, {20, 1}});
    AttributeChunk chunk;
    ASSERT_TRUE(unsorted.dumpToChunkInfo(chunk));
    EXPECT_EQ(dumped(chunk),
              "frame_timer=1\n"
              "frame_timer_n0_sec=10\nframe_timer_n0_usec=1\n"
              "frame_timer_n1_sec=20\nframe_timer_n1_usec=1\n"
              "frame_timer_n2_sec=20\nframe_timer_n2_usec=2\n"
              "utc_offset_seconds=19800\n");
    EXPECT_EQ(times(unsorted), (Times{{10, 1}, {20, 1}, {20, 2}}));

    FrameTimer back = timer({{7, 7}});
    ASSERT_TRUE(back.readFromChunkInfo(chunk));
    EXPECT_EQ(times(back), times(unsorted));
}

TEST(FrameTimerAttributes, CountWestOfUtcAsNegative) {
    const TimeZone zone("TEST4");
    FrameTimer one = timer({{1, 1}});
    AttributeChunk chunk;
    one.dumpToChunkInfo(chunk);
    int offset = 0;
    ASSERT_TRUE(chunk.get(QStringLiteral("utc_offset_seconds"), offset));
    EXPECT_EQ(offset, -4 * 3600);
}

TEST(FrameTimerAttributes, OfAnEmptyTimerAreOneKey) {
    FrameTimer empty;
    AttributeChunk chunk = parsed("frame_timer=1\nframe_timer_n0_sec=3\n");
    ASSERT_TRUE(empty.dumpToChunkInfo(chunk));
    EXPECT_EQ(dumped(chunk), "frame_timer=0\nframe_timer_n0_sec=3\n");

    AttributeChunk fresh;
    ASSERT_TRUE(empty.dumpToChunkInfo(fresh));
    EXPECT_EQ(dumped(fresh), "frame_timer=0\n");
    FrameTimer back = timer({{1, 1}});
    EXPECT_TRUE(back.readFromChunkInfo(fresh));
    EXPECT_TRUE(back.empty());
}

TEST(FrameTimerAttributes, OfALongerTimerStay) {
    AttributeChunk chunk;
    timer({{1, 0}, {2, 0}}).dumpToChunkInfo(chunk);
    timer({{9, 0}}).dumpToChunkInfo(chunk);
    FrameTimer back;
    ASSERT_TRUE(back.readFromChunkInfo(chunk));
    EXPECT_EQ(times(back), (Times{{9, 0}, {2, 0}}));
}

TEST(FrameTimerAttributes, AreReadWhateverTheValueOfTheirFirstKey) {
    FrameTimer read;
    EXPECT_TRUE(read.readFromChunkInfo(
        parsed("frame_timer=0\nframe_timer_n0_sec=3\nframe_timer_n0_usec=4\n")));
    EXPECT_EQ(times(read), (Times{{3, 4}}));
}

const char* const threeEntries =
    "frame_timer_n0_sec=1\nframe_timer_n0_usec=2\nframe_timer_n1_sec=3\nframe_timer_n1_usec=4\n"
    "frame_timer_n2_sec=5\nframe_timer_n2_usec=6\n";

TEST(FrameTimerAttributes, WithoutTheFirstKeyAreNotThere) {
    for (const std::string& first : {std::string(), std::string("frame_timer=yes\n")}) {
        const AttributeChunk before = parsed((first + threeEntries).c_str());
        FrameTimer read = timer({{1, 1}});
        EXPECT_FALSE(read.readFromChunkInfo(before));
        EXPECT_TRUE(read.empty());
        AttributeChunk after = before;
        FrameTimer::removeFromAttChunk(after);
        EXPECT_EQ(dumped(after), dumped(before));
    }
}

TEST(FrameTimerAttributes, EndAtTheFirstGap) {
    AttributeChunk chunk = parsed(threeEntries);
    chunk.set(QStringLiteral("frame_timer"), 1);
    chunk.set(QStringLiteral("utc_offset_seconds"), 3600);
    chunk.erase(QStringLiteral("frame_timer_n1_sec"));
    chunk.erase(QStringLiteral("frame_timer_n1_usec"));
    FrameTimer read;
    EXPECT_TRUE(read.readFromChunkInfo(chunk));
    EXPECT_EQ(times(read), (Times{{1, 2}}));
    FrameTimer::removeFromAttChunk(chunk);
    EXPECT_EQ(dumped(chunk),
              "frame_timer_n2_sec=5\nframe_timer_n2_usec=6\nutc_offset_seconds=3600\n");
}

TEST(FrameTimerAttributes, WithoutMicrosecondsEndInFailureWithTheEntriesBefore) {
    AttributeChunk chunk = parsed(threeEntries);
    chunk.set(QStringLiteral("frame_timer"), 1);
    chunk.erase(QStringLiteral("frame_timer_n1_usec"));
    FrameTimer read;
    EXPECT_FALSE(read.readFromChunkInfo(chunk));
    EXPECT_EQ(times(read), (Times{{1, 2}}));
    FrameTimer::removeFromAttChunk(chunk);
    EXPECT_EQ(dumped(chunk), "frame_timer_n2_sec=5\nframe_timer_n2_usec=6\n");
}

TEST(FrameTimerAttributes, AreRemovedWithoutTheOffset) {
    AttributeChunk chunk;
    timer({{1, 0}, {2, 0}}).dumpToChunkInfo(chunk);
    chunk.set(QStringLiteral("utc_offset_seconds"), 0);
    chunk.set(QStringLiteral("frame_timer_other"), 0);
    FrameTimer::removeFromAttChunk(chunk);
    EXPECT_EQ(dumped(chunk), "frame_timer_other=0\nutc_offset_seconds=0\n");
}

TEST(FrameTimerAttributes, CarryNegativeAndNarrowedTimes) {
    FrameTimer times64 = timer({{-7, -8}, {0x180000001LL, 9}});
    AttributeChunk chunk;
    times64.dumpToChunkInfo(chunk);
    FrameTimer back;
    ASSERT_TRUE(back.readFromChunkInfo(chunk));
    EXPECT_EQ(times(back), (Times{{-7, -8}, {-0x7fffffffLL, 9}}));
}

TEST(FrameTimerAttributes, TellTheOffsetOfNowNotOfTheFrames) {
    const std::time_t now = std::time(nullptr);
    const auto dayOfYear = [&](int daysFromNow) {
        const std::time_t then = now + std::time_t{daysFromNow} * 86400;
        std::tm utc{};
        gmtime_r(&then, &utc);
        return std::to_string(utc.tm_yday);
    };
    // An hour more from a month ago until a month from now, each year.
    const std::string rule = "TEST0SUMMER-1," + dayOfYear(-30) + "," + dayOfYear(30);
    const TimeZone zone(rule.c_str());
    FrameTimer halfAYearAgo = timer({{now - 182 * 86400, 0}});
    AttributeChunk chunk;
    ASSERT_TRUE(halfAYearAgo.dumpToChunkInfo(chunk));
    int offset = 0;
    ASSERT_TRUE(chunk.get(QStringLiteral("utc_offset_seconds"), offset));
    EXPECT_EQ(offset, 3600);
}

TEST(FrameTimerAttributes, FollowATimeZoneThatChangesWhileTheProgramRuns) {
    const TimeZone before("TEST-1");
    setenv("TZ", "TEST-2", 1);
    FrameTimer one = timer({{1, 2}});
    AttributeChunk chunk;
    ASSERT_TRUE(one.dumpToChunkInfo(chunk));
    int offset = 0;
    ASSERT_TRUE(chunk.get(QStringLiteral("utc_offset_seconds"), offset));
    EXPECT_EQ(offset, 7200);
}

TEST(FrameTimerAttributes, ThatAreNoNumbersEndTheListButAreRemoved) {
    AttributeChunk chunk = parsed(threeEntries);
    chunk.set(QStringLiteral("frame_timer"), 1);
    chunk.set(QStringLiteral("frame_timer_n1_sec"), QStringLiteral("x"));
    FrameTimer read;
    EXPECT_TRUE(read.readFromChunkInfo(chunk));
    EXPECT_EQ(times(read), (Times{{1, 2}}));
    chunk.set(QStringLiteral("frame_timer_n1_sec"), 3);
    chunk.set(QStringLiteral("frame_timer_n1_usec"), QStringLiteral("x"));
    EXPECT_FALSE(read.readFromChunkInfo(chunk));
    EXPECT_EQ(times(read), (Times{{1, 2}}));
    FrameTimer::removeFromAttChunk(chunk);
    EXPECT_EQ(dumped(chunk), "");
}

}  // namespace
