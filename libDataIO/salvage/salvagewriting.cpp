#include <libDataIO/base/posixfile.h>
#include <libDataIO/container/chunkframing.h>
#include <libDataIO/container/failures.h>
#include <libDataIO/salvage/salvagelog.h>
#include <libDataIO/salvage/salvagewriting.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

namespace mz {

namespace {

void moveTo(FileWriter& writer, qint64 offset) {
    if (!writer.seek(offset)) failSeekBeforeWrite(salvageLogger, DATAIO_HERE);
}

class PayloadWriter {
public:
    PayloadWriter(unsigned int type, DamagedMovie& movie, FileWriter& writer)
        : _type(type), _movie(movie), _writer(writer) {}

    void operator()(const ChunkSpan& original) const { (*this)(_movie.payload(original)); }
    void operator()(const LeftEntries& left) const {
        (*this)(entriesAt(left.places, _movie.payload(left.list).constData(), left.list.size,
                          left.entrySize));
    }
    void operator()(const QByteArray& bytes) const {
        _writer.addChunk(_type, bytes.constData(), static_cast<size_t>(bytes.size()));
    }

private:
    unsigned int _type;
    DamagedMovie& _movie;
    FileWriter& _writer;
};

/// The bytes of a file from an offset on, to be put back should what is written over them fail; for
/// which nothing more is asked of the system than to write them.
class Overwritten {
public:
    Overwritten(const QString& fileName, qint64 offset, qint64 size)
        : _file(posix::open(fileName, O_RDWR)), _offset(offset) {
        if (_file.get() == -1) failSalvageRead(errno);
        const posix::ReadBytes read = posix::bytesAt(_file.get(), offset, size);
        if (read.error != 0) failSalvageRead(read.error);
        if (read.bytes.size() < size) failSalvageBusy(fileName);
        _bytes = read.bytes;
    }

    void putBack() const {
        posix::writeAllAt(_file.get(), _offset, _bytes.constData(),
                          static_cast<size_t>(_bytes.size()));
    }

private:
    posix::Descriptor _file;
    qint64 _offset;
    QByteArray _bytes;
};

}  // namespace

void cutAt(FileWriter& writer, qint64 offset) {
    moveTo(writer, offset);
    writer.truncate();
}

std::vector<UselessFrame> writeCopy(const SalvagePlan& plan, DamagedMovie& movie,
                                    FileWriter& writer) {
    std::vector<UselessFrame> unreadable;
    QByteArray payload;
    size_t number = 0;  // the frames come first
    for (const KeptChunk& chunk : plan.kept()) {
        const int error = movie.read(chunk.original, payload);
        if (error != 0 && number >= plan.frameCount()) failSalvageRead(error);
        if (error != 0) unreadable.push_back({number, whyUnreadable(error)});
        ++number;
        // With one frame less all others move: what is written is of no use any more.
        if (!unreadable.empty()) continue;
        writer.addChunk(chunk.original.type, payload.constData(), chunk.original.size);
    }
    if (unreadable.empty()) writeTail(plan, movie, writer);
    return unreadable;
}

void writeTail(const SalvagePlan& plan, DamagedMovie& movie, FileWriter& writer) {
    for (const PlannedChunk& chunk : plan.tail())
        std::visit(PayloadWriter(chunk.type, movie, writer), chunk.payload);
}

SalvagePlan withTailBehindItsPlace(const SalvagePlan& plan, const ChunkScan& scan) {
    return plan.withTailAt(
        std::max(scan.fileSize + chunkHeaderSize, scan.soundEnd() + plan.tailSize()));
}

void appendUnfinishedTail(const SalvagePlan& plan, DamagedMovie& movie, FileWriter& writer) {
    moveTo(writer, movie.remains().scan.fileSize);
    writer.markUnfinishedEnd();
    moveTo(writer, plan.tail().front().offset);
    writeTail(plan, movie, writer);
}

void moveTail(const SalvagePlan& plan, DamagedMovie& movie, FileWriter& writer,
              const QString& fileName) {
    const qint64 at = movie.remains().scan.soundEnd();
    const qint64 tornSize = movie.remains().scan.fileSize - at;
    const Overwritten torn(fileName, at, std::min(plan.tailSize(), tornSize));
    try {
        moveTo(writer, at);
        writeTail(plan.withTailAt(at), movie, writer);
        writer.truncate();
    } catch (...) {
        torn.putBack();
        throw;
    }
}

}  // namespace mz
