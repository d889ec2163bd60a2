#include <libCommon/exceptions.h>
#include <libDataIO/base/posixfile.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/movies/frameloader.h>
#include <libDataIO/salvage/salvagelog.h>
#include <libDataIO/salvage/salvageproof.h>

#include <new>

namespace mz {

namespace {

QString undecodable() {
    return QStringLiteral("whole chunk, but its frame cannot be decoded");
}

/// Whether a failure speaks of the file's content and not of the system, which may succeed the next
/// time. A header that the file's end cuts short is reported as a failed read as well. Should it
/// have been one indeed, a sound movie is salvaged, which loses nothing.
bool isDamage(const IOFileException& failure) {
    return failure.origin() == SOFTWARE || failure.code() == QLatin1String("CHB_LDF_READ");
}

/// Whether a reader that says "frame size is invalid" had no memory for a size that may well be.
bool ranOutOfMemory(const ImageReader& reader, unsigned int number, const BaseException& failure) {
    if (failure.code() != QLatin1String("IR_GRF_SIZE")) return false;
    const AttributeChunk& header = reader.attributeChunk();
    QString compression;
    header.get(keys::compression, compression);
    const auto fibers = static_cast<unsigned int>(
        isVectorized(header) ? reader.nbFibers(ImageReader::NoFiberFiltering) : 0);
    const auto record = reader.frameRecord(number);
    return record && decodedSamples(header, fibers, compressionOfName(compression), record->length);
}

bool isReadable(ImageReader& reader, unsigned int number) {
    const void* data = nullptr;
    try {
        return reader.getRawFrame(data, number).has_value();
    } catch (const BaseException& failure) {
        if (failure.origin() != SOFTWARE) throw;  // may be read the next time
        if (ranOutOfMemory(reader, number, failure)) throw std::bad_alloc();
        return false;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        return false;  // from the compression library: the stream is damaged
    }
}

}  // namespace

std::optional<SalvageReport> soundReport(const QString& fileName) {
    SalvageReport report;
    try {
        const ImageReader reader = ImageReader::withoutService(fileName);
        report.framesKept = reader.nbFrames();
    } catch (const IOFileException& failure) {
        if (!isDamage(failure)) throw;
        return std::nullopt;
    }
    report.wasSound = true;
    struct stat status {};
    if (posix::status(fileName, status) == -1) failSalvageRead(errno);
    report.bytesKept = status.st_size;
    return report;
}

std::vector<UselessFrame> unreadableFrames(const QString& fileName) {
    std::vector<UselessFrame> unreadable;
    ImageReader reader = ImageReader::withoutService(fileName);
    for (unsigned int i = 0; i < reader.nbFrames(); ++i) {
        if (!isReadable(reader, i)) unreadable.push_back({i, undecodable()});
    }
    return unreadable;
}

}  // namespace mz
