#include <libDataIO/base/byteorder.h>
#include <libDataIO/base/framesize.h>
#include <libDataIO/container/chunkframing.h>
#include <libDataIO/dataiocommon.h>
#include <libDataIO/frametimer.h>
#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/payloads/fibergeometry.h>
#include <libDataIO/payloads/framecodec.h>
#include <libDataIO/salvage/salvagelog.h>
#include <libDataIO/salvage/salvageplan.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <optional>

namespace mz {

namespace {

QString tornChunk() {
    return QStringLiteral("torn chunk at the end of the file");
}
QString damagedBytes() {
    return QStringLiteral("damaged bytes, no whole chunk begins here");
}
QString replacedInfo() {
    return QStringLiteral("info chunk, replaced by a new one");
}
QString replacedList() {
    return QStringLiteral("chunk that is followed by another of its kind");
}
QString unaddressable() {
    return QStringLiteral("beyond what an index can address");
}
QString unrelatedList() {
    return QStringLiteral("times or powers, of which frames cannot be told");
}

/// Bytes of an image, empty when the header does not tell.
std::optional<int64_t> imageBytes(AttributeChunk const& attributes) {
    int width = 0;
    int height = 0;
    int bits = 0;
    if (!attributes.get(QStringLiteral("width"), width) ||
        !attributes.get(QStringLiteral("height"), height) ||
        !attributes.get(QStringLiteral("pixbits"), bits)) {
        return std::nullopt;
    }
    return frameBytes(width, height, wholeBytes(bits));
}

/// Uncompressed bytes of the last frame of which that can be told; 0 when there is none, or nothing
/// to compare it with.
unsigned int lastFrameSize(DamagedMovie& movie, AttributeChunk const& attributes) {
    const std::optional<int64_t> image = imageBytes(attributes);
    if (!image) return 0;
    QString name;
    attributes.get(QStringLiteral("compression_type"), name);
    const CompressionType::e compression = compressionOfName(name);
    const auto limit =
        static_cast<uint64_t>(std::min<int64_t>(*image, std::numeric_limits<int>::max()));
    auto const& chunks = movie.scan().chunks;
    for (auto chunk = chunks.rbegin(); chunk != chunks.rend(); ++chunk) {
        if (chunk->type != MZ_CT_FRAME) continue;
        if (compression == CompressionType::None) return chunk->size;
        const auto size = decodedSize(compression, movie.payload(*chunk), chunk->size, limit);
        if (size) return static_cast<unsigned int>(*size);
    }
    return 0;
}

/// What the movie says of itself goes before what is given. Times given with the attributes would
/// be those of another movie.
AttributeChunk attributesFor(DamagedMovie& movie, AttributeChunk given) {
    AttributeChunk attributes;
    if (movie.ownInfo() != nullptr) attributes = *movie.ownInfo();
    FrameTimer::removeFromAttChunk(given);
    for (auto const& [key, value] : given.attributes())
        attributes.attributes().emplace(key, value);
    attributes.attributes().emplace(QStringLiteral("endian"),
                                    Attribute{QString::number(nativeEndian)});
    reconcileDataType(attributes, lastFrameSize(movie, attributes));
    return attributes;
}

void list(ChunkInfo& info, ChunkSpan const& chunk, qint64 offset) {
    info[static_cast<int>(chunk.type)].push_back({static_cast<unsigned int>(offset), chunk.size});
}

qint64 write(FileWriter& writer, unsigned int type, const char* payload, qint64 size) {
    const qint64 offset = writer.tell();
    writer.addChunk(type, payload, static_cast<size_t>(size));
    return offset;
}

}  // namespace

SalvagePlan::SalvagePlan(DamagedMovie& movie, SalvageMode mode, AttributeChunk const& given,
                         std::vector<float> const& fibers)
    : _movie(movie),
      _mode(mode),
      _attributes(attributesFor(movie, given)),
      _fibers(fibers),
      _trailing({{MZ_CT_FIBERCENTER, boost::none, 0, false, false},
                 {MZ_CT_FRAMETIMER, boost::none, FrameTimer::rawRecordSize, false, false},
                 {MZ_CT_LASERPOWER, boost::none, 1, false, false}}) {
    for (ChunkGap const& gap : movie.scan().gaps)
        _gaps.push_back({gap.offset, gap.length, gap.isTorn ? tornChunk() : damagedBytes()});
    _sortChunks();
    _dropUnrelatedLists();
}

void SalvagePlan::_sortChunks() {
    std::vector<ChunkSpan> frames;
    const boost::optional<ChunkSpan> ownInfo = _movie.wholeInfo();
    for (ChunkSpan const& chunk : _movie.scan().chunks) {
        const auto trailing =
            std::find_if(_trailing.begin(), _trailing.end(),
                         [&](Trailing const& kind) { return kind.type == chunk.type; });
        if (_mode == SalvageMode::InPlace && chunk.end() > maxFileSize) {
            _addGap(chunk, unaddressable());
        } else if (chunk.type == MZ_CT_FRAME) {
            frames.push_back(chunk);
        } else if (trailing != _trailing.end()) {
            _keepLast(*trailing, chunk);
        } else if (chunk.type != MZ_CT_INFO) {
            _others.push_back({chunk, chunk.offset});
        } else if (!ownInfo || chunk.offset != ownInfo->offset) {
            _addGap(chunk, replacedInfo());
        }
    }
    _orderFrames(frames);
}

/// A movie has one chunk of the kind. A second one was made by salvaging it before.
void SalvagePlan::_keepLast(Trailing& trailing, ChunkSpan const& chunk) {
    if (trailing.original) _addGap(*trailing.original, replacedList());
    trailing.original = chunk;
}

void SalvagePlan::_orderFrames(std::vector<ChunkSpan> const& frames) {
    boost::optional<FrameList> indexed;
    if (_movie.ownInfo() != nullptr) {
        const auto* index = _movie.ownInfo()->find(MZ_CT_FRAME);
        if (index != nullptr) indexed = framesOfIndex(frames, *index);
    }
    _list = indexed ? *indexed : framesOfFile(frames, _holes(), _recordedFrames());
}

/// Gaps in front of the lists that run parallel to the frames.
std::vector<qint64> SalvagePlan::_holes() const {
    qint64 end = _movie.scan().fileSize;
    for (Trailing const& trailing : _trailing) {
        if (trailing.original && trailing.entrySize > 0)
            end = std::min(end, trailing.original->offset);
    }
    std::vector<qint64> holes;
    for (ChunkGap const& gap : _movie.scan().gaps) {
        if (gap.offset < end) holes.push_back(gap.offset);
    }
    return holes;
}

/// Every frame has a power, though perhaps no time.
size_t SalvagePlan::_recordedFrames() const {
    size_t recorded = 0;
    for (Trailing const& trailing : _trailing) {
        if (trailing.original && trailing.entrySize > 0)
            recorded = std::max(recorded, trailing.original->size / trailing.entrySize);
    }
    return recorded;
}

/// No time is better than that of another frame.
void SalvagePlan::_dropUnrelatedLists() {
    if (_list.arePlacesKnown) return;
    for (Trailing& trailing : _trailing) {
        if (!trailing.original || trailing.entrySize == 0) continue;
        trailing.isDropped = true;
        _addGap(*trailing.original, unrelatedList());
    }
}

void SalvagePlan::_addGap(ChunkSpan const& chunk, QString const& why) {
    _gaps.push_back({chunk.offset, chunk.length(), why});
}

void SalvagePlan::dropFrames(std::vector<size_t> const& numbers, QString const& why) {
    for (const size_t number : numbers)
        _addGap(_list.frames[number].original, why);
    _list.remove(numbers);
}

void SalvagePlan::writeChunks(FileWriter& writer) {
    const qint64 end = maxFileSize - _tailSize();
    const auto copy = [&](KeptChunk& chunk) {
        chunk.offset =
            write(writer, chunk.original.type, _movie.payload(chunk.original), chunk.original.size);
    };
    std::vector<size_t> tooMany;
    for (size_t i = 0; i < _list.frames.size(); ++i) {
        if (writer.tell() + _list.frames[i].original.length() > end) {
            tooMany.push_back(i);
        } else {
            copy(_list.frames[i]);
        }
    }
    dropFrames(tooMany, unaddressable());
    for (KeptChunk& chunk : _others)
        copy(chunk);
}

/// At most what stands behind the frames.
qint64 SalvagePlan::_tailSize() const {
    QByteArray text;
    _attributes.dumpLatin1(text);
    const size_t chunks = _list.frames.size() + _others.size() + _trailing.size();
    qint64 size = chunkFramingSize + ChunkIndex::storedSize(static_cast<qint64>(chunks)) +
                  text.size() + static_cast<qint64>(_fibers.size() * sizeof(uint32_t));
    for (Trailing const& trailing : _trailing)
        size += trailing.original ? trailing.original->length() : chunkFramingSize;
    for (KeptChunk const& other : _others)
        size += other.original.length();
    return size;
}

void SalvagePlan::writeTail(FileWriter& writer) {
    ChunkInfo info;
    info.merge(_attributes);
    for (KeptChunk const& frame : _list.frames)
        list(info, frame.original, frame.offset);
    for (KeptChunk const& other : _others)
        list(info, other.original, other.offset);
    for (Trailing& trailing : _trailing) {
        if (trailing.isDropped) continue;
        const QByteArray payload = _payload(trailing);
        if (trailing.staysAsItIs && _mode == SalvageMode::InPlace) {
            list(info, *trailing.original, trailing.original->offset);
        } else if (trailing.original || !payload.isEmpty()) {
            const qint64 offset = write(writer, trailing.type, payload.constData(), payload.size());
            list(info, {0, trailing.type, static_cast<unsigned int>(payload.size())}, offset);
        }
    }
    int size = 0;
    const std::unique_ptr<char[]> payload(info.save(size));
    _info = QByteArray(payload.get(), size);
    write(writer, MZ_CT_INFO, _info.constData(), _info.size());
}

QByteArray SalvagePlan::_payload(Trailing& trailing) {
    trailing.staysAsItIs = false;
    if (!trailing.original) {
        return trailing.type == MZ_CT_FIBERCENTER ? _givenFibers() : QByteArray();
    }
    const unsigned int size = trailing.original->size;
    const char* payload = _movie.payload(*trailing.original);
    if (trailing.entrySize > 0 && size % trailing.entrySize == 0 && !_list.isComplete) {
        QByteArray entries = entriesAt(_list.places, payload, size, trailing.entrySize);
        if (entries.size() != qint64{size}) return entries;
    }
    trailing.staysAsItIs = true;
    return QByteArray(payload, size);
}

/// The payload of a fibre-centre chunk for the positions that were given.
QByteArray SalvagePlan::_givenFibers() const {
    if (_fibers.empty()) return {};
    ImageSize size{0, 0};
    if (!_attributes.get(QStringLiteral("width"), size.width) ||
        !_attributes.get(QStringLiteral("height"), size.height) || size.width < 1 ||
        size.height < 1) {
        DATAIO_FAIL(IOFileException, salvageLogger, SOFTWARE, "IU_S_SIZE",
                    QStringLiteral("Fibers need a movie with width and height."));
    }
    std::vector<uint32_t> words = encodeFiberCenters(_fibers, size);
    int endian = nativeEndian;
    _attributes.get(QStringLiteral("endian"), endian);
    if (isOtherByteOrder(endian)) copySwapped32(words.data(), words.data(), words.size());
    return QByteArray(reinterpret_cast<const char*>(words.data()),
                      static_cast<qsizetype>(words.size() * sizeof(uint32_t)));
}

bool SalvagePlan::ownInfoStands() {
    const boost::optional<ChunkSpan> own = _movie.wholeInfo();
    if (!own || own->end() != _movie.scan().soundEnd() || qint64{own->size} != _info.size())
        return false;
    return std::equal(_info.begin(), _info.end(), _movie.payload(*own));
}

SalvageReport SalvagePlan::report(bool keepsOwnInfo) const {
    SalvageReport report;
    report.gaps = _gaps;
    const boost::optional<ChunkSpan> own = _movie.wholeInfo();
    if (own && !keepsOwnInfo) report.gaps.push_back({own->offset, own->length(), replacedInfo()});
    std::sort(report.gaps.begin(), report.gaps.end(),
              [](SalvageGap const& a, SalvageGap const& b) { return a.offset < b.offset; });

    report.framesKept = static_cast<unsigned int>(_list.frames.size());
    report.bytesKept = _movie.scan().fileSize;
    for (SalvageGap const& gap : report.gaps)
        report.bytesKept -= gap.length;
    report.bytesCut = _mode == SalvageMode::Copy
                          ? _movie.scan().fileSize - report.bytesKept
                          : _movie.scan().fileSize - _movie.scan().soundEnd();
    return report;
}

}  // namespace mz
