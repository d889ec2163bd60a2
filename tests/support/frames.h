#pragma once

// Frames of 16-bit samples, which tell each other apart.

#include <QByteArray>

#include <cstdint>

#include <tests/support/bytes.h>

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

/// first, first + 1, first + 2 …
inline QByteArray risingFrame(int first, int samples) {
    QByteArray out;
    for (int i = 0; i < samples; ++i)
        out += le16(static_cast<uint16_t>(first + i));
    return out;
}

/// Sample i of frame n is 1000 n + i.
inline QByteArray numberedFrame(int number, int samples) {
    return risingFrame(1000 * number, samples);
}

}  // namespace mz::test
