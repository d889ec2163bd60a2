#include <libDataIO/base/posixfile.h>
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

void copyChunk(const ChunkSpan& chunk, DamagedMovie& movie, FileWriter& writer) {
    writer.addChunk(chunk.type, movie.payload(chunk), chunk.size);
}

class PayloadWriter {
public:
    PayloadWriter(unsigned int type, DamagedMovie& movie, FileWriter& writer)
        : _type(type), _movie(movie), _writer(writer) {}

    void operator()(const ChunkSpan& original) const { copyChunk(original, _movie, _writer); }
    void operator()(const LeftEntries& left) const {
        (*this)(entriesAt(left.places, _movie.payload(left.list), left.list.size, left.entrySize));
    }
    void operator()(const QByteArray& bytes) const {
        _writer.addChunk(_type, bytes.constData(), static_cast<size_t>(bytes.size()));
    }

private:
    unsigned int _type;
    DamagedMovie& _movie;
    FileWriter& _writer;
};

/// The bytes of a file from an offset on, to be put back should what is written over them fail.
class Overwritten {
public:
    Overwritten(const QString& fileName, qint64 offset, qint64 size)
        : _fileName(fileName), _offset(offset) {
        const posix::Descriptor file(posix::open(fileName, O_RDONLY));
        if (file.get() == -1) failSalvageRead(errno);
        const posix::ReadBytes read = posix::bytesAt(file.get(), offset, size);
        if (read.error != 0) failSalvageRead(read.error);
        if (read.bytes.size() < size) failSalvageBusy(fileName);
        _bytes = read.bytes;
    }

    void putBack() const {
        const posix::Descriptor file(posix::open(_fileName, O_WRONLY));
        if (posix::seek(file.get(), _offset, SEEK_SET) == -1) return;
        posix::writeAll(file.get(), _bytes.constData(), static_cast<size_t>(_bytes.size()));
    }

private:
    QString _fileName;
    qint64 _offset;
    QByteArray _bytes;
};

}  // namespace

void cutAt(FileWriter& writer, qint64 offset) {
    moveTo(writer, offset);
    writer.truncate();
}

void writeCopy(const SalvagePlan& plan, DamagedMovie& movie, FileWriter& writer) {
    for (const KeptChunk& chunk : plan.kept())
        copyChunk(chunk.original, movie, writer);
    writeTail(plan, movie, writer);
}

void writeTail(const SalvagePlan& plan, DamagedMovie& movie, FileWriter& writer) {
    for (const PlannedChunk& chunk : plan.tail())
        std::visit(PayloadWriter(chunk.type, movie, writer), chunk.payload);
}

void replaceTornChunk(const SalvagePlan& plan, DamagedMovie& movie, FileWriter& writer,
                      const QString& fileName) {
    const qint64 at = plan.tail().front().offset;
    const qint64 tornSize = movie.remains().scan.fileSize - at;
    const Overwritten torn(fileName, at, std::min(plan.tailSize(), tornSize));
    try {
        moveTo(writer, at);
        writeTail(plan, movie, writer);
        writer.truncate();
    } catch (...) {
        torn.putBack();
        throw;
    }
}

}  // namespace mz
