#pragma once

// What is recorded and read: frames that are played in a ring.

#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

#include <bench/harness.h>

namespace bench {

/// Sum of 16-bit samples in memory of any alignment, at the speed of that memory.
Sum sumOf(const void* samples, size_t bytes);

/// A movie's worth of 16-bit frames. The ring of samples is shared between copies.
class Material {
public:
    /// @param samples whole frames
    Material(std::shared_ptr<const std::vector<uint16_t>> samples, int width, int height,
             int frames);

    int width() const { return _width; }
    int height() const { return _height; }
    int frames() const { return _frames; }
    size_t frameBytes() const {
        return static_cast<size_t>(_width) * static_cast<size_t>(_height) * 2;
    }
    double bytes() const { return static_cast<double>(frameBytes()) * _frames; }
    const uint16_t* frame(int i) const;
    /// Of all frames.
    Sum sum() const;
    /// The same frames, the first `frames` of the movie.
    Material first(int frames) const { return {_samples, _width, _height, frames}; }
    /// The same samples cut into other frames.
    Material cut(int width, int height, int frames) const {
        return {_samples, width, height, frames};
    }

    QString describe() const;

private:
    std::shared_ptr<const std::vector<uint16_t>> _samples;
    int _width;
    int _height;
    int _frames;
    int _ring;
};

/// 960 frames of 512 × 400 pixels: the planes of $DATAIO_SAMPLES/brain-planes/frames.u16 over and
/// over, or generated ones that compress like them.
Material largeFrames(bool& areReal);

/// The numbers of `frames` frames: in order, or shuffled the same way each time.
std::vector<int> inOrder(int frames);
std::vector<int> shuffled(int frames);

}  // namespace bench
