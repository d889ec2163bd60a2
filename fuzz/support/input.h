#pragma once

// How the bytes of one run are split into a movie and a script of what to do with it.

#include <libDataIO/attributechunk.h>

#include <QByteArray>

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace mz::fuzz {

struct Input {
    QByteArray script;
    QByteArray movie;
};

/// Every movie begins with a line feed. Any other first byte is the length of a script that follows
/// it; the movie comes behind the script.
inline Input splitInput(const QByteArray& bytes) {
    if (bytes.isEmpty() || bytes[0] == '\n') return {{}, bytes};
    const qsizetype length = static_cast<unsigned char>(bytes[0]);
    return {bytes.mid(1, length), bytes.mid(1 + length)};
}

inline QByteArray joinInput(const Input& input) {
    if (input.script.isEmpty()) return input.movie;
    // 10 is the line feed.
    QByteArray script = input.script.left(255);
    if (script.size() == '\n') script.append('\0');
    return static_cast<char>(script.size()) + script + input.movie;
}

/// The bytes of a script one after the other, zeros behind its end.
class Script {
public:
    explicit Script(const QByteArray& bytes) : _bytes(bytes) {}

    bool isAtEnd() const { return _at >= _bytes.size(); }
    uint8_t next() { return isAtEnd() ? uint8_t{0} : static_cast<uint8_t>(_bytes[_at++]); }
    int nextBelow(int limit) { return next() % limit; }

private:
    QByteArray _bytes;
    qsizetype _at = 0;
};

/// The values that lines "key=" may give anywhere in the bytes.
inline std::vector<double> claims(const QByteArray& bytes, const char* key) {
    std::vector<double> values;
    const auto keyLength = static_cast<qsizetype>(qstrlen(key));
    for (qsizetype at = bytes.indexOf(key); at != -1; at = bytes.indexOf(key, at + keyLength)) {
        values.push_back(std::abs(std::strtod(bytes.mid(at + keyLength, 24).constData(), nullptr)));
    }
    return values;
}

/// Whether a movie may have frames that are large and still believed: they make a run slow and show
/// nothing that small ones do not. Sizes beyond what any stream of a run can hold are not large in
/// this sense; they must be refused at once.
inline bool claimsLargeFrames(const QByteArray& bytes) {
    constexpr double large = 1 << 18;
    constexpr double refused = 1LL << 32;
    for (double width : claims(bytes, "width=")) {
        for (double height : claims(bytes, "height=")) {
            if (width * height > large && width * height < refused) return true;
        }
    }
    return false;
}

}  // namespace mz::fuzz
