// The lists that run parallel to the frames of a recording: what is in one is in all of them, and
// nothing can fail once a frame is in the file.

#include <libDataIO/movies/framelists.h>
#include <libDataIO/payloads/laserpower.h>

#include <gtest/gtest.h>

#include <vector>

#include <tests/support/recording.h>

using namespace mz;
using namespace mz::test;

namespace {

using Powers = std::vector<float>;

std::vector<unsigned int> offsets(const FrameLists& frames) {
    std::vector<unsigned int> out;
    for (const ChunkRecord& record : frames.records())
        out.push_back(record.offset);
    return out;
}

FrameLists fourFrames() {
    FrameLists frames;
    for (unsigned int i = 0; i < 4; ++i)
        frames.add({i, 1}, timeOf(i), 0.25F * static_cast<float>(i));
    return frames;
}

TEST(FrameLists, MakeRoomInEachOfThem) {
    FrameLists frames;
    int allocations = 0;
    for (unsigned int i = 0; i < 5000; ++i) {
        const void* before[] = {frames.records().data(), frames.times().data(),
                                frames.powers().data()};
        frames.makeRoomForOne();
        const void* room[] = {frames.records().data(), frames.times().data(),
                              frames.powers().data()};
        frames.add({i, 1}, timeOf(i), 0.5F);
        const void* after[] = {frames.records().data(), frames.times().data(),
                               frames.powers().data()};
        for (size_t list = 0; list < std::size(room); ++list) {
            ASSERT_EQ(after[list], room[list]);
            if (room[list] != before[list]) ++allocations;
        }
    }
    EXPECT_LE(allocations, 3 * 10);
}

TEST(FrameLists, MakeRoomForThePowersThatAreMissing) {
    FrameLists frames = fourFrames();
    frames.powers().clear();
    frames.powers().shrink_to_fit();
    frames.makeRoomForPowers();
    const float* const room = frames.powers().data();
    frames.replace(1, {}, 0.5F);
    EXPECT_EQ(frames.powers().data(), room);
    EXPECT_EQ(frames.powers(), (Powers{noLaserPower, 0.5F, noLaserPower, noLaserPower}));
}

TEST(FrameLists, FramesWithoutATimeLeaveTheTimesShorter) {
    FrameLists frames;
    frames.add({0, 1}, timeOf(7), 0);
    frames.add({1, 1}, {}, 0);
    EXPECT_EQ(frames.size(), 2U);
    EXPECT_TRUE(frames.hasTime(0));
    EXPECT_FALSE(frames.hasTime(1));
    frames.replace(1, timeOf(8), 0);
    EXPECT_EQ(frames.times().size(), 1U);
    frames.clear();
    EXPECT_TRUE(frames.empty());
    EXPECT_TRUE(frames.times().empty());
    EXPECT_TRUE(frames.powers().empty());
}

TEST(FrameLists, RotatePlacesAndPowersButNoTimes) {
    FrameLists frames = fourFrames();
    EXPECT_TRUE(frames.rotate(1, 3));
    EXPECT_EQ(offsets(frames), (std::vector<unsigned int>{1, 2, 0, 3}));
    EXPECT_EQ(frames.powers(), (Powers{0.25F, 0.5F, 0, 0.75F}));
    for (size_t i = 0; i < 4; ++i)
        EXPECT_EQ(frames.times()[i].tv_sec, static_cast<time_t>(i));

    frames.powers().pop_back();
    EXPECT_FALSE(frames.rotate(1, 3));
    EXPECT_EQ(offsets(frames), (std::vector<unsigned int>{2, 0, 1, 3}));
    EXPECT_EQ(frames.powers(), (Powers{0.25F, 0.5F, 0}));
    frames.powers().clear();
    EXPECT_TRUE(frames.rotate(1, 3));
    EXPECT_EQ(offsets(frames), (std::vector<unsigned int>{0, 1, 2, 3}));
}

}  // namespace
