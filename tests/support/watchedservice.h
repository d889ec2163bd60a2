#pragma once

// The class-wide reconstruction service, which says how often readers have asked for it.

#include <libDataIO/imagereader.h>
#include <libDataIO/ireconstructionservice.h>

#include <boost/smart_ptr/make_shared.hpp>

namespace mz::test {

/// In force from its construction to its destruction.
class WatchedService {
public:
    WatchedService() {
        ImageReader::setReconstructionServiceFactory(boost::make_shared<Service>(_uses));
    }
    WatchedService(const WatchedService&) = delete;
    WatchedService& operator=(const WatchedService&) = delete;
    ~WatchedService() { ImageReader::setReconstructionServiceFactory({}); }

    /// How often it was cloned, or one of its clones called.
    int uses() const { return _uses; }

private:
    class Service : public IReconstructionService {
    public:
        explicit Service(int& uses) : _uses(uses) {}

        bool prepare(boost::iterator_range<const float*> /*fibers*/, int /*width*/, int /*height*/,
                     float /*fovX*/, float /*fovY*/, float /*minX*/, float /*maxX*/, float /*minY*/,
                     float /*maxY*/) override {
            ++_uses;
            return true;
        }
        bool reconstruct(boost::iterator_range<const uint16_t*> /*input*/,
                         boost::iterator_range<uint16_t*> /*output*/) override {
            ++_uses;
            return true;
        }
        IReconstructionService* clone() const override {
            ++_uses;
            return new Service(_uses);
        }

    private:
        int& _uses;
    };

    int _uses = 0;
};

}  // namespace mz::test
