#pragma once

// A reconstruction service whose images can be told from the samples that they are made of.

#include <libDataIO/ireconstructionservice.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

namespace mz::test {

/// Gives images of which sample k is the k-th of the frame, over and over, plus one, and black ones
/// without fibres. Wants a sample for each fibre.
class RepeatingService : public IReconstructionService {
public:
    bool prepare(boost::iterator_range<const float*> fibers, int, int, float, float, float, float,
                 float, float) override {
        _fibers = fibers.size() / 2;
        return true;
    }
    bool reconstruct(boost::iterator_range<const uint16_t*> input,
                     boost::iterator_range<uint16_t*> output) override {
        EXPECT_EQ(input.size(), _fibers);
        size_t k = 0;
        for (uint16_t& sample : output)
            sample = static_cast<uint16_t>(
                input.empty() ? 0 : *(input.begin() + k++ % input.size()) + 1);
        return true;
    }
    IReconstructionService* clone() const override { return new RepeatingService; }

private:
    size_t _fibers = 0;
};

inline boost::shared_ptr<IReconstructionService> repeatingService() {
    return boost::make_shared<RepeatingService>();
}

}  // namespace mz::test
