// Laser powers and times: of each frame, and of the current one.

#include <tests/support/moviereader.h>

using namespace mz;
using namespace mz::test;

namespace {

MovieBytes fourFrames() {
    return MovieBytes().frame("0").frame("1").frame("2").frame("3");
}

}  // namespace

// --- laser powers ----------------------------------------------------------------------------

TEST_F(MovieReader, LaserPowersAreFractionsOf254) {
    open(fourFrames().laserPowers(QByteArray("\x00\x7f\xfe\xff", 4)));
    EXPECT_EQ(reader.getLaserPower(0), 0.0F);
    EXPECT_EQ(reader.getLaserPower(1), 0.5F);
    EXPECT_EQ(reader.getLaserPower(2), 1.0F);
    EXPECT_EQ(reader.getLaserPower(3), boost::none);
    EXPECT_EQ(reader.getLaserPower(4), boost::none);
    float power = 7;
    EXPECT_TRUE(reader.getLaserPower(1, power));
    EXPECT_EQ(power, 0.5F);
    EXPECT_FALSE(reader.getLaserPower(3, power));
    EXPECT_FALSE(reader.getLaserPower(4, power));
    EXPECT_EQ(power, 0.5F);
}

TEST_F(MovieReader, LaserPowersOfAnotherNumberOfFramesAreIgnored) {
    for (const int size : {0, 3, 5}) {
        const LogCapture log;
        open(fourFrames().laserPowers(QByteArray(size, '\x10')));
        EXPECT_EQ(reader.getLaserPower(0), boost::none);
        EXPECT_TRUE(log.records().empty());
    }
}

TEST_F(MovieReader, LaserPowerFollowsTheCurrentFrame) {
    open(fourFrames().laserPowers(QByteArray("\x00\x7f\xfe\xff", 4)));
    const void* data = nullptr;
    float power = 7;
    ASSERT_TRUE(reader.getFrame(data, 1));
    EXPECT_TRUE(reader.laserPower(power));
    EXPECT_EQ(power, 0.5F) << "of the frame just read";
    ASSERT_TRUE(reader.nextFrame(data));
    EXPECT_TRUE(reader.laserPower(power));
    EXPECT_EQ(power, 1.0F) << "of the frame behind";
    reader.nextFrame(data);
    EXPECT_FALSE(reader.laserPower(power));
    reader.nextFrame(data);
    EXPECT_FALSE(reader.laserPower(power));
}

// --- times -----------------------------------------------------------------------------------

TEST_F(MovieReader, TimesComeFromTheirChunk) {
    open(fourFrames()
             .endian(Order::Big)
             .times({10, 1, 20, 2, 0xffffffff, 3})
             .text("frame_timer=1\nframe_timer_n0_sec=99\nframe_timer_n0_usec=9\n"));
    timeval time{};
    EXPECT_TRUE(reader.getFrameTiming(1, time));
    EXPECT_EQ(time.tv_sec, 20) << "times are never swapped";
    EXPECT_EQ(time.tv_usec, 2);
    ASSERT_TRUE(reader.getFrameTiming(2));
    EXPECT_EQ(reader.getFrameTiming(2)->tv_sec, -1);
    EXPECT_FALSE(reader.getFrameTiming(3));
    EXPECT_FALSE(reader.getFrameTiming(3, time));
    EXPECT_EQ(time.tv_sec, 20);
}

TEST_F(MovieReader, TimesComeFromTheAttributesOfOlderMovies) {
    open(fourFrames().text("frame_timer=1\nframe_timer_n0_sec=99\nframe_timer_n0_usec=9\n"));
    ASSERT_TRUE(reader.getFrameTiming(0));
    EXPECT_EQ(reader.getFrameTiming(0)->tv_sec, 99);
    EXPECT_EQ(reader.getFrameTiming(0)->tv_usec, 9);
    EXPECT_FALSE(reader.getFrameTiming(1));
}

TEST_F(MovieReader, ADamagedTimerChunkGivesNoTimes) {
    open(fourFrames()
             .chunk(MovieBytes::FrameTimer, QByteArray(12, '\1'))
             .text("frame_timer=1\nframe_timer_n0_sec=99\nframe_timer_n0_usec=9\n"));
    EXPECT_FALSE(reader.getFrameTiming(0)) << "the chunk counts, even if it says nothing";
}

TEST_F(MovieReader, FrameTimingFollowsTheCurrentFrame) {
    open(fourFrames().times({10, 0, 20, 0, 30, 0}));
    const void* data = nullptr;
    timeval time{};
    ASSERT_TRUE(reader.getFrame(data, 1));
    EXPECT_TRUE(reader.frameTiming(time));
    EXPECT_EQ(time.tv_sec, 20);
    ASSERT_TRUE(reader.nextFrame(data));
    EXPECT_TRUE(reader.frameTiming(time));
    EXPECT_EQ(time.tv_sec, 30);
    reader.nextFrame(data);
    EXPECT_FALSE(reader.frameTiming(time));
}
