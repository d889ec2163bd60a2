#pragma once

// A look at memory that nobody needs the contents of.

#include <cstddef>

namespace mz::test {

/// Reads every byte in a way that no compiler takes away, so that a pointer to too few of them is
/// noticed.
inline void touch(const void* data, std::size_t size) {
    unsigned char sum = 0;
    for (std::size_t i = 0; i < size; ++i)
        sum = static_cast<unsigned char>(sum ^ static_cast<const unsigned char*>(data)[i]);
    [[maybe_unused]] volatile unsigned char kept = sum;
}

}  // namespace mz::test
