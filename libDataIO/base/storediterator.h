#pragma once

// Walks over the records of a payload, so that a list takes all of them at once: nothing is zeroed
// first and no room is asked for in between, which long lists show.

#include <cstddef>
#include <iterator>

namespace mz {

/// Stands in front of a stored record of `size` bytes, of any alignment, and hands out what
/// `decode` makes of it.
template <class Value, size_t size, Value (*decode)(const char*)>
class StoredIterator {
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = Value;
    using difference_type = std::ptrdiff_t;
    using pointer = const Value*;
    using reference = Value;

    explicit StoredIterator(const char* stored) : _stored(stored) {}

    Value operator*() const { return decode(_stored); }
    StoredIterator& operator++() {
        _stored += size;
        return *this;
    }
    bool operator==(StoredIterator other) const { return _stored == other._stored; }
    bool operator!=(StoredIterator other) const { return _stored != other._stored; }

private:
    const char* _stored;
};

}  // namespace mz
