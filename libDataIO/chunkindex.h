#pragma once

// Where the chunks of a file are: for each type of chunk the list of its chunks, in the order in
// which they were recorded. It is stored at the start of the info chunk, in the byte order of the
// machine that wrote it:
//
//   byte 0          N, the number of records, signed 32-bit
//   byte 4 + 12 i   record i: chunk type, offset, length, unsigned 32-bit each
//
// Records are stored in ascending type and, within a type, in list order, so that the position of
// a frame's record among the frames is the frame's number.

#include <libCommon/export.h>

#include <QtGlobal>

#include <map>
#include <vector>

namespace mz {

struct ChunkRecord {
    unsigned int offset;  ///< of the start header in the file, in bytes
    unsigned int length;  ///< of the payload as written, in bytes
};

class DATAIO_EXPORT ChunkIndex {
public:
    ChunkIndex() = default;
    ChunkIndex(const ChunkIndex&) = default;
    ChunkIndex(ChunkIndex&&) = default;
    ChunkIndex& operator=(const ChunkIndex&) = default;
    ChunkIndex& operator=(ChunkIndex&&) = default;
    virtual ~ChunkIndex();

    /// Whether there is a list for the type. An empty list counts.
    bool has(int type) const;
    /// The list of the type; an absent one is made, empty. The reference is valid as long as the
    /// list is in the index.
    std::vector<ChunkRecord>& operator[](int type);

    /// The list of the type, null when there is none. Valid like the reference above.
    const std::vector<ChunkRecord>* find(int type) const;
    /// Takes the list of the type out of the index.
    void removeAll(int type);

    /// Bytes of the stored form of an index with that many records: a count, and 12 bytes each.
    static constexpr qint64 storedSize(qint64 records) { return 4 + 12 * records; }

    /// The stored form, `len` bytes. The caller owns the array and frees it with delete[].
    virtual char* save(int& len);

    /// Appends the records of a stored form to the lists; nothing is cleared first.
    /// @param buf `len` bytes, of any alignment; more may follow the index
    /// @return the number of bytes that the index takes, 4 + 12 N; beyond 2 GiB its 32 bits are
    ///         those of an unsigned number
    /// @throws IOFileException "CI_L_CHUNK" when the buffer is too small for N or for N records, or
    ///         N is negative; the index is unchanged
    virtual int load(const void* buf, unsigned int len);

    /// Prints the index to standard output.
    virtual void debugDump() const;

protected:
    std::map<unsigned int, std::vector<ChunkRecord>> _recordMap;
};

}  // namespace mz
