#pragma once

// A reconstruction service that looks at everything it is given and writes everything it may.

#include <libDataIO/ireconstructionservice.h>

#include <boost/smart_ptr/make_shared.hpp>

#include <numeric>

namespace mz::fuzz {

class TouchingService : public IReconstructionService {
public:
    bool prepare(boost::iterator_range<const float*> fibers, int /*width*/, int /*height*/,
                 float fovX, float fovY, float minX, float maxX, float minY, float maxY) override {
        _seen =
            std::accumulate(fibers.begin(), fibers.end(), fovX + fovY + minX + maxX + minY + maxY);
        return true;
    }

    bool reconstruct(boost::iterator_range<const uint16_t*> input,
                     boost::iterator_range<uint16_t*> output) override {
        const auto sum =
            std::accumulate(input.begin(), input.end(), uint16_t{0},
                            [](uint16_t a, uint16_t b) { return static_cast<uint16_t>(a ^ b); });
        for (uint16_t& sample : output)
            sample = sum;
        return true;
    }

    IReconstructionService* clone() const override { return new TouchingService(*this); }

private:
    float _seen = 0;
};

}  // namespace mz::fuzz
