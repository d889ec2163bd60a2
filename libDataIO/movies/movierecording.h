#pragma once

// A movie that is being recorded or changed: the open file, where its next chunk goes, and what is
// kept of it in memory until the file is finished.

#include <libDataIO/dataiocommon.h>
#include <libDataIO/filewriter.h>
#include <libDataIO/movies/trailingpayloads.h>
#include <libDataIO/payloads/framecodec.h>

#include <QString>

#include <cstddef>
#include <cstdint>
#include <optional>

namespace mz {

/// The failures of each operation are those that ImageWriter documents.
class MovieRecording {
public:
    void create(const QString& fileName, bool autotime);
    /// Reopens a finished movie without what stands behind its frames.
    void modify(const QString& fileName);
    /// Replaces all attributes of a finished movie.
    void modifyAttribute(const QString& fileName, const AttributeChunk& attributes);
    /// Appends what readers need and closes the file; does nothing without one.
    void close();
    bool isOpen() const { return _writer.openned(); }

    AttributeChunk& attributes() { return _contents.info; }
    const AttributeChunk& attributes() const { return _contents.info; }
    void setFibers(const std::vector<float>& positions) { _contents.fibers = positions; }
    void setCompression(CompressionType::e compression);
    void setCompressionEffort(CompressionEffort::e effort) { _effort = effort; }

    /// Whether each frame is stamped with the current time.
    bool hasAutotime() const { return _contents.hasAutotime; }
    /// Adds a frame at the cursor.
    void addFrame(const void* data, unsigned int size, std::optional<timeval> time, float power);
    /// Adds a frame behind all others, wherever the cursor stands; it stays there when that fails.
    void addFrameAtEnd(const void* data, unsigned int size, std::optional<timeval> time,
                       float power);
    void replaceFrame(const void* data, unsigned int index, std::optional<timeval> time,
                      float power);

    FrameLists& frames() { return _contents.frames; }

    void dumpDebug() const;

private:
    void _seekEnd();
    int _addChunk(MZImageChunkType type, const void* data, std::size_t size);
    void _checkCompressible(unsigned int size) const;
    bool _fits(int64_t payloadSize) const;
    void _checkRoomForEnd() const;

    void _appendTrailingChunk(MZImageChunkType type);
    void _dropTrailingChunks(qint64 endOfFrames);

    void _openAtInfo(const QString& fileName);
    void _takeOffTrailingChunks();
    void _replaceInfo(qint64 start, const QByteArray& old, const QByteArray& payload);
    void _replaceInfoAgain(const QString& fileName, qint64 start, const QByteArray& old,
                           const QByteArray& payload);

    MovieContents _contents;
    FileWriter _writer;
    CompressionType::e _compression = CompressionType::None;
    CompressionEffort::e _effort = CompressionEffort::Standard;
    FrameEncoder _encoder;
    unsigned int _frameSize = 0;  ///< uncompressed bytes of the last frame, 0 when there is none
    qint64 _fileEnd = 0;          ///< end of the last chunk in the file
};

}  // namespace mz
