#pragma once

// A finished movie that is open for reading: its header in memory, its chunks within reach.

#include <libDataIO/chunkinfo.h>
#include <libDataIO/dataiocommon.h>
#include <libDataIO/filereader.h>
#include <libDataIO/frametimer.h>

#include <QString>

#include <cstddef>
#include <vector>

namespace mz {

/// Bytes that belong to somebody else.
struct FrameView {
    void const* data;
    std::size_t size;
};

class OpenMovie {
public:
    /// Opens a movie and loads its index, attributes, times and powers. Nothing may be open.
    /// Without success, the file may be open and the header in part loaded.
    void open(QString const& fileName);
    /// Closes the file; the header stays.
    void close();
    /// Empties the header.
    void forget();
    /// Loads index and attributes again. A payload that was handed out stays valid.
    void reloadInfo();

    QString const& fileName() const { return _fileName; }
    ChunkInfo& info() { return _info; }
    ChunkInfo const& info() const { return _info; }
    unsigned int frameCount() const { return _frameCount; }
    CompressionType::e compression() const { return _compression; }
    FrameTimer const& times() const { return _times; }
    std::vector<float> const& powers() const { return _powers; }

    /// Whether samples and fibre positions are in the other byte order, as far as the attributes
    /// say now.
    bool hasOtherByteOrder() const;

    /// Goes to the n-th chunk of a type, from 0.
    /// @return false when there is none
    /// @throws IOFileException "IR_RC_BOUND" for a number beyond the one behind the last;
    ///         "IR_MISSINFO" when the chunk is gone because the file was cut
    bool goTo(MZImageChunkType type, unsigned int n);
    /// The payload of the chunk gone to, valid until the next one.
    FrameView payload() { return {_reader.data(), _reader.chunkSize()}; }

private:
    void _findInfo();
    void _loadInfo(void const* payload, unsigned int size);
    [[noreturn]] void _failMissingInfo() const;
    void _loadTimes();
    void _loadPowers();

    FileReader _reader;
    QString _fileName;
    ChunkInfo _info;
    unsigned int _frameCount = 0;
    CompressionType::e _compression = CompressionType::None;
    FrameTimer _times;
    std::vector<float> _powers;
};

}  // namespace mz
