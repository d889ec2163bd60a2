#pragma once

// The framing in plain values, for the modules that place header and payload themselves. Not
// installed; defined in chunkheader.cpp.

#include <libCommon/locationinfo.h>

#include <QString>

#include <array>

namespace mz {

constexpr qint64 chunkHeaderSize = 16;
/// What a chunk needs besides its payload.
constexpr qint64 chunkFramingSize = 2 * chunkHeaderSize;

/// Where the end header of a chunk that ends there begins, -1 when it would lie before the file.
constexpr qint64 endHeaderOffset(qint64 chunkEnd) {
    return chunkEnd < chunkHeaderSize ? -1 : chunkEnd - chunkHeaderSize;
}

using ChunkHeaderBytes = std::array<char, chunkHeaderSize>;

/// A header as it is stored.
/// @param text the 16 bytes of its kind, ChunkStartHeader::_headerStr or ChunkEndHeader::_headerStr
ChunkHeaderBytes encodeChunkHeader(const char* text, unsigned int type, unsigned int size);

/// The reverse. @return false, the numbers untouched, when the fixed bytes are not those of `text`
bool decodeChunkHeader(ChunkHeaderBytes const& bytes, const char* text, unsigned int& type,
                       unsigned int& size);

/// The message of every chunk that does not lie inside its file.
inline QString chunkOutsideFile() {
    return QStringLiteral("Chunk exceeds file, file may be corrupted.");
}

/// Raises "CHB_WFD_WRITE" for the current errno, as the operation at `location`.
[[noreturn]] void failChunkHeaderWrite(LocationInfo const& location);

}  // namespace mz
