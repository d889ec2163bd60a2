#pragma once

// The framing of a movie file. A file is a gap-free sequence of chunks; each has a 16-byte start
// header, its payload and a 16-byte end header that repeats type and size, so that a file can be
// walked in both directions. A chunk occupies its payload's size plus 32 bytes.
//
//   byte  0   newline, "<", "CSTA" in a start header, "CEND" in an end header
//   byte  6   chunk type, unsigned 32-bit, big-endian
//   byte 10   payload size in bytes, unsigned 32-bit, big-endian
//   byte 14   ">", newline

#include <libCommon/export.h>

#include <QtGlobal>

namespace mz {

/// What the two kinds of header share. Use the concrete class of the header that is expected: a
/// header of the other kind does not parse.
class DATAIO_EXPORT ChunkHeaderBase {
public:
    /// Type and size are 0 until a header is loaded.
    ChunkHeaderBase() = default;
    ChunkHeaderBase(unsigned int type, unsigned int size) : _type(type), _size(size) {}
    ChunkHeaderBase(const ChunkHeaderBase&) = default;
    ChunkHeaderBase& operator=(const ChunkHeaderBase&) = default;
    virtual ~ChunkHeaderBase();

    /// An MZImageChunkType as a rule; any number is taken.
    unsigned int type() const { return _type; }
    void type(unsigned int type) { _type = type; }
    /// Payload size in bytes.
    unsigned int size() const { return _size; }
    void size(unsigned int size) { _size = size; }

    /// Reads one header at the descriptor's position.
    /// @return true, or false at a clean end of the file (not one byte left). Type and size change
    ///         on true only.
    /// @throws IOFileException "CHB_LDF_READ" when reading fails or the file ends inside the header
    /// @throws IOFileException "CHB_LFD_PARSE" when there is no header of this kind
    bool loadFD(int fd);

    /// Moves the descriptor to an absolute offset in bytes and reads one header there.
    /// @return as above, and false, the descriptor untouched, for a negative offset: that is how a
    ///         backward walk ends at the start of the file
    /// @throws IOFileException "CHB_LFD_SEEK" when the descriptor cannot be moved, else as above
    bool loadFD(int fd, qint64 offset);

    /// Writes this header at the descriptor's position.
    /// @return true
    /// @throws IOFileException "CHB_WFD_WRITE" when not all of its bytes were written; some may
    ///         have been
    bool writeFD(int fd);

protected:
    /// The 16 bytes of this kind of header, with blanks where type and size go.
    virtual const char* _header() const = 0;

private:
    unsigned int _type = 0;
    unsigned int _size = 0;
};

class DATAIO_EXPORT ChunkStartHeader : public ChunkHeaderBase {
public:
    using ChunkHeaderBase::ChunkHeaderBase;
    ~ChunkStartHeader() override;

    static const char* const _headerStr;

protected:
    const char* _header() const override;
};

class DATAIO_EXPORT ChunkEndHeader : public ChunkHeaderBase {
public:
    using ChunkHeaderBase::ChunkHeaderBase;
    ~ChunkEndHeader() override;

    static const char* const _headerStr;

protected:
    const char* _header() const override;
};

}  // namespace mz
