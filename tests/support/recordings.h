#pragma once

// Recordings for tests that damage or copy them: made by the writer, described so that each frame,
// time and power can be told from every other.

#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>

#include <QByteArray>
#include <gtest/gtest.h>

#include <ostream>
#include <vector>

namespace mz::test {

constexpr CompressionType::e none = CompressionType::None;
constexpr CompressionType::e zlib = CompressionType::ZLib;
constexpr CompressionType::e gzip = CompressionType::GZip;
constexpr CompressionType::e bzip2 = CompressionType::BZip2;

struct RecordingKind {
    CompressionType::e compression = CompressionType::None;
    bool isVectorized = false;
    int frames = 3;
    int width = 16;
    int height = 8;
};

inline void PrintTo(const RecordingKind& kind, std::ostream* out) {
    *out << "compression " << kind.compression << (kind.isVectorized ? ", vectorized" : "");
}

/// x, y of eight fibres.
inline std::vector<float> someFibers() {
    std::vector<float> fibers;
    for (int i = 0; i < 8; ++i) {
        fibers.push_back(static_cast<float>(2 * i));
        fibers.push_back(static_cast<float>(i));
    }
    return fibers;
}

/// Samples that a compressor can do something with, others for each frame.
inline QByteArray frameOf(const RecordingKind& kind, int number) {
    const int samples = kind.isVectorized ? 8 : kind.width * kind.height;
    QByteArray frame;
    for (int i = 0; i < samples; ++i)
        frame.append(static_cast<char>(number + i / 16)).append(static_cast<char>(number));
    return frame;
}

inline timeval timeOfFrame(int number) {
    timeval time{};
    time.tv_sec = 1000 + number;
    time.tv_usec = 7 * number;
    return time;
}

inline float powerOfFrame(int number) {
    return static_cast<float>(number % 5) / 5.0F;
}

/// Adds frames `first` to `last` with their times and powers.
inline void addFrames(ImageWriter& writer, const RecordingKind& kind, int first, int last) {
    for (int i = first; i <= last; ++i) {
        const QByteArray frame = frameOf(kind, i);
        writer.addFrame(frame.constData(), static_cast<int>(frame.size()), timeOfFrame(i),
                        powerOfFrame(i));
    }
}

inline void setHeader(ImageWriter& writer, const RecordingKind& kind) {
    writer.width(kind.width);
    writer.height(kind.height);
    writer.pixType(MZ_USHORT);
    writer.setComment(QStringLiteral("of some length\nin two lines"));
    writer.setCompression(kind.compression);
    writer.addRasterFiberContinuousIndexes(someFibers());
}

inline void record(const QString& path, const RecordingKind& kind) {
    ImageWriter writer;
    writer.create(path, false);
    setHeader(writer, kind);
    addFrames(writer, kind, 0, kind.frames - 1);
    writer.close();
}

/// Expects that the movie opens and holds exactly the frames of these numbers, each with its own
/// time and power, or with none at all.
inline void expectFrames(const QString& path, const RecordingKind& kind,
                         const std::vector<int>& numbers, bool withTimes) {
    ImageReader reader(path);
    ASSERT_EQ(reader.nbFrames(), numbers.size());
    for (unsigned int i = 0; i < reader.nbFrames(); ++i) {
        SCOPED_TRACE("frame " + std::to_string(i));
        const void* data = nullptr;
        const auto size = reader.getRawFrame(data, i);
        const QByteArray expected = frameOf(kind, numbers[i]);
        ASSERT_TRUE(size);
        ASSERT_EQ(*size, expected.size());
        EXPECT_EQ(QByteArray(static_cast<const char*>(data), expected.size()), expected);
        const auto time = reader.getFrameTiming(i);
        const auto power = reader.getLaserPower(i);
        ASSERT_EQ(time.has_value(), withTimes);
        ASSERT_EQ(power.has_value(), withTimes);
        if (!withTimes) continue;
        EXPECT_EQ(time->tv_sec, timeOfFrame(numbers[i]).tv_sec);
        EXPECT_EQ(time->tv_usec, timeOfFrame(numbers[i]).tv_usec);
        EXPECT_NEAR(*power, powerOfFrame(numbers[i]), 0.005);
    }
}

}  // namespace mz::test
