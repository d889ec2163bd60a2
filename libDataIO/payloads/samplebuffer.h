#pragma once

// Samples in memory that the system gives as it is written to. A header can ask for gigabytes that
// its streams never fill; those cost nothing then.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace mz {

/// A fixed number of 16-bit samples, zero until they are written. It is told where it is written,
/// so that what nobody wrote never has to be looked at.
class SampleBuffer {
public:
    SampleBuffer() = default;
    /// @throws std::bad_alloc
    explicit SampleBuffer(std::size_t count);

    std::size_t size() const { return _count; }
    bool empty() const { return _count == 0; }
    const uint16_t* data() const { return _samples.get(); }

    /// The samples, of which the first `count` are about to be written.
    uint16_t* writable(std::size_t count);
    /// How many samples from the first on may be something else than zero.
    std::size_t written() const { return _written; }

    /// Makes all samples zero again. Without success the buffer is empty.
    /// @throws std::bad_alloc
    void renew();

    /// The most samples that there can be in memory.
    static constexpr std::size_t most = PTRDIFF_MAX / sizeof(uint16_t);

private:
    struct Free {
        void operator()(uint16_t* samples) const { std::free(samples); }
    };

    std::unique_ptr<uint16_t[], Free> _samples;
    std::size_t _count = 0;
    std::size_t _written = 0;
};

}  // namespace mz
