#include <libDataIO/salvage/framelist.h>

#include <algorithm>
#include <numeric>

namespace mz {

void FrameList::remove(const std::vector<size_t>& numbers) {
    std::vector<ChunkSpan> leftFrames;
    std::vector<size_t> leftPlaces;
    for (size_t i = 0; i < frames.size(); ++i) {
        if (std::binary_search(numbers.begin(), numbers.end(), i)) continue;
        leftFrames.push_back(frames[i]);
        leftPlaces.push_back(places[i]);
    }
    frames.swap(leftFrames);
    places.swap(leftPlaces);
    isComplete = isComplete && numbers.empty();
}

std::optional<FrameList> framesOfIndex(const std::vector<ChunkSpan>& frames,
                                       const std::vector<ChunkRecord>& index) {
    FrameList list;
    std::vector<bool> isListed(frames.size(), false);
    for (size_t place = 0; place < index.size(); ++place) {
        const auto frame = std::lower_bound(
            frames.begin(), frames.end(), qint64{index[place].offset},
            [](const ChunkSpan& chunk, qint64 offset) { return chunk.offset < offset; });
        if (frame == frames.end() || frame->offset != qint64{index[place].offset} ||
            frame->size != index[place].length) {
            continue;
        }
        const auto number = static_cast<size_t>(frame - frames.begin());
        if (isListed[number]) continue;
        isListed[number] = true;
        list.frames.push_back(*frame);
        list.places.push_back(place);
    }
    if (list.frames.size() < frames.size()) return std::nullopt;
    list.isComplete = list.frames.size() == index.size();
    return list;
}

FrameList framesOfFile(const std::vector<ChunkSpan>& frames, const std::vector<qint64>& holes,
                       size_t recorded) {
    FrameList list;
    list.frames = frames;
    list.places.resize(frames.size());
    std::iota(list.places.begin(), list.places.end(), size_t{0});
    if (recorded <= frames.size() || holes.empty()) return list;

    list.isComplete = false;
    list.arePlacesKnown = holes.size() == 1;
    for (size_t i = 0; i < frames.size(); ++i) {
        if (frames[i].offset > holes.front()) list.places[i] += recorded - frames.size();
    }
    return list;
}

size_t entriesLeft(const std::vector<size_t>& places, size_t count) {
    return static_cast<size_t>(std::lower_bound(places.begin(), places.end(), count) -
                               places.begin());
}

QByteArray entriesAt(const std::vector<size_t>& places, const char* entries, size_t size,
                     size_t entrySize) {
    const size_t count = entriesLeft(places, size / entrySize);
    QByteArray left;
    for (size_t i = 0; i < count; ++i)
        left.append(entries + places[i] * entrySize, static_cast<qsizetype>(entrySize));
    return left;
}

}  // namespace mz
