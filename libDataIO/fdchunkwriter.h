#pragma once

// Writes chunks through a read-write descriptor. A chunk is written whole or not at all as far as
// the system lets it: what a failed write left behind the end of the file is cut off again, since
// a recording must stay a gap-free sequence of chunks when a disk is full.

#include <libDataIO/chunkwriter.h>

#include <memory>
#include <vector>

namespace mz {

/// The cursor is an offset in bytes, 0 at first. Steps over existing chunks copy their payload into
/// a buffer of the writer.
class DATAIO_EXPORT FDChunkWriter : public ChunkWriter {
public:
    FDChunkWriter();
    /// Closes the descriptor; failures are silent. The torn chunk of an earlier failure is cut off
    /// first, but not in a process that has inherited the writer.
    ~FDChunkWriter() override;

    /// Adopts a descriptor, which closeFile() or the destructor closes. The cursor stays as it is;
    /// a descriptor adopted before is not closed.
    void fileDes(int fd) override;

    /// Writes a chunk at the cursor and moves the cursor behind it. At the end of the file it is
    /// appended; elsewhere it overwrites what is there, and the caller sees to it that a chunk
    /// takes the place of one of the same size.
    /// @param data `size` bytes, only read during the call
    /// @param size at most what lets the chunk, with its 32 bytes of headers, end within the
    ///        4,294,967,295 bytes that the format can address: 4,294,967,263 at the start of a file
    /// @return the offset of its start header, as the index stores it. The int carries the 32 bits
    ///         of an unsigned offset and is negative from 2 GiB on: convert it to unsigned int
    /// @throws IOFileException "FDCW_AC_BADFD" without a descriptor; "FDCW_AC_SEEK" when the cursor
    ///         cannot be reached, nothing written; "CHB_WFD_WRITE" (a header) or "FDCW_AC_WRITE"
    ///         (the payload) when not all bytes could be written, with the reason that the system
    ///         gave; the latter also, before a byte is written, for a chunk that is too large, and
    ///         while the torn chunk of an earlier failure cannot be cut off. The cursor stays,
    ///         bytes beyond the file's length before the call are cut off, bytes overwritten are
    ///         lost; the call may be tried again
    int addChunk(unsigned int type, const void* data, size_t size) override;

    /// The same for a chunk that no index lists, so that it may lie beyond what one can address.
    void addUnlistedChunk(unsigned int type, const void* data, size_t size);

    /// Writes at the cursor, which is to be at the end of the file, a mark that what is written
    /// behind it does not count unless it is complete, and moves the cursor behind the mark: the
    /// salvage of a damaged file takes no notice of an end that is marked, and cuts it.
    /// @throws IOFileException "FDCW_AC_BADFD", "FDCW_AC_SEEK", "CHB_WFD_WRITE" as addChunk()
    void markUnfinishedEnd();

    /// Writes over a chunk with one of the same type and size, and moves the cursor behind it. Its
    /// end header is unrecognisable while the payload is written: should the process be killed, or
    /// the disk fail, there is a damaged place and never a whole chunk made of two. After a failure
    /// amid the payload its start header is unrecognisable as well, for those whom an index leads.
    /// @param data `size` bytes, only read during the call
    /// @return false, nothing changed, when no such chunk stands at `offset`
    /// @throws IOFileException "FDCW_AC_BADFD" without a descriptor; "FDCW_HC_READ" when the system
    ///         does not show the chunk; "FDCW_AC_SEEK", "CHB_WFD_WRITE", "FDCW_AC_WRITE" as
    ///         addChunk(). As long as nothing of the payload was written, the old chunk stays as it
    ///         was; else the place is damaged, and the call may be tried again
    bool replaceChunk(qint64 offset, unsigned int type, const void* data, unsigned int size);

    /// Closes the descriptor, if any; it is given up also when closing fails. The file's lock ends,
    /// if it has one.
    /// @throws IOFileException "FDCW_CF_CLOSE" when the system reports a failure: data written
    ///         before may be lost. Not in a process that has inherited the writer
    void closeFile() override;

    /// Whether the descriptor was adopted by another process, of which this one was forked off. The
    /// file is that one's: here closeFile() and the destructor give the descriptor up and do
    /// nothing else.
    bool inherited() const;

    /// Steps over the chunk behind the cursor if it is of the given type, and reads its payload.
    /// The cursor is then in front of that chunk's end header, 16 bytes before the next chunk (the
    /// mapped reader stops behind it): seek() before the next step.
    /// @return true, or false, nothing changed, at the end of the file and for another type
    /// @throws IOFileException "FDCW_NC_BOUND" when the chunk leaves the file; "FDCW_NC_SEEK" when
    ///         the descriptor cannot be moved; "FDCW_NC_READ" when the file's length or the payload
    ///         cannot be read; and those of ChunkHeaderBase::loadFD. std::bad_alloc when there is
    ///         no memory for the payload. The cursor stays, and so do the payload of the step
    ///         before and its size, but for a payload that cannot be read: chunkSize() is then that
    ///         of the chunk which failed, and zeros stand for what is missing
    bool nextChunk(unsigned int type) override;

    /// Steps back over the chunk in front of the cursor if it is of the given type, and reads its
    /// payload. The cursor is then in front of that chunk's start header.
    /// @return true, or false, nothing changed, at the start of the file and for another type
    /// @throws IOFileException "FDCW_PC_BOUND" when the chunk begins before the file;
    ///         "FDCW_PC_SEEK1", "FDCW_PC_SEEK2" when the descriptor cannot be moved, "FDCW_PC_READ"
    ///         when the payload cannot be read; and else as nextChunk()
    bool prevChunk(unsigned int type) override;

    bool openned() const override { return _fd != -1; }

    /// The cursor to an offset in bytes. @return false, cursor unchanged, when the system refuses
    bool seek(qint64 offset) override;
    /// The cursor to the end of the file. @return false, cursor unchanged, when the system refuses
    /// or the torn chunk of an earlier failure cannot be cut off
    bool seekEnd() override;

    /// The cursor to the start of the chunk in front of it, of whatever type; no payload is read.
    /// @return true, or false, cursor unchanged, at the start of the file and when that chunk is
    ///         the first of the file: stepping back onto it is refused on purpose
    /// @throws IOFileException "FDCW_PC_BOUND" when the chunk begins before the file, and those of
    ///         ChunkHeaderBase::loadFD
    bool seekPrev() override;

    /// The 32 low bits of the cursor.
    unsigned int tell() override { return static_cast<unsigned int>(_offset); }
    qint64 cursor() const { return _offset; }

    /// The payload of the last chunk stepped over, chunkSize() bytes; null before the first. It
    /// belongs to the writer and is valid until the next nextChunk() or prevChunk() or the
    /// destructor. It is a copy, which bytes that the file lost meanwhile fill with zeros.
    const void* data() const override { return _data.get(); }
    unsigned int chunkSize() const override { return _size; }

    /// Prints the state to standard output, without a newline at its end.
    void dumpDebug() const override;

    /// Cuts the file at the cursor, which stays.
    /// @throws IOFileException "FDCW_TRUNC" when the system refuses, the file is only read for
    ///         instance, or the torn chunk of an earlier failure cannot be cut off
    void truncateFile();

private:
    /// A chunk that is none any more since replacing it failed.
    struct HalfReplaced {
        qint64 offset;
        unsigned int type;
        unsigned int size;
    };

    void _checkOpen() const;
    bool _removeTornChunk();
    void _endWriting();
    qint64 _reachCursor();
    void _writeChunk(unsigned int type, const void* data, size_t size, qint64 lengthBefore);
    int _readPayload(unsigned int size);

    int _fd = -1;
    int _process = 0;  ///< the one that adopted the descriptor
    std::unique_ptr<char[]> _data;
    unsigned int _capacity = 0;
    unsigned int _size = 0;
    qint64 _offset = 0;
    qint64 _soundLength = -1;  ///< where a torn chunk must still be cut off, -1 when there is none
    std::vector<HalfReplaced> _halfReplaced;
};

}  // namespace mz
