#pragma once

// What tests of the writer record.

#include <libDataIO/imagewriter.h>

#include <QByteArray>

#include <sys/time.h>

#include <tests/support/attributetext.h>
#include <tests/support/frames.h>

namespace mz::test {

/// What close() writes of a header in which nothing was set.
constexpr const char* emptyHeader = "compression_type=none\nendian=2\n";

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

inline void add(ImageWriter& writer, const QByteArray& frame, float power = -1.0F) {
    writer.addFrame(frame.constData(), static_cast<int>(frame.size()), power);
}

inline void add(ImageWriter& writer, const QByteArray& frame, timeval time, float power = -1.0F) {
    writer.addFrame(frame.constData(), static_cast<int>(frame.size()), time, power);
}

/// The text of an attribute in memory; null when it is missing.
inline QString text(ImageWriter& writer, const char* key) {
    return valueOf(writer.attributeChunk(), key);
}

inline bool has(ImageWriter& writer, const char* key) {
    return !text(writer, key).isNull();
}

}  // namespace mz::test
