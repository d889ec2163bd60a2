#pragma once

// Byte order of samples: what the attribute "endian" says, and the swapping of files that were
// recorded in the other order. Buffers may lie at any address.

#include <QtEndian>

#include <cstddef>

namespace mz {

/// "endian" of files in the order that the writer records (little-endian).
constexpr int nativeEndian = 2;

/// Whether samples must be swapped: any value but 0 (unspecified) and 2 stands for the other order.
inline bool isOtherByteOrder(int endian) {
    return endian != 0 && endian != nativeEndian;
}

/// Copies `count` samples with their bytes reversed. `to` may equal `from`, but not overlap it
/// otherwise.
inline void copySwapped16(const void* from, void* to, size_t count) {
    qbswap<2>(from, static_cast<qsizetype>(count), to);
}
inline void copySwapped32(const void* from, void* to, size_t count) {
    qbswap<4>(from, static_cast<qsizetype>(count), to);
}

}  // namespace mz
