#pragma once

// Room in the sequences that run parallel to the frames, made before a frame is written: a frame
// that is in the file must get its entries without anything that can fail.

#include <algorithm>
#include <cstddef>

namespace mz {

/// Makes sure that the next push_back does not allocate; grows by doubling, as push_back does.
template <class Sequence>
void makeRoomForOne(Sequence& sequence) {
    if (sequence.size() < sequence.capacity()) return;
    sequence.reserve(std::max<size_t>(16, 2 * sequence.capacity()));
}

}  // namespace mz
