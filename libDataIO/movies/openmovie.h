#pragma once

// A finished movie that is open for reading: its header in memory, its chunks within reach.

#include <libDataIO/chunkinfo.h>
#include <libDataIO/dataiocommon.h>
#include <libDataIO/filereader.h>
#include <libDataIO/frametimer.h>

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <optional>
#include <vector>

namespace mz {

/// Bytes that belong to somebody else.
struct FrameView {
    const void* data;
    std::size_t size;
};

class OpenMovie {
public:
    /// Opens a movie and loads its index, attributes, times and powers. Nothing may be open.
    /// Without success, the file may be open and the header in part loaded.
    void open(const QString& fileName);
    /// Closes the file; the header stays.
    void close();
    /// Empties the header.
    void forget();
    /// Loads index and attributes again. A payload that was handed out stays valid.
    void reloadInfo();

    const QString& fileName() const { return _fileName; }
    ChunkInfo& info() { return _info; }
    const ChunkInfo& info() const { return _info; }
    unsigned int frameCount() const { return _frameCount; }
    CompressionType::e compression() const { return _compression; }
    const FrameTimer& times() const { return _times; }
    /// Empty for a frame that has none.
    std::optional<float> power(unsigned int frame) const;

    /// Whether samples and fibre positions are in the other byte order, as far as the attributes
    /// say now.
    bool hasOtherByteOrder() const;

    /// Reads the payload of the n-th chunk of a type, from 0, by system calls: what is looked at
    /// here must fail where the disk does.
    /// @param payload holds anything after a failure
    /// @return false when there is no such chunk
    /// @throws IOFileException "IR_RC_BOUND" for a number beyond the one behind the last;
    ///         "IR_MISSINFO" when the chunk is gone because the file was cut
    bool read(MZImageChunkType type, unsigned int n, QByteArray& payload);

    /// The payload of the n-th frame in the mapped file, for callers who want it without a copy. It
    /// is valid until the next one.
    /// @return as above
    std::optional<FrameView> mappedFrame(unsigned int n);

private:
    std::optional<qint64> _placeOf(MZImageChunkType type, unsigned int n) const;
    void _checkEnd() const;
    [[noreturn]] void _failMissingInfo() const;
    void _loadTimes();
    void _loadPowers();

    FileReader _reader;
    QString _fileName;
    ChunkInfo _info;
    unsigned int _frameCount = 0;
    CompressionType::e _compression = CompressionType::None;
    FrameTimer _times;
    QByteArray _powers;  ///< as they are stored: few are ever asked for
};

}  // namespace mz
