#pragma once

// What is left of a movie that does not open: its whole chunks, and what it says of itself if its
// info chunk is there at least in part.

#include <libDataIO/chunkinfo.h>
#include <libDataIO/container/chunkscan.h>
#include <libDataIO/filereader.h>

#include <QByteArray>
#include <boost/optional.hpp>

namespace mz {

class DamagedMovie {
public:
    /// Reads the framing of the whole file.
    /// @throws IOFileException "FR_OF_…" when there is no such file, "IU_S_READ" (SYSCALL) when it
    ///         cannot be read at all, "IU_S_FORMAT" when it holds bytes but no trace of a chunk
    explicit DamagedMovie(QString const& fileName);

    ChunkScan const& scan() const { return _scan; }

    /// Index and attributes of the info chunk that the file ends with, whole or not. Of a torn one,
    /// the lines that are whole. Null when there is none, or not all of its index.
    ChunkInfo const* ownInfo() const { return _ownInfo.get_ptr(); }

    /// The info chunk, if the last whole chunk is one.
    boost::optional<ChunkSpan> wholeInfo() const;

    /// `chunk.size` bytes, valid until the next payload.
    /// @throws IOFileException "IU_S_READ" when the chunk is no longer there, "MM_…"
    const char* payload(ChunkSpan const& chunk);

private:
    void _loadOwnInfo(int fd);
    boost::optional<ChunkSpan> _brokenInfo(int fd);
    QByteArray _bytesAt(int fd, qint64 offset, qint64 size);

    FileReader _reader;
    ChunkScan _scan;
    boost::optional<ChunkInfo> _ownInfo;
};

}  // namespace mz
