#pragma once

// What tests of the writer record.

#include <libDataIO/imagewriter.h>

#include <QByteArray>

#include <sys/time.h>

#include <cstdint>

namespace mz::test {

/// What close() writes of a header in which nothing was set.
constexpr const char* emptyHeader = "compression_type=none\nendian=2\n";

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

/// The text of an attribute in memory; null when it is missing.
inline QString text(ImageWriter& writer, const char* key) {
    QString value;
    writer.attributeChunk().get(QString::fromLatin1(key), value);
    return value;
}

inline bool has(ImageWriter& writer, const char* key) {
    QString value;
    return writer.attributeChunk().get(QString::fromLatin1(key), value);
}

}  // namespace mz::test
