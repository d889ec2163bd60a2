#include <libDataIO/base/byteorder.h>
#include <libDataIO/container/chunkframing.h>
#include <libDataIO/metadata/attributekeys.h>
#include <libDataIO/payloads/fibergeometry.h>
#include <libDataIO/salvage/salvagelog.h>
#include <libDataIO/salvage/salvageplan.h>

#include <algorithm>
#include <utility>

namespace mz {

namespace {

/// The payload of a fibre-centre chunk for the positions that are given.
QByteArray fiberPayload(const std::vector<float>& fibers, const AttributeChunk& attributes) {
    if (fibers.empty()) return {};
    const std::optional<ImageSize> size = imageSize(attributes);
    if (!size || !size->isPositive()) {
        DATAIO_FAIL(IOFileException, salvageLogger, SOFTWARE, "IU_S_SIZE",
                    QStringLiteral("Fibers need a movie with width and height."));
    }
    std::vector<uint32_t> words = encodeFiberCenters(fibers, *size);
    if (isOtherByteOrder(intAttribute(attributes, keys::endian, nativeEndian)))
        copySwapped32(words.data(), words.data(), words.size());
    return QByteArray(reinterpret_cast<const char*>(words.data()),
                      static_cast<qsizetype>(words.size() * sizeof(uint32_t)));
}

/// The payload of a trailing chunk that the movie has not; empty when nothing was given for it.
QByteArray suppliedPayload(MZImageChunkType type, const std::vector<float>& fibers,
                           const AttributeChunk& attributes) {
    switch (type) {
        case MZ_CT_FIBERCENTER:
            return fiberPayload(fibers, attributes);
        case MZ_CT_FRAMETIMER:
        case MZ_CT_LASERPOWER:  // both were in the memory of the recorder alone
        case MZ_CT_INFO:        // made when all others have their places
            return {};
        case MZ_CT_FRAME:
        case MZ_CT_HEADER:
        case MZ_CT_PALETTE:
        case MZ_CT_THUMBNAIL:
        case MZ_CT_INDEX:
            break;  // no trailing chunks
    }
    return {};
}

unsigned int sizeOf(const PlannedPayload& payload) {
    struct {
        unsigned int operator()(const ChunkSpan& original) const { return original.size; }
        unsigned int operator()(const LeftEntries& left) const {
            return static_cast<unsigned int>(left.places.size() * left.entrySize);
        }
        unsigned int operator()(const QByteArray& bytes) const {
            return static_cast<unsigned int>(bytes.size());
        }
    } size;
    return std::visit(size, payload);
}

void list(ChunkInfo& info, unsigned int type, qint64 offset, unsigned int size) {
    info[static_cast<int>(type)].push_back({static_cast<unsigned int>(offset), size});
}

QByteArray saved(ChunkInfo& info) {
    int size = 0;
    const std::unique_ptr<char[]> payload(info.save(size));
    return QByteArray(payload.get(), size);
}

}  // namespace

SalvagePlan SalvagePlan::of(const MovieRemains& movie, SalvageMode mode,
                            const AttributeChunk& attributes, const std::vector<float>& fibers) {
    SalvageSelection selection = selectChunks(movie);
    Basis basis{mode,
                attributes,
                {},
                movie.wholeInfoPayload,
                movie.scan.fileSize + movie.scan.unfinishedBytes,
                movie.scan.soundEnd()};
    for (size_t kind = 0; kind < trailingChunks.size(); ++kind) {
        if (selection.trailing[kind]) continue;
        basis.supplied[kind] = suppliedPayload(trailingChunks[kind].type, fibers, attributes);
    }
    SalvagePlan plan(std::make_shared<const Basis>(std::move(basis)), std::move(selection),
                     movie.scan.fileSize);
    const std::vector<UselessFrame> tooMany = plan._framesBeyondAnyIndex();
    return tooMany.empty() ? plan : plan.without(tooMany);
}

SalvagePlan::SalvagePlan(std::shared_ptr<const Basis> basis, SalvageSelection selection,
                         qint64 tailOffset)
    : _basis(std::move(basis)), _selection(std::move(selection)) {
    _placeKept();
    const bool isEmpty = _kept.empty();
    const qint64 keptEnd = isEmpty ? 0 : _kept.back().offset + _kept.back().original.length();
    _planTail(_basis->mode == SalvageMode::Copy ? keptEnd : tailOffset);
}

SalvagePlan SalvagePlan::without(const std::vector<UselessFrame>& useless) const {
    return SalvagePlan(_basis, _selection.without(useless), _tail.front().offset);
}

SalvagePlan SalvagePlan::withTailAt(qint64 offset) const {
    return SalvagePlan(_basis, _selection, offset);
}

unsigned int SalvagePlan::fiberCount() const {
    constexpr size_t fiberSize = 2 * sizeof(uint32_t);
    for (size_t kind = 0; kind < trailingChunks.size(); ++kind) {
        if (trailingChunks[kind].type != MZ_CT_FIBERCENTER) continue;
        const std::optional<ChunkSpan>& own = _selection.trailing[kind];
        const size_t size = own ? own->size : static_cast<size_t>(_basis->supplied[kind].size());
        return static_cast<unsigned int>(size / fiberSize);
    }
    return 0;
}

void SalvagePlan::_placeKept() {
    qint64 end = 0;
    const auto place = [&](const ChunkSpan& chunk) {
        _kept.push_back({chunk, _basis->mode == SalvageMode::Copy ? end : chunk.offset});
        end += chunk.length();
    };
    _kept.reserve(_selection.frames.frames.size() + _selection.others.size());
    std::for_each(_selection.frames.frames.begin(), _selection.frames.frames.end(), place);
    std::for_each(_selection.others.begin(), _selection.others.end(), place);
}

void SalvagePlan::_planTail(qint64 offset) {
    ChunkInfo info;
    info.merge(_basis->attributes);
    for (const KeptChunk& chunk : _kept)
        list(info, chunk.original.type, chunk.offset, chunk.original.size);

    const auto append = [&](unsigned int type, PlannedPayload payload) {
        const unsigned int size = sizeOf(payload);
        list(info, type, offset, size);
        _tail.push_back({type, offset, size, std::move(payload)});
        offset += chunkFramingSize + size;
    };
    for (size_t kind = 0; kind < trailingChunks.size(); ++kind) {
        const MZImageChunkType type = trailingChunks[kind].type;
        const std::optional<ChunkSpan>& original = _selection.trailing[kind];
        if (type == MZ_CT_INFO) {
            append(type, saved(info));
        } else if (original) {
            PlannedPayload payload = _payloadOf(kind, *original);
            if (_basis->mode == SalvageMode::InPlace && std::holds_alternative<ChunkSpan>(payload))
                list(info, type, original->offset, original->size);
            else
                append(type, std::move(payload));
        } else if (const QByteArray& supplied = _basis->supplied[kind]; !supplied.isEmpty()) {
            append(type, supplied);
        }
    }
}

/// All of it, unless it is a list in which frames have entries that are lost.
PlannedPayload SalvagePlan::_payloadOf(size_t kind, const ChunkSpan& original) const {
    const size_t entrySize = trailingChunks[kind].bytesPerFrame;
    if (entrySize == 0 || original.size % entrySize != 0 || _selection.frames.isComplete)
        return original;
    std::vector<size_t> places = _selection.frames.places;
    const size_t count = original.size / entrySize;
    places.resize(entriesLeft(places, count));
    if (places.size() == count) return original;
    return LeftEntries{original, entrySize, std::move(places)};
}

/// Frames with which a copy would outgrow its index. Without them the tail is no longer than with.
std::vector<UselessFrame> SalvagePlan::_framesBeyondAnyIndex() const {
    std::vector<UselessFrame> tooMany;
    if (_basis->mode != SalvageMode::Copy) return tooMany;
    qint64 room = maxFileSize - tailSize();
    for (const ChunkSpan& other : _selection.others)
        room -= other.length();
    for (size_t number = 0; number < frameCount(); ++number) {
        const qint64 length = _selection.frames.frames[number].length();
        if (length > room)
            tooMany.push_back({number, beyondAnyIndex()});
        else
            room -= length;
    }
    return tooMany;
}

qint64 SalvagePlan::tailSize() const {
    return _tail.back().offset + _tail.back().size + chunkFramingSize - _tail.front().offset;
}

bool SalvagePlan::ownInfoStands() const {
    const std::optional<ChunkSpan>& own = _selection.trailing.back();
    return _basis->mode == SalvageMode::InPlace && own && own->end() == _basis->soundEnd &&
           std::get<QByteArray>(_tail.back().payload) == _basis->ownInfo;
}

SalvageReport SalvagePlan::report() const {
    SalvageReport report;
    report.gaps = _selection.leftOut;
    const std::optional<ChunkSpan>& own = _selection.trailing.back();
    if (own && !ownInfoStands())
        report.gaps.push_back({own->offset, own->length(), replacedInfo()});
    std::sort(report.gaps.begin(), report.gaps.end(),
              [](const SalvageGap& a, const SalvageGap& b) { return a.offset < b.offset; });

    report.framesKept = static_cast<unsigned int>(frameCount());
    report.bytesKept = _basis->fileSize;
    for (const SalvageGap& gap : report.gaps)
        report.bytesKept -= gap.length;
    report.bytesCut = _basis->mode == SalvageMode::Copy ? _basis->fileSize - report.bytesKept
                                                        : _basis->fileSize - _basis->soundEnd;
    return report;
}

}  // namespace mz
