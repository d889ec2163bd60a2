#include <libDataIO/base/posixfile.h>
#include <libDataIO/base/samefile.h>
#include <libDataIO/container/failures.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/salvage/salvage.h>
#include <libDataIO/salvage/salvagelog.h>
#include <libDataIO/salvage/salvageplan.h>

#include <QFile>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <new>

namespace mz {

namespace {

QString unreadableFrame() {
    return QStringLiteral("whole chunk, but its frame cannot be decoded");
}

/// Whether a failure speaks of the file's content and not of the system, which may succeed the next
/// time. A header that the file's end cuts short counts as a failed read; should it have been one,
/// nothing worse comes of it than a proof that the movie is sound.
bool isDamage(IOFileException const& failure) {
    return failure.origin() == SOFTWARE || failure.code() == QLatin1String("CHB_LDF_READ");
}

/// The report on a file that opens, empty for one that does not.
boost::optional<SalvageReport> soundReport(QString const& fileName) {
    SalvageReport report;
    try {
        const ImageReader reader = ImageReader::withoutService(fileName);
        report.framesKept = reader.nbFrames();
    } catch (IOFileException const& failure) {
        if (!isDamage(failure)) throw;
        return boost::none;
    }
    report.wasSound = true;
    report.bytesKept = QFile(fileName).size();
    return report;
}

void moveTo(FileWriter& writer, qint64 offset) {
    if (!writer.seek(offset)) failSeekBeforeWrite(salvageLogger, DATAIO_HERE);
}

void cutAt(FileWriter& writer, qint64 offset) {
    moveTo(writer, offset);
    writer.truncate();
}

/// Whether a frame of a file that opens can be read.
bool isReadable(ImageReader& reader, unsigned int number) {
    const void* data = nullptr;
    try {
        return reader.getRawFrame(data, number).has_value();
    } catch (BaseException const& failure) {
        if (failure.origin() != SOFTWARE) throw;  // may be read the next time
        return false;
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const&) {
        return false;  // from the compression library: the stream is damaged
    }
}

/// @return the numbers of the frames that cannot be read
std::vector<size_t> unreadableFrames(QString const& fileName) {
    std::vector<size_t> unreadable;
    ImageReader reader = ImageReader::withoutService(fileName);
    for (unsigned int i = 0; i < reader.nbFrames(); ++i) {
        if (!isReadable(reader, i)) unreadable.push_back(i);
    }
    return unreadable;
}

/// Writes what the plan says and reads it back, without the frames that cannot be read, until all
/// can.
template <class Write>
void writeAndProve(SalvagePlan& plan, QString const& fileName, Write write) {
    for (;;) {
        write();
        const std::vector<size_t> unreadable = unreadableFrames(fileName);
        if (unreadable.empty()) return;
        plan.dropFrames(unreadable, unreadableFrame());
        if (plan.frameCount() == 0) {
            DATAIO_FAIL(IOFileException, salvageLogger, SOFTWARE, "IU_S_FRAMES",
                        QStringLiteral("No frame can be read with the given attributes."));
        }
    }
}

[[noreturn]] void failRead() {
    DATAIO_FAIL(IOFileException, salvageLogger, SYSCALL, "IU_S_READ",
                withSystemError("Could not read file: "));
}

/// A disk that fails shows whole chunks as torn ones; a recorder that goes on makes whole ones of
/// them.
void checkSteady(DamagedMovie const& movie, FileWriter const& writer, QString const& fileName) {
    if (movie.scan().readError != 0) {
        errno = movie.scan().readError;
        failRead();
    }
    const qint64 size = writer.fileSize();
    if (size == -1) failRead();
    if (size != movie.scan().fileSize) {
        DATAIO_FAIL(IOFileException, salvageLogger, SOFTWARE, "IU_S_BUSY",
                    QStringLiteral("File %1 changes while it is salvaged.").arg(fileName));
    }
}

/// The bytes of a file from an offset on, to be put back should what is written over them fail.
class Overwritten {
public:
    Overwritten(QString const& fileName, qint64 offset, qint64 size)
        : _fileName(fileName), _offset(offset) {
        const posix::Descriptor file(posix::open(fileName, O_RDONLY));
        const posix::ReadBytes read = posix::bytesAt(file.get(), offset, size);
        _bytes = read.bytes;
        if (_bytes.size() == size) return;
        errno = read.error;
        failRead();
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

/// Moves the tail, which has been proven behind the torn chunk, into that one's place.
void replaceTornChunk(SalvagePlan& plan, FileWriter& writer, QString const& fileName, qint64 at,
                      qint64 end) {
    const qint64 tailSize = writer.tell() - end;
    const Overwritten torn(fileName, at, std::min(tailSize, end - at));
    try {
        moveTo(writer, at);
        plan.writeTail(writer);
        writer.truncate();
    } catch (...) {
        torn.putBack();
        throw;
    }
}

/// Emptying anything else than a file, or removing it after a failure, would do harm.
void checkOutput(QString const& damaged, QString const& output) {
    if (isSameFile(damaged, output)) {
        DATAIO_FAIL(IOFileException, salvageLogger, SOFTWARE, "IU_S_SAME",
                    QStringLiteral("Damaged and salvaged file are the same."));
    }
    struct stat status {};
    if (posix::status(output, status) == 0 && !S_ISREG(status.st_mode)) {
        DATAIO_FAIL(IOFileException, salvageLogger, FILESYSTEM, "IU_S_OUTPUT",
                    QStringLiteral("File %1 is not a regular file.").arg(output));
    }
}

void copyFile(QString const& from, QString const& to) {
    QFile source(from);
    QFile::remove(to);
    if (!source.copy(to)) {
        DATAIO_FAIL(IOFileException, salvageLogger, FILESYSTEM, "IU_S_COPY",
                    QStringLiteral("Could not copy file: ") + source.errorString());
    }
}

}  // namespace

SalvageReport salvageInPlace(QString const& fileName, AttributeChunk const& attributes,
                             std::vector<float> const& fibers) {
    if (const auto sound = soundReport(fileName)) return *sound;

    DamagedMovie movie(fileName);
    SalvagePlan plan(movie, SalvageMode::InPlace, attributes, fibers);
    FileWriter writer;
    writer.openFile(fileName, FW_APPEND);
    checkSteady(movie, writer, fileName);

    const qint64 end = movie.scan().fileSize;
    const qint64 soundEnd = movie.scan().soundEnd();
    bool keepsOwnInfo = false;
    try {
        // Behind the torn chunk at first: should the proof fail, the file is as it was.
        writeAndProve(plan, fileName, [&] {
            cutAt(writer, end);
            plan.writeTail(writer);
        });
        keepsOwnInfo = plan.ownInfoStands();
        if (keepsOwnInfo) {
            cutAt(writer, soundEnd);
        } else if (soundEnd < end) {
            replaceTornChunk(plan, writer, fileName, soundEnd, end);
        }
    } catch (...) {
        try {
            cutAt(writer, end);
        } catch (IOFileException const&) {
            // Logged; the failure that led here is the one to report.
        }
        throw;
    }
    writer.closeFile();
    return plan.report(keepsOwnInfo);
}

SalvageReport salvageIntoCopy(QString const& damaged, QString const& output,
                              AttributeChunk const& attributes, std::vector<float> const& fibers) {
    checkOutput(damaged, output);
    if (const auto sound = soundReport(damaged)) {
        copyFile(damaged, output);
        return *sound;
    }

    DamagedMovie movie(damaged);
    SalvagePlan plan(movie, SalvageMode::Copy, attributes, fibers);
    FileWriter writer;
    writer.openFile(output, FW_CREATE);
    try {
        writeAndProve(plan, output, [&] {
            cutAt(writer, 0);
            plan.writeChunks(writer);
            plan.writeTail(writer);
        });
        writer.closeFile();
    } catch (...) {
        QFile::remove(output);
        throw;
    }
    return plan.report(false);
}

}  // namespace mz
