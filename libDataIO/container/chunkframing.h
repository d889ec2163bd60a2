#pragma once

// The framing in plain values, for the modules that place header and payload themselves. Not
// installed; defined in chunkheader.cpp.

#include <libCommon/locationinfo.h>

#include <QtGlobal>

#include <array>
#include <limits>

namespace mz {

constexpr qint64 chunkHeaderSize = 16;
/// What a chunk needs besides its payload.
constexpr qint64 chunkFramingSize = 2 * chunkHeaderSize;

/// Offsets are 32 bits in the index, so no file can be longer.
constexpr qint64 maxFileSize = std::numeric_limits<quint32>::max();

// Where the numbers of a header stand between its fixed bytes.
constexpr size_t chunkTagSize = 6;  ///< the bytes that name a header, in front of its numbers
constexpr size_t chunkTypeAt = chunkTagSize;
constexpr size_t chunkSizeAt = 10;
constexpr size_t chunkTrailerAt = 14;

/// Where the end header of a chunk that ends there begins, -1 when it would lie before the file.
constexpr qint64 endHeaderOffset(qint64 chunkEnd) {
    return chunkEnd < chunkHeaderSize ? -1 : chunkEnd - chunkHeaderSize;
}

using ChunkHeaderBytes = std::array<char, chunkHeaderSize>;

/// Whether `count` bytes, at most 16, are the first of a header, whatever its numbers.
bool beginsChunkHeader(const char* bytes, size_t count, const char* text);

/// A header as it is stored.
/// @param text the 16 bytes of its kind, ChunkStartHeader::_headerStr or ChunkEndHeader::_headerStr
ChunkHeaderBytes encodeChunkHeader(const char* text, unsigned int type, unsigned int size);

/// The reverse. @return false, the numbers untouched, when the fixed bytes are not those of `text`
bool decodeChunkHeader(const ChunkHeaderBytes& bytes, const char* text, unsigned int& type,
                       unsigned int& size);

/// What stands in front of an end that is being written behind a movie and does not count before it
/// is complete: the start header of an info chunk that is larger than any chunk can be. Should the
/// process be killed meanwhile, the file can be told from one that lost its end otherwise.
ChunkHeaderBytes unfinishedEndMark();
bool isUnfinishedEndMark(unsigned int type, unsigned int size);

/// Raises "CHB_WFD_WRITE" for an errno, as the operation at `location`.
[[noreturn]] void failChunkHeaderWrite(int error, const LocationInfo& location);

}  // namespace mz
