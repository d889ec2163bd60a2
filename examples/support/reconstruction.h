#pragma once

// A simple reconstruction service: every pixel is the mean of the fibres around it, nearer ones
// weighing more. Pixels that no fibre is near to stay black.

#include <libDataIO/ireconstructionservice.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace examples {

class Reconstruction : public mz::IReconstructionService {
public:
    /// Finds the fibres around each pixel and their weights, once for a movie.
    /// @return false for a movie without fibres or without a size; its pictures are black
    bool prepare(boost::iterator_range<const float*> fibers, int width, int height, float fovX,
                 float fovY, float minX, float maxX, float minY, float maxY) override;

    /// @return false, and a black picture, when the numbers of samples or pixels are not those that
    /// were prepared for
    bool reconstruct(boost::iterator_range<const std::uint16_t*> input,
                     boost::iterator_range<std::uint16_t*> output) override;

    mz::IReconstructionService* clone() const override { return new Reconstruction(*this); }

private:
    struct Share {
        std::uint32_t fibre;
        float weight;
    };
    std::size_t _fibres = 0;
    std::vector<Share> _shares;           // of all pixels, one after another
    std::vector<std::size_t> _sharesEnd;  // where those of each pixel end
};

}  // namespace examples
