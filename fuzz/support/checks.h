#pragma once

// Telling what an operation on a damaged movie may do from what it must not.

#include <libCommon/exceptions.h>

#include <ios>

namespace mz::fuzz {

/// A promise that was not kept. Derived from nothing, so that no handler of the library or of an
/// operation mistakes it for a documented failure.
struct Broken {
    const char* promise;
};

inline void require(bool kept, const char* promise) {
    if (!kept) throw Broken{promise};
}

/// @return whether `action` came to its end, and not to a documented failure
template <class Action>
bool succeeds(Action&& action) {
    try {
        action();
        return true;
    } catch (const IOFileException&) {
        return false;
    }
}

/// The same where frames are compressed or decompressed: there the failures of the compression
/// library, all of them stream failures, pass as well.
template <class Action>
bool succeedsOnFrames(Action&& action) {
    try {
        return succeeds(action);
    } catch (const std::ios_base::failure&) {
        return false;
    }
}

}  // namespace mz::fuzz
