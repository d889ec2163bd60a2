#pragma once

// Builds whole movie files byte by byte, sharing nothing with the library.

#include <initializer_list>

#include <tests/support/bytes.h>

namespace mz::test {

/// The values of "endian" that tests use.
enum class Order { Little = 2, Big = 1 };

inline QByteArray bytes16(std::initializer_list<uint16_t> samples, Order order = Order::Little) {
    QByteArray out;
    for (const uint16_t sample : samples)
        out += order == Order::Little ? le16(sample) : be32(sample).mid(2);
    return out;
}

inline QByteArray bytes32(std::initializer_list<uint32_t> words, Order order = Order::Little) {
    QByteArray out;
    for (const uint32_t word : words)
        out += order == Order::Little ? le32(word) : be32(word);
    return out;
}

/// Chunks in the order in which they are added, then the info chunk with the index of all of them
/// and the attributes. Unless told otherwise a movie has no attribute at all.
///
///     MovieBytes().size(4, 2).attribute("pixbits", "16").frame(first).frame(second).bytes()
class MovieBytes {
public:
    enum Type : uint32_t { Frame = 2, Info = 5, FiberCenter = 6, FrameTimer = 7, LaserPower = 8 };

    MovieBytes& attribute(const char* key, const QByteArray& value) {
        return text(QByteArray(key) + '=' + value + '\n');
    }
    MovieBytes& attribute(const char* key, int value) {
        return attribute(key, QByteArray::number(value));
    }
    /// Attribute text as it stands in the file.
    MovieBytes& text(const QByteArray& lines) {
        _text += lines;
        return *this;
    }
    MovieBytes& size(int width, int height) {
        return attribute("width", width).attribute("height", height);
    }
    MovieBytes& endian(Order order) { return attribute("endian", static_cast<int>(order)); }

    MovieBytes& frame(const QByteArray& payload) { return chunk(Frame, payload); }
    MovieBytes& fibers(std::initializer_list<uint32_t> words, Order order = Order::Little) {
        return chunk(FiberCenter, bytes32(words, order));
    }
    /// Seconds and microseconds in turn.
    MovieBytes& times(std::initializer_list<uint32_t> numbers) {
        return chunk(FrameTimer, bytes32(numbers));
    }
    MovieBytes& laserPowers(const QByteArray& payload) { return chunk(LaserPower, payload); }

    /// A chunk and its index record.
    MovieBytes& chunk(uint32_t type, const QByteArray& payload) {
        record(type, end(), static_cast<uint32_t>(payload.size()));
        return raw(test::chunk(type, payload));
    }
    /// Bytes that the index does not know.
    MovieBytes& raw(const QByteArray& bytes) {
        _chunks += bytes;
        return *this;
    }
    /// An index record alone. Records keep the order in which they come.
    MovieBytes& record(uint32_t type, uint32_t offset, uint32_t length) {
        _records += indexRecord(type, offset, length);
        return *this;
    }

    /// Where the next chunk will begin.
    uint32_t end() const { return static_cast<uint32_t>(_chunks.size()); }

    QByteArray info() const {
        return le32(static_cast<uint32_t>(_records.size() / 12)) + _records + _text;
    }
    QByteArray bytes() const { return _chunks + test::chunk(Info, info()); }
    /// What stands in front of the info chunk.
    QByteArray chunks() const { return _chunks; }
    /// The whole movie with more attribute text.
    QByteArray finished(const QByteArray& lines) const {
        return MovieBytes(*this).text(lines).bytes();
    }

private:
    QByteArray _chunks;
    QByteArray _records;
    QByteArray _text;
};

}  // namespace mz::test
