#include <libCommon/exceptions.h>
#include <libDataIO/base/posixfile.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/movies/frameloader.h>
#include <libDataIO/movies/framereading.h>
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

/// Whether "frame size is invalid" is said of a size that may well be, for want of memory.
bool ranOutOfMemory(const AttributeChunk& header, unsigned int fibers, size_t payloadSize,
                    const BaseException& failure) {
    if (failure.code() != QLatin1String("IR_GRF_SIZE")) return false;
    QString compression;
    header.get(keys::compression, compression);
    return decodedSamples(header, fibers, compressionOfName(compression), payloadSize).has_value();
}

/// @param read reads a frame, or says that there is none
/// @param ranOut whether a failure to do so was one of memory
template <class Read, class RanOut>
bool isReadable(Read read, RanOut ranOut) {
    try {
        return read();
    } catch (const BaseException& failure) {
        if (failure.origin() != SOFTWARE) throw;  // may be read the next time
        if (ranOut(failure)) throw std::bad_alloc();
        return false;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        return false;  // from the compression library: the stream is damaged
    }
}

/// Reads the frames of a damaged movie as its reader will when it is salvaged.
class FrameProof {
public:
    FrameProof(const SalvagePlan& plan, DamagedMovie& movie)
        : _attributes(plan.attributes()),
          _isVectorized(isVectorized(_attributes)),
          _fiberCount(_isVectorized ? plan.fiberCount() : 0),
          _movie(movie) {
        QString compression;
        _attributes.get(keys::compression, compression);
        _compression = compressionOfName(compression);
        _begin();
    }

    /// Empty for a frame that can be read.
    QString whyUseless(const ChunkSpan& frame) {
        const bool isStoredAsItIs = _compression == CompressionType::None;
        const int error = isStoredAsItIs ? _movie.readThrough(frame) : _movie.read(frame, _payload);
        if (error != 0) return whyUnreadable(error);
        if (isStoredAsItIs || _isDecodable()) return {};
        return undecodable();
    }

private:
    void _begin() { _loader.begin(_compression, _isVectorized, _fiberCount); }

    bool _isDecodable() {
        const FrameView payload{_payload.constData(), static_cast<size_t>(_payload.size())};
        const auto decode = [&] {
            _loader.stored(_attributes, payload);
            return true;
        };
        const bool isDecodable = isReadable(decode, [&](const BaseException& failure) {
            return ranOutOfMemory(_attributes, _fiberCount, payload.size, failure);
        });
        // The first frame of a movie decides on the buffer of all, and a useless one is none.
        if (!isDecodable && !_hasDecoded) {
            _loader.forget();
            _begin();
        }
        _hasDecoded = _hasDecoded || isDecodable;
        return isDecodable;
    }

    const AttributeChunk& _attributes;
    bool _isVectorized;
    unsigned int _fiberCount;
    DamagedMovie& _movie;
    CompressionType::e _compression = CompressionType::None;
    FrameLoader _loader;
    QByteArray _payload;
    bool _hasDecoded = false;
};

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

std::vector<UselessFrame> uselessFrames(const SalvagePlan& plan, DamagedMovie& movie) {
    std::vector<UselessFrame> useless;
    FrameProof proof(plan, movie);
    for (size_t number = 0; number < plan.frameCount(); ++number) {
        const QString why = proof.whyUseless(plan.frames()[number]);
        if (!why.isNull()) useless.push_back({number, why});
    }
    return useless;
}

std::vector<UselessFrame> unreadableFrames(const QString& fileName) {
    std::vector<UselessFrame> unreadable;
    ImageReader reader = ImageReader::withoutService(fileName);
    for (unsigned int i = 0; i < reader.nbFrames(); ++i) {
        const auto read = [&] { return FrameReading::rawFrame(reader, i).has_value(); };
        const auto ranOut = [&](const BaseException& failure) {
            const AttributeChunk& header = reader.attributeChunk();
            const auto fibers = static_cast<unsigned int>(
                isVectorized(header) ? reader.nbFibers(ImageReader::NoFiberFiltering) : 0);
            const auto record = reader.frameRecord(i);
            return record && ranOutOfMemory(header, fibers, record->length, failure);
        };
        if (!isReadable(read, ranOut)) unreadable.push_back({i, undecodable()});
    }
    return unreadable;
}

}  // namespace mz
