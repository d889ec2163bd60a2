#pragma once

// Finds what is left of a movie that does not open: its whole chunks, and what it says of itself if
// its info chunk is there at least in part.

#include <libDataIO/base/posixfile.h>
#include <libDataIO/chunkinfo.h>
#include <libDataIO/container/chunkscan.h>

#include <QByteArray>

#include <optional>
#include <vector>

namespace mz {

/// A whole chunk whose payload the system does not give.
struct UnreadableChunk {
    ChunkSpan chunk;
    int error;  ///< what errno was
};

/// What was found, in plain values.
struct MovieRemains {
    ChunkScan scan;

    /// Chunks that stand in the scan no more: all that cannot be read but for frames, which are
    /// too many to be read before it is known what to make of them.
    std::vector<UnreadableChunk> unreadable;

    /// Index and attributes of the info chunk that the file ends with, whole or not. A torn one
    /// counts when all of its payload is there, or when no whole one stands in front of it; of its
    /// lines those count that are whole. Empty when there is none, or not all of its index.
    std::optional<ChunkInfo> ownInfo;

    /// The payload of the whole info chunk, if there is one.
    QByteArray wholeInfoPayload;

    /// The info chunk, if the last whole chunk is one.
    std::optional<ChunkSpan> wholeInfo() const;
};

class DamagedMovie {
public:
    /// Reads the framing of the whole file, and what is not framing but for the frames. All reading
    /// here and below is done by calls of the system: a page that the disk cannot give is an error.
    /// @throws IOFileException "FR_OF_…" when there is no such file, "IU_S_READ" (SYSCALL) when it
    ///         cannot be read at all, "IU_S_FORMAT" when it holds bytes but no trace of a chunk
    explicit DamagedMovie(const QString& fileName);

    const MovieRemains& remains() const { return _remains; }

    /// Reads the payload of a chunk into memory of the caller's.
    /// @return 0, or what errno was when the system did not give all of it
    /// @throws IOFileException "IU_S_BUSY" when the chunk is no longer there
    int read(const ChunkSpan& chunk, QByteArray& payload);
    /// Reads all of a payload, and keeps none of it.
    /// @return as above
    int readThrough(const ChunkSpan& chunk);

    /// `chunk.size` bytes.
    /// @throws IOFileException "IU_S_READ" (SYSCALL), and as above
    QByteArray payload(const ChunkSpan& chunk);

private:
    void _takeOutUnreadable();
    void _loadOwnInfo();
    std::optional<ChunkSpan> _brokenInfo();
    QByteArray _infoPayload(const ChunkSpan& chunk);
    QByteArray _bytesAt(qint64 offset, qint64 size);
    int _checkHeader(const ChunkSpan& chunk);
    int _read(qint64 offset, QByteArray& bytes);

    QString _fileName;
    posix::Descriptor _file;
    MovieRemains _remains;
};

}  // namespace mz
