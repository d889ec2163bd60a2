#pragma once

// Finds what is left of a movie that does not open: its whole chunks, and what it says of itself if
// its info chunk is there at least in part.

#include <libDataIO/chunkinfo.h>
#include <libDataIO/container/chunkscan.h>
#include <libDataIO/filereader.h>

#include <QByteArray>

#include <optional>

namespace mz {

/// What was found, in plain values.
struct MovieRemains {
    ChunkScan scan;

    /// Index and attributes of the info chunk that the file ends with, whole or not; of a torn one,
    /// the lines that are whole. Empty when there is none, or not all of its index.
    std::optional<ChunkInfo> ownInfo;

    /// The payload of the whole info chunk, if there is one.
    QByteArray wholeInfoPayload;

    /// The info chunk, if the last whole chunk is one.
    std::optional<ChunkSpan> wholeInfo() const;
};

class DamagedMovie {
public:
    /// Reads the framing of the whole file.
    /// @throws IOFileException "FR_OF_…" when there is no such file, "IU_S_READ" (SYSCALL) when it
    ///         cannot be read at all, "IU_S_FORMAT" when it holds bytes but no trace of a chunk
    explicit DamagedMovie(const QString& fileName);

    const MovieRemains& remains() const { return _remains; }

    /// `chunk.size` bytes, valid until the next payload.
    /// @throws IOFileException "IU_S_BUSY" when the chunk is no longer there, "MM_…"
    const char* payload(const ChunkSpan& chunk);

private:
    void _loadOwnInfo(int fd);
    std::optional<ChunkSpan> _brokenInfo(int fd);
    QByteArray _infoPayload(int fd, const ChunkSpan& chunk);
    QByteArray _bytesAt(int fd, qint64 offset, qint64 size);

    QString _fileName;
    FileReader _reader;
    MovieRemains _remains;
};

}  // namespace mz
