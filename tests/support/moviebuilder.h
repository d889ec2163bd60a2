#pragma once

// Movies built by hand, chunk by chunk, sound or not.

#include <QByteArray>

#include <algorithm>
#include <utility>
#include <vector>

#include <tests/support/bytes.h>

namespace mz::test {

class MovieBuilder {
public:
    /// Appends a chunk and lists it in the index.
    MovieBuilder& add(uint32_t type, QByteArray const& payload) {
        list(type, static_cast<uint32_t>(_bytes.size()), static_cast<uint32_t>(payload.size()));
        return addUnlisted(type, payload);
    }

    MovieBuilder& addUnlisted(uint32_t type, QByteArray const& payload) {
        _bytes += chunk(type, payload);
        return *this;
    }

    MovieBuilder& list(uint32_t type, uint32_t offset, uint32_t length) {
        _records.emplace_back(type, indexRecord(type, offset, length));
        return *this;
    }

    /// What stands in front of the info chunk.
    QByteArray bytes() const { return _bytes; }

    QByteArray index() const {
        auto sorted = _records;
        std::stable_sort(sorted.begin(), sorted.end(),
                         [](auto const& a, auto const& b) { return a.first < b.first; });
        QByteArray out = le32(static_cast<uint32_t>(sorted.size()));
        for (auto const& [type, record] : sorted)
            out += record;
        return out;
    }

    /// The whole movie, with an info chunk at its end.
    QByteArray finished(QByteArray const& attributes) const {
        return _bytes + chunk(5, index() + attributes);
    }

private:
    QByteArray _bytes;
    std::vector<std::pair<uint32_t, QByteArray>> _records;
};

}  // namespace mz::test
