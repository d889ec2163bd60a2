#pragma once

// Movies made and read through the library.

#include <libDataIO/dataiocommon.h>

#include <QString>

#include <bench/material.h>

namespace mz {
class ImageReader;
class ImageWriter;
}  // namespace mz

namespace bench {

/// The header of a movie of such frames, and `attributes` ones beside.
void setHeader(mz::ImageWriter& writer, const Material& material, int attributes = 0);

/// The time of a frame and its laser power, so that every movie has them.
struct FrameData {
    timeval time;
    float power;
};
FrameData dataOfFrame(int i);

/// Records the frames with time and power each.
void record(const QString& path, const Material& material,
            mz::CompressionType::e compression = mz::CompressionType::None,
            mz::CompressionEffort::e effort = mz::CompressionEffort::Standard, int attributes = 0);

/// Opens the movie, adds up the frames in that order, closes it.
Sum sumFrames(const QString& path, const std::vector<int>& order);
/// The same of a movie that is open.
Sum sumFrames(mz::ImageReader& reader, const std::vector<int>& order);

}  // namespace bench
