#include <libDataIO/base/makeroom.h>
#include <libDataIO/movies/framelists.h>
#include <libDataIO/payloads/laserpower.h>

#include <algorithm>

namespace mz {

namespace {

/// Makes element `first` of the leading `count` ones the first of them.
template <class Sequence>
void rotateFront(Sequence& sequence, std::size_t first, std::size_t count) {
    const auto begin = sequence.begin();
    std::rotate(begin, begin + static_cast<std::ptrdiff_t>(first),
                begin + static_cast<std::ptrdiff_t>(count));
}

}  // namespace

void FrameLists::clear() {
    _records.clear();
    _times.clear();
    _powers.clear();
}

void FrameLists::makeRoomForOne() {
    mz::makeRoomForOne(_records);
    mz::makeRoomForOne(_times);
    mz::makeRoomForOne(_powers);
}

void FrameLists::add(ChunkRecord record, std::optional<timeval> time, float power) noexcept {
    _records.push_back(record);
    if (time) _times.push_back(*time);
    _powers.push_back(power);
}

void FrameLists::replace(std::size_t frame, std::optional<timeval> time, float power) noexcept {
    if (time && hasTime(frame)) _times[frame] = *time;
    if (power >= 0 && _powers.size() < _records.size())
        _powers.resize(_records.size(), noLaserPower);
    if (frame < _powers.size()) _powers[frame] = power;
}

bool FrameLists::rotate(std::size_t first, std::size_t count) {
    rotateFront(_records, first, count);
    if (_powers.empty()) return true;
    if (_powers.size() != _records.size()) return false;
    rotateFront(_powers, first, count);
    return true;
}

}  // namespace mz
