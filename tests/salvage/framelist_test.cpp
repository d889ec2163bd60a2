// Which frames of an index are the ones that were found again.

#include <libDataIO/salvage/framelist.h>

#include <gtest/gtest.h>

using namespace mz;

namespace {

const std::vector<ChunkSpan> frames = {{0, 2, 10}, {100, 2, 10}, {200, 2, 20}};

std::vector<qint64> offsets(const FrameList& list) {
    std::vector<qint64> out;
    for (const ChunkSpan& frame : list.frames)
        out.push_back(frame.offset);
    return out;
}

TEST(FramesOfIndex, FollowTheOrderOfTheIndex) {
    const auto list = framesOfIndex(frames, {{200, 20}, {0, 10}, {100, 10}});
    ASSERT_TRUE(list);
    EXPECT_EQ(offsets(*list), (std::vector<qint64>{200, 0, 100}));
    EXPECT_EQ(list->places, (std::vector<size_t>{0, 1, 2}));
    EXPECT_TRUE(list->isComplete);
}

TEST(FramesOfIndex, KnowThePlacesOfLostFrames) {
    const auto list = framesOfIndex(frames, {{300, 5}, {200, 20}, {0, 10}, {50, 5}, {100, 10}});
    ASSERT_TRUE(list);
    EXPECT_EQ(list->places, (std::vector<size_t>{1, 2, 4}));
    EXPECT_FALSE(list->isComplete);
    EXPECT_TRUE(list->arePlacesKnown);
}

TEST(FramesOfIndex, AreNoneOfAnotherFile) {
    EXPECT_FALSE(framesOfIndex(frames, {{0, 10}, {100, 10}}));
    EXPECT_FALSE(framesOfIndex(frames, {{0, 10}, {100, 10}, {200, 21}}));
    EXPECT_FALSE(framesOfIndex(frames, {{0, 10}, {0, 10}, {100, 10}}));
    EXPECT_FALSE(framesOfIndex(frames, {}));
    EXPECT_TRUE(framesOfIndex({}, {}));
}

TEST(FramesOfFile, AreCompleteWithoutHolesOrWithoutMissingEntries) {
    for (const FrameList& list : {framesOfFile(frames, {}, 3), framesOfFile(frames, {}, 9),
                                  framesOfFile(frames, {50}, 3), framesOfFile(frames, {50}, 0)}) {
        EXPECT_EQ(offsets(list), (std::vector<qint64>{0, 100, 200}));
        EXPECT_EQ(list.places, (std::vector<size_t>{0, 1, 2}));
        EXPECT_TRUE(list.isComplete);
        EXPECT_TRUE(list.arePlacesKnown);
    }
}

TEST(FramesOfFile, PutWhatIsMissingIntoTheOnlyHole) {
    const FrameList list = framesOfFile(frames, {150}, 5);
    EXPECT_EQ(list.places, (std::vector<size_t>{0, 1, 4}));
    EXPECT_FALSE(list.isComplete);
    EXPECT_TRUE(list.arePlacesKnown);
    EXPECT_EQ(framesOfFile(frames, {300}, 5).places, (std::vector<size_t>{0, 1, 2}));
    EXPECT_FALSE(framesOfFile(frames, {50, 150}, 5).arePlacesKnown);
}

TEST(FrameList, RemovesFramesWithTheirPlaces) {
    FrameList list = framesOfFile(frames, {}, 3);
    list.remove({});
    EXPECT_TRUE(list.isComplete);
    list.remove({0, 2});
    EXPECT_EQ(offsets(list), (std::vector<qint64>{100}));
    EXPECT_EQ(list.places, (std::vector<size_t>{1}));
    EXPECT_FALSE(list.isComplete);
}

TEST(EntriesLeft, AreThoseThatTheListReaches) {
    EXPECT_EQ(entriesLeft({0, 2, 3}, 4), 3U);
    EXPECT_EQ(entriesLeft({0, 2, 3}, 3), 2U);
    EXPECT_EQ(entriesLeft({1, 2}, 1), 0U);
    EXPECT_EQ(entriesLeft({}, 5), 0U);
}

TEST(EntriesAt, AreThoseOfTheFramesThatAreLeft) {
    EXPECT_EQ(entriesAt({0, 2}, "aabbcc", 6, 2), "aacc");
    EXPECT_EQ(entriesAt({1, 3}, "aabbcc", 6, 2), "bb");
    EXPECT_EQ(entriesAt({1, 2}, "aabbc", 5, 2), "bb");
    EXPECT_EQ(entriesAt({}, "aabb", 4, 2), "");
}

}  // namespace
