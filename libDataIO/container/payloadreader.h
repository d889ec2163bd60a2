#pragma once

// Payloads that are read into memory of their own: what a reader looks at itself, while the frame
// that it has handed out stays where it is, and a page that the disk cannot give is an error and
// not a signal. The failures are those of the mapped reader's moves; after one, `payload` may hold
// anything. Not installed.

#include <QByteArray>

namespace mz {

/// The payload of the last chunk of a file.
/// @return false, `payload` untouched, when the file is empty or that chunk is of another type
/// @throws IOFileException "MM_SE_SEEK", "MM_CR_BOUND", "MM_CR_MMAP" when the payload cannot be
///         read, and those of ChunkHeaderBase::loadFD
bool readLastPayload(int fd, unsigned int type, QByteArray& payload);

/// Whether the last chunk of a file is of that type.
/// @throws IOFileException "MM_SE_SEEK", and those of ChunkHeaderBase::loadFD
bool isLastChunk(int fd, unsigned int type);

/// The payload of the chunk whose start header is at `offset`.
/// @return false, `payload` untouched, when the file ends there or that chunk is of another type
/// @throws IOFileException "MM_NC_BOUND", "MM_NC_MMAP", and as above
bool readPayloadAt(int fd, qint64 offset, unsigned int type, QByteArray& payload);

}  // namespace mz
