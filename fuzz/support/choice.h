#pragma once

// What a run does of all that can be done with an input. A fuzzer learns more from many runs that
// each do little than from a few that do everything.

#include <QByteArray>
#include <QHashFunctions>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace mz::fuzz {

class Choice {
public:
    /// Everything, for inputs that are known to be worth it.
    Choice() = default;

    /// A little, which depends on the bytes of the input alone, so that a finding can be had again.
    static Choice of(const QByteArray& input) {
        Choice choice;
        choice._isEverything = false;
        choice._state = qHashBits(input.constData(), static_cast<size_t>(input.size()), 0) | 1U;
        return choice;
    }

    bool isEverything() const { return _isEverything; }

    /// A number below `limit`, of a choice that is not everything.
    unsigned int below(unsigned int limit) {
        _state = _state * 6364136223846793005U + 1442695040888963407U;
        return static_cast<unsigned int>(_state >> 33U) % limit;
    }

    /// True for one of `many` runs.
    bool onceIn(unsigned int many) { return _isEverything || below(many) == 0; }

    /// Does one of the parts, or all of them in order.
    template <class... Part>
    void doOne(Part&&... parts) {
        const unsigned int chosen = _isEverything ? 0 : below(sizeof...(parts));
        unsigned int number = 0;
        const auto perhaps = [&](auto&& part) {
            if (_isEverything || number == chosen) part();
            ++number;
        };
        (perhaps(std::forward<Part>(parts)), ...);
    }

private:
    bool _isEverything = true;
    uint64_t _state = 0;
};

}  // namespace mz::fuzz
