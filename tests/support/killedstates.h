#pragma once

// What a process that is killed can leave of a file that it changes: the calls that changed it are
// noted once, and carried out again up to each byte.

#include <QByteArray>

#include <algorithm>
#include <set>
#include <vector>

#include <tests/support/faultlayer.h>

namespace mz::test {

/// @param length how many of the bytes of a write arrive
inline QByteArray changed(QByteArray file, const Change& change, qint64 length) {
    if (change.call == Call::Truncate) {
        const qint64 missing = change.offset - file.size();
        return missing > 0 ? file + QByteArray(missing, '\0') : file.left(change.offset);
    }
    if (length == 0) return file;
    if (file.size() < change.offset) file.append(QByteArray(change.offset - file.size(), '\0'));
    return file.left(change.offset) + change.bytes.left(length) + file.mid(change.offset + length);
}

/// Lengths at which a write may be torn: around headers, and in between.
inline std::set<qint64> tornLengths(qint64 size) {
    std::set<qint64> lengths;
    for (const qint64 length : {1, 5, 6, 15, 16, 17, 20, 33}) {
        lengths.insert(length);
        lengths.insert(size - length);
    }
    for (qint64 length = 0; length < size; length += std::max<qint64>(1, size / 16))
        lengths.insert(length);
    lengths.erase(lengths.lower_bound(size), lengths.end());
    lengths.erase(lengths.begin(), lengths.upper_bound(0));
    return lengths;
}

/// Each state of the file from the first change to the last, the first and the last included.
inline std::vector<QByteArray> statesOf(const QByteArray& before,
                                        const std::vector<Change>& changes) {
    std::vector<QByteArray> states = {before};
    QByteArray file = before;
    for (const Change& change : changes) {
        for (const qint64 length : tornLengths(change.bytes.size()))
            states.push_back(changed(file, change, length));
        file = changed(file, change, change.bytes.size());
        states.push_back(file);
    }
    return states;
}

}  // namespace mz::test
