#pragma once

// Movies for tests of reopening, and what stands behind their frames.

#include <QByteArray>

#include <cstdint>

#include <tests/support/moviebytes.h>

namespace mz::test {

constexpr uint32_t Frame = MovieBytes::Frame;
constexpr uint32_t Info = MovieBytes::Info;
constexpr uint32_t Fibers = MovieBytes::FiberCenter;
constexpr uint32_t Times = MovieBytes::FrameTimer;
constexpr uint32_t Powers = MovieBytes::LaserPower;

inline const QByteArray oneFiber = le32(0x7fffffff) + le32(0);
inline const QByteArray oneTime = le32(7) + le32(8);
inline const QByteArray header = "compression_type=none\nendian=2\nheight=4\nwidth=4\n";

inline MovieBytes twoFrames() {
    return MovieBytes().chunk(Frame, "frame 0").chunk(Frame, "frame 1..");
}

}  // namespace mz::test
