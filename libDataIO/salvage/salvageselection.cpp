#include <libDataIO/salvage/salvagelog.h>
#include <libDataIO/salvage/salvageselection.h>

#include <algorithm>

namespace mz {

namespace {

QString tornChunk() {
    return QStringLiteral("torn chunk at the end of the file");
}
QString damagedBytes() {
    return QStringLiteral("damaged bytes, no whole chunk begins here");
}
QString replacedList() {
    return QStringLiteral("chunk that is followed by another of its kind");
}
QString unfinishedEnd() {
    return QStringLiteral("unfinished end, left by somebody who was interrupted");
}
QString unrelatedList() {
    return QStringLiteral("times or powers, of which frames cannot be told");
}

class Selector {
public:
    explicit Selector(const MovieRemains& movie) : _movie(movie) {}

    SalvageSelection select() {
        for (const ChunkGap& gap : _movie.scan.gaps) {
            _selection.leftOut.push_back({gap.offset, gap.length, _whyNot(gap)});
        }
        for (const UnreadableChunk& unreadable : _movie.unreadable)
            _selection.leaveOut(unreadable.chunk, whyUnreadable(unreadable.error));
        if (_movie.scan.unfinishedBytes > 0) {
            _selection.leftOut.push_back(
                {_movie.scan.fileSize, _movie.scan.unfinishedBytes, unfinishedEnd()});
        }
        for (const ChunkSpan& chunk : _movie.scan.chunks)
            _sort(chunk);
        _orderFrames();
        _leaveOutUnrelatedLists();
        return std::move(_selection);
    }

private:
    static QString _whyNot(const ChunkGap& gap) {
        if (gap.readError != 0) return whyUnreadable(gap.readError);
        return gap.isTorn ? tornChunk() : damagedBytes();
    }

    void _sort(const ChunkSpan& chunk) {
        switch (roleOfChunk(chunk.type).value_or(ChunkRole::Reserved)) {
            case ChunkRole::Frame:
                _frames.push_back(chunk);
                break;
            case ChunkRole::Trailing:
                _keepLast(chunk);
                break;
            case ChunkRole::Reserved:
                _selection.others.push_back(chunk);
                break;
        }
    }

    /// A finished movie has one chunk of each kind. Where there are two, a salvage has written the
    /// later one. An info chunk that others follow describes what the file was before them.
    void _keepLast(const ChunkSpan& chunk) {
        if (chunk.type == MZ_CT_INFO && chunk.offset != _movie.scan.chunks.back().offset) {
            _selection.leaveOut(chunk, replacedInfo());
            return;
        }
        for (size_t kind = 0; kind < trailingChunks.size(); ++kind) {
            if (trailingChunks[kind].type != chunk.type) continue;
            std::optional<ChunkSpan>& kept = _selection.trailing[kind];
            if (kept) _selection.leaveOut(*kept, replacedList());
            kept = chunk;
        }
    }

    void _orderFrames() {
        std::optional<FrameList> indexed;
        if (_movie.ownInfo) {
            const auto* index = _movie.ownInfo->find(MZ_CT_FRAME);
            if (index != nullptr) indexed = framesOfIndex(_frames, *index);
        }
        _selection.frames =
            indexed ? std::move(*indexed) : framesOfFile(_frames, _holes(), _recordedFrames());
    }

    /// Gaps in front of the lists that run parallel to the frames.
    std::vector<qint64> _holes() const {
        qint64 end = _movie.scan.fileSize;
        for (size_t kind = 0; kind < trailingChunks.size(); ++kind) {
            if (_isParallelList(kind)) end = std::min(end, _selection.trailing[kind]->offset);
        }
        std::vector<qint64> holes;
        for (const ChunkGap& gap : _movie.scan.gaps) {
            if (gap.offset < end) holes.push_back(gap.offset);
        }
        return holes;
    }

    /// As many as the longest list has entries: every frame has a power, but perhaps no time.
    size_t _recordedFrames() const {
        size_t recorded = 0;
        for (size_t kind = 0; kind < trailingChunks.size(); ++kind) {
            if (!_isParallelList(kind)) continue;
            recorded = std::max(
                recorded, _selection.trailing[kind]->size / trailingChunks[kind].bytesPerFrame);
        }
        return recorded;
    }

    /// A frame without a time is better than one with the time of another frame.
    void _leaveOutUnrelatedLists() {
        if (_selection.frames.arePlacesKnown) return;
        for (size_t kind = 0; kind < trailingChunks.size(); ++kind) {
            if (!_isParallelList(kind)) continue;
            _selection.leaveOut(*_selection.trailing[kind], unrelatedList());
            _selection.trailing[kind].reset();
        }
    }

    bool _isParallelList(size_t kind) const {
        return trailingChunks[kind].bytesPerFrame > 0 && _selection.trailing[kind].has_value();
    }

    const MovieRemains& _movie;
    SalvageSelection _selection;
    std::vector<ChunkSpan> _frames;
};

}  // namespace

QString beyondAnyIndex() {
    return QStringLiteral("beyond what an index can address");
}
QString replacedInfo() {
    return QStringLiteral("info chunk, replaced by a new one");
}

void SalvageSelection::leaveOut(const ChunkSpan& chunk, const QString& why) {
    leftOut.push_back({chunk.offset, chunk.length(), why});
}

SalvageSelection SalvageSelection::without(const std::vector<UselessFrame>& useless) const {
    SalvageSelection selection = *this;
    std::vector<size_t> numbers;
    for (const UselessFrame& frame : useless) {
        selection.leaveOut(frames.frames[frame.number], frame.why);
        numbers.push_back(frame.number);
    }
    selection.frames.remove(numbers);
    return selection;
}

SalvageSelection selectChunks(const MovieRemains& movie) {
    return Selector(movie).select();
}

}  // namespace mz
