#include <libDataIO/byteorder.h>
#include <libDataIO/chunkframing.h>
#include <libDataIO/chunkinfo.h>
#include <libDataIO/chunkscan.h>
#include <libDataIO/dataiocommon.h>
#include <libDataIO/datatype.h>
#include <libDataIO/filereader.h>
#include <libDataIO/filewriter.h>
#include <libDataIO/framecodec.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/posixfile.h>
#include <libDataIO/salvage.h>
#include <libDataIO/samefile.h>
#include <libLog/failure.h>

#include <QFile>
#include <QFileInfo>

#include <fcntl.h>

#include <algorithm>
#include <limits>
#include <memory>

namespace mz {

namespace {

Logger* const logger = Logger::logger(QStringLiteral("dataio.imageutilities"));

constexpr qint64 maxFileSize = std::numeric_limits<quint32>::max();

QString tornChunk() {
    return QStringLiteral("torn chunk at the end of the file");
}
QString damagedBytes() {
    return QStringLiteral("damaged bytes, no whole chunk begins here");
}
QString unreadableFrame() {
    return QStringLiteral("whole chunk, but its frame cannot be decoded");
}
QString supersededInfo() {
    return QStringLiteral("info chunk that does not describe the file any more");
}
QString unaddressable() {
    return QStringLiteral("beyond what an index can address");
}

/// Whether the file is a finished movie. A failure of the system says nothing about that.
bool opens(QString const& fileName) {
    for (int tries = 0; tries < 2; ++tries) {
        try {
            const ImageReader reader(fileName, boost::shared_ptr<IReconstructionService>());
            return true;
        } catch (IOFileException const& failure) {
            if (failure.origin() == SOFTWARE) return false;
            // The same code for a header at which the file ends and one that the disk did not give,
            // which a second try may.
            if (failure.code() != QLatin1String("CHB_LDF_READ")) throw;
        }
    }
    return false;
}

[[noreturn]] void failRead() {
    DATAIO_FAIL(IOFileException, logger, SYSCALL, "IU_S_READ",
                withSystemError("Could not read file: "));
}

struct Descriptor {
    int fd;
    ~Descriptor() {
        if (fd != -1) posix::close(fd);
    }
};

/// The damaged file: its chunks, and their payloads one at a time.
class Damaged {
public:
    explicit Damaged(QString const& fileName) {
        _reader.openFile(fileName);
        const Descriptor source{posix::open(fileName, O_RDONLY)};
        const qint64 size = source.fd == -1 ? -1 : posix::fileSize(source.fd);
        // Not to be taken for an empty file, to which an info chunk could be added.
        if (size == -1) failRead();
        _scan = scanChunks(source.fd, size);
        if (_scan.chunks.empty() && !_scan.gaps.empty() && !_scan.gaps.front().beginsChunk) {
            DATAIO_FAIL(IOFileException, logger, SOFTWARE, "IU_S_FORMAT",
                        QStringLiteral("File %1: no chunk found, bad file format.").arg(fileName));
        }
    }

    ChunkScan const& scan() const { return _scan; }

    /// Valid until the next payload. @return null when the chunk cannot be read
    void const* payload(ChunkSpan const& chunk) {
        return _reader.seek(chunk.offset) && _reader.nextChunk(chunk.type) ? _reader.data()
                                                                           : nullptr;
    }

private:
    FileReader _reader;
    ChunkScan _scan;
};

/// What the salvaged file is going to say of itself.
struct Header {
    AttributeChunk attributes;
    bool endsWithInfo = false;  ///< the last whole chunk of the damaged file is an info chunk
};

/// The attributes of an info chunk; empty when it cannot be loaded.
boost::optional<AttributeChunk> loadedAttributes(Damaged& file, ChunkSpan const& chunk) {
    const void* payload = file.payload(chunk);
    ChunkInfo info;
    try {
        if (payload == nullptr) return boost::none;
        info.load(payload, chunk.size);
    } catch (IOFileException const&) {
        return boost::none;
    }
    return AttributeChunk(info);
}

/// Uncompressed bytes of the last frame, 0 when there is none.
unsigned int lastFrameSize(Damaged& file, AttributeChunk const& attributes) {
    auto const& chunks = file.scan().chunks;
    const auto last = std::find_if(chunks.rbegin(), chunks.rend(), [](ChunkSpan const& chunk) {
        return chunk.type == MZ_CT_FRAME;
    });
    if (last == chunks.rend()) return 0;
    QString name;
    attributes.get(QStringLiteral("compression_type"), name);
    const CompressionType::e compression = compressionOfName(name);
    if (compression == CompressionType::None) return last->size;
    const void* payload = file.payload(*last);
    if (payload == nullptr) return 0;
    return static_cast<unsigned int>(
        decodedSize(compression, payload, last->size, std::numeric_limits<int>::max()).value_or(0));
}

Header headerFor(Damaged& file, AttributeChunk const& given) {
    Header header;
    auto const& chunks = file.scan().chunks;
    if (!chunks.empty() && chunks.back().type == MZ_CT_INFO) {
        header.endsWithInfo = true;
        header.attributes = loadedAttributes(file, chunks.back()).value_or(AttributeChunk());
    }
    for (auto const& [key, value] : given.attributes())
        header.attributes.attributes().emplace(key, value);
    header.attributes.attributes().emplace(QStringLiteral("endian"),
                                           Attribute{QString::number(nativeEndian)});
    reconcileDataType(header.attributes, lastFrameSize(file, header.attributes));
    return header;
}

/// A chunk that goes into the index, where it stood and where it stands now.
struct KeptChunk {
    ChunkSpan original;
    qint64 offset;
};

ChunkInfo infoFor(std::vector<KeptChunk> const& chunks, AttributeChunk const& attributes) {
    ChunkInfo info;
    info.merge(attributes);
    for (KeptChunk const& chunk : chunks) {
        info[static_cast<int>(chunk.original.type)].push_back(
            {static_cast<unsigned int>(chunk.offset), chunk.original.size});
    }
    return info;
}

/// Never to be ignored: a chunk written at the wrong place destroys what stands there.
void moveTo(FileWriter& writer, qint64 offset) {
    if (writer.seek(offset)) return;
    DATAIO_FAIL(IOFileException, logger, SYSCALL, "FDCW_AC_SEEK",
                QStringLiteral("Cannot seek in file before writing data."));
}

void appendInfo(FileWriter& writer, ChunkInfo& info) {
    int size = 0;
    const std::unique_ptr<char[]> payload(info.save(size));
    writer.addChunk(MZ_CT_INFO, payload.get(), static_cast<size_t>(size));
}

/// Reads every frame of a file that opens. @return the numbers of those that cannot be read
std::vector<unsigned int> unreadableFrames(QString const& fileName) {
    std::vector<unsigned int> unreadable;
    ImageReader reader(fileName, boost::shared_ptr<IReconstructionService>());
    for (unsigned int i = 0; i < reader.nbFrames(); ++i) {
        void const* data = nullptr;
        bool isReadable = false;
        try {
            isReadable = reader.getRawFrame(data, i).has_value();
        } catch (IOFileException const& failure) {
            if (failure.origin() != SOFTWARE) throw;  // the fault is not the frame's
        } catch (std::exception const&) {
            // A damaged stream.
        }
        if (!isReadable) unreadable.push_back(i);
    }
    return unreadable;
}

/// Takes frames, by their numbers in ascending order, out of the kept chunks.
void dropFrames(std::vector<KeptChunk>& chunks, std::vector<unsigned int> const& numbers,
                SalvageReport& report) {
    unsigned int number = 0;
    const auto isDropped = [&](KeptChunk const& chunk) {
        if (chunk.original.type != MZ_CT_FRAME ||
            !std::binary_search(numbers.begin(), numbers.end(), number++)) {
            return false;
        }
        report.gaps.push_back({chunk.original.offset, chunk.original.end() - chunk.original.offset,
                               unreadableFrame()});
        return true;
    };
    std::vector<KeptChunk> kept;
    for (KeptChunk const& chunk : chunks) {
        if (!isDropped(chunk)) kept.push_back(chunk);
    }
    chunks.swap(kept);
}

void fillIn(SalvageReport& report, std::vector<KeptChunk> const& chunks) {
    for (KeptChunk const& chunk : chunks) {
        report.bytesKept += chunk.original.end() - chunk.original.offset;
        if (chunk.original.type == MZ_CT_FRAME) ++report.framesKept;
    }
    std::sort(report.gaps.begin(), report.gaps.end(),
              [](SalvageGap const& a, SalvageGap const& b) { return a.offset < b.offset; });
}

/// The chunks that the index of the salvaged file lists; the others become gaps of the report.
std::vector<ChunkSpan> listedChunks(ChunkScan const& scan, SalvageReport& report) {
    std::vector<ChunkSpan> listed;
    for (ChunkSpan const& chunk : scan.chunks) {
        if (chunk.type == MZ_CT_INFO) {
            report.gaps.push_back({chunk.offset, chunk.end() - chunk.offset, supersededInfo()});
        } else if (chunk.end() > maxFileSize) {
            report.gaps.push_back({chunk.offset, chunk.end() - chunk.offset, unaddressable()});
        } else {
            listed.push_back(chunk);
        }
    }
    return listed;
}

void reportGaps(ChunkScan const& scan, SalvageReport& report) {
    const boost::optional<ChunkGap> tornEnd = scan.tornEnd();
    for (ChunkGap const& gap : scan.gaps) {
        const bool isTorn = tornEnd && gap.offset == tornEnd->offset && gap.beginsChunk;
        report.gaps.push_back({gap.offset, gap.length, isTorn ? tornChunk() : damagedBytes()});
    }
}

SalvageReport soundReport(QString const& fileName) {
    SalvageReport report;
    report.wasSound = true;
    const ImageReader reader(fileName, boost::shared_ptr<IReconstructionService>());
    report.framesKept = reader.nbFrames();
    report.bytesKept = QFileInfo(fileName).size();
    return report;
}

void copyBytes(QString const& from, QString const& to) {
    QFile source(from);
    QFile::remove(to);
    if (!source.copy(to)) {
        DATAIO_FAIL(IOFileException, logger, FILESYSTEM, "IU_S_COPY",
                    QStringLiteral("Could not copy file: ") + source.errorString());
    }
}

[[noreturn]] void failWithoutFrames() {
    DATAIO_FAIL(IOFileException, logger, SOFTWARE, "IU_S_FRAMES",
                QStringLiteral("No frame can be read with the given attributes."));
}

bool isFrame(KeptChunk const& chunk) {
    return chunk.original.type == MZ_CT_FRAME;
}

/// Writes the info chunk at the cursor and proves it by reading all frames. Frames that cannot be
/// read are taken out again.
void finish(FileWriter& writer, QString const& fileName, std::vector<KeptChunk>& chunks,
            AttributeChunk const& attributes, SalvageReport& report) {
    const qint64 end = writer.tell();
    for (;;) {
        ChunkInfo info = infoFor(chunks, attributes);
        appendInfo(writer, info);
        const std::vector<unsigned int> unreadable = unreadableFrames(fileName);
        if (unreadable.empty()) return;
        dropFrames(chunks, unreadable, report);
        if (std::none_of(chunks.begin(), chunks.end(), isFrame)) failWithoutFrames();
        moveTo(writer, end);
        writer.truncate();
    }
}

}  // namespace

SalvageReport salvageInPlace(QString const& fileName, AttributeChunk const& attributes) {
    if (opens(fileName)) return soundReport(fileName);

    Damaged file(fileName);
    ChunkScan const& scan = file.scan();
    if (scan.readError != 0) {
        // What the disk does not give looks torn, and might be cut.
        errno = scan.readError;
        failRead();
    }
    const Header header = headerFor(file, attributes);
    SalvageReport report;

    reportGaps(scan, report);
    const boost::optional<ChunkGap> tornEnd = scan.tornEnd();
    const bool isTorn = tornEnd && tornEnd->beginsChunk;
    const qint64 end = isTorn ? tornEnd->offset : scan.fileSize;
    report.bytesCut = scan.fileSize - end;

    FileWriter writer;
    writer.openFile(fileName, FW_APPEND);
    moveTo(writer, end);
    if (isTorn) writer.truncate();
    if (isTorn && header.endsWithInfo && opens(fileName)) {
        // All that was wrong is cut; what the recorder wrote itself is better than anything made
        // here.
        writer.closeFile();
        const SalvageReport sound = soundReport(fileName);
        report.framesKept = sound.framesKept;
        report.bytesKept = sound.bytesKept;
        return report;
    }

    std::vector<KeptChunk> chunks;
    for (ChunkSpan const& chunk : listedChunks(scan, report))
        chunks.push_back({chunk, chunk.offset});
    try {
        finish(writer, fileName, chunks, header.attributes, report);
        writer.closeFile();
    } catch (...) {
        try {
            if (writer.seek(end)) writer.truncate();
        } catch (IOFileException const&) {
            // Logged; the failure that led here is the one to report.
        }
        throw;
    }
    fillIn(report, chunks);
    return report;
}

SalvageReport salvageIntoCopy(QString const& damaged, QString const& output,
                              AttributeChunk const& attributes) {
    if (isSameFile(damaged, output)) {
        DATAIO_FAIL(IOFileException, logger, SOFTWARE, "IU_S_SAME",
                    QStringLiteral("Damaged and salvaged file are the same."));
    }
    if (opens(damaged)) {
        copyBytes(damaged, output);
        return soundReport(damaged);
    }

    Damaged file(damaged);
    ChunkScan const& scan = file.scan();
    const Header header = headerFor(file, attributes);
    SalvageReport report;
    FileWriter writer;
    writer.openFile(output, FW_CREATE);
    try {
        reportGaps(scan, report);
        std::vector<KeptChunk> chunks;
        for (ChunkSpan const& chunk : listedChunks(scan, report)) {
            const void* payload = file.payload(chunk);
            const int offset = writer.addChunk(chunk.type, payload, chunk.size);
            chunks.push_back({chunk, static_cast<unsigned int>(offset)});
        }
        finish(writer, output, chunks, header.attributes, report);
        writer.closeFile();
        fillIn(report, chunks);
        report.bytesCut = scan.fileSize - report.bytesKept;
    } catch (...) {
        QFile::remove(output);
        throw;
    }
    return report;
}

}  // namespace mz
