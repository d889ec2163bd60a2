#pragma once

// What tests of the writer record.

#include <libDataIO/imagewriter.h>

#include <QByteArray>

#include <sys/time.h>

#include <cstdint>

namespace mz::test {

/// Noise of 12-bit samples, another one for each seed.
inline QByteArray frame16(int samples, uint32_t seed = 1) {
    QByteArray out;
    uint32_t state = seed * 2654435761U + 1;
    for (int i = 0; i < samples; ++i) {
        state = state * 1664525U + 1013904223U;
        out.append(static_cast<char>(state >> 20 & 0xff)).append(static_cast<char>(state >> 28));
    }
    return out;
}

inline timeval timeOf(long seconds, long microseconds = 0) {
    timeval time{};
    time.tv_sec = seconds;
    time.tv_usec = microseconds;
    return time;
}

inline void setSize(ImageWriter& writer, int width, int height, MZImagePixelType type = MZ_USHORT) {
    writer.width(width);
    writer.height(height);
    writer.pixType(type);
}

inline void add(ImageWriter& writer, QByteArray const& frame, float power = -1.0F) {
    writer.addFrame(frame.constData(), static_cast<int>(frame.size()), power);
}

inline void add(ImageWriter& writer, QByteArray const& frame, timeval time, float power = -1.0F) {
    writer.addFrame(frame.constData(), static_cast<int>(frame.size()), time, power);
}

}  // namespace mz::test
