#pragma once

// Numbers, chunks and index records of a movie byte by byte, sharing nothing with the library.

#include <QByteArray>

#include <cstdint>

namespace mz::test {

inline QByteArray be32(uint32_t value) {
    QByteArray out;
    for (int shift = 24; shift >= 0; shift -= 8)
        out.append(static_cast<char>(value >> shift & 0xff));
    return out;
}

inline QByteArray le32(uint32_t value) {
    QByteArray out;
    for (int shift = 0; shift < 32; shift += 8)
        out.append(static_cast<char>(value >> shift & 0xff));
    return out;
}

inline QByteArray le16(uint16_t value) {
    return QByteArray()
        .append(static_cast<char>(value & 0xff))
        .append(static_cast<char>(value >> 8));
}

/// Sample number `i` of 16-bit samples.
inline uint16_t sample16(const QByteArray& bytes, qsizetype i) {
    return static_cast<uint16_t>(static_cast<unsigned char>(bytes[2 * i]) |
                                 static_cast<unsigned char>(bytes[2 * i + 1]) << 8);
}

inline QByteArray startHeader(uint32_t type, uint32_t size) {
    return QByteArray("\n<CSTA") + be32(type) + be32(size) + QByteArray(">\n");
}

inline QByteArray endHeader(uint32_t type, uint32_t size) {
    return QByteArray("\n<CEND") + be32(type) + be32(size) + QByteArray(">\n");
}

/// A whole chunk: start header, payload, end header.
inline QByteArray chunk(uint32_t type, const QByteArray& payload) {
    const auto size = static_cast<uint32_t>(payload.size());
    return startHeader(type, size) + payload + endHeader(type, size);
}

/// One record of the index, in the byte order of the intended machines.
inline QByteArray indexRecord(uint32_t type, uint32_t offset, uint32_t length) {
    return le32(type) + le32(offset) + le32(length);
}

}  // namespace mz::test
