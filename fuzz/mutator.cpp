// Mutations that keep the framing of a movie whole, or break it in one place.

#include <libDataIO/dataiocommon.h>

#include <QByteArrayList>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>

#include <fuzz/support/input.h>
#include <fuzz/support/movieparts.h>

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t maxSize);

namespace mz::fuzz {

namespace {

/// What headers ask for most, with values from the edges.
const char* const keys[] = {"width",
                            "height",
                            "pixbits",
                            "pixtype",
                            "endian",
                            "compression_type",
                            "data_type",
                            "datadimension",
                            "mask_level",
                            "frame_timer",
                            "frame_timer_n0_sec",
                            "frame_timer_n0_usec",
                            "pal_nbcols",
                            "pal_nbnodes",
                            "pal_n0_val",
                            "pal_n1_val",
                            "pal_cropMin",
                            "pal_cropMax",
                            "fovx",
                            "fovy",
                            "bbox_min_x",
                            "bbox_max_x",
                            "bbox_min_y",
                            "bbox_max_y",
                            "plug_event_1",
                            "utc_offset_seconds"};
const char* const values[] = {
    "0",  "1",   "2",     "3",     "4",   "5",    "6",           "8",      "12",
    "16", "32",  "64",    "255",   "256", "896",  "65535",       "-1",     "-8",
    "z",  "gz",  "bz2",   "vec",   "imp", "raw",  "none",        "nan",    "inf",
    "",   "1e9", "-1e30", "1e-40", "0.5", "-0.5", "-2147483648", "1\aone", "2147483647"};

class Mutator {
    // Stands in front, since its type is deduced.
    template <class Sequence>
    auto& _any(Sequence& sequence) {
        return *(std::begin(sequence) + _below(std::size(sequence)));
    }

public:
    explicit Mutator(unsigned int seed, qsizetype maxSize) : _random(seed), _maxSize(maxSize) {}

    QByteArray mutated(const QByteArray& bytes) {
        Input input = splitInput(bytes);
        if (_oneIn(8)) input.script = _rawMutated(input.script, 255);
        if (_oneIn(16)) return _rawMutated(bytes, _maxSize);
        Movie movie = parseMovie(input.movie);
        do {
            _mutate(movie);
        } while (_oneIn(3));
        input.movie = movieBytes(movie);
        return joinInput(input).left(_maxSize);
    }

    QByteArray crossed(const QByteArray& a, const QByteArray& b) {
        Input input = splitInput(a);
        const Input other = splitInput(b);
        if (_oneIn(3)) input.script = other.script;
        Movie movie = parseMovie(input.movie);
        const Movie donor = parseMovie(other.movie);
        for (const Chunk& chunk : donor.chunks) {
            if (!_oneIn(3)) continue;
            if (!movie.chunks.empty() && _oneIn(2)) {
                _any(movie.chunks) = chunk;
            } else {
                movie.chunks.insert(movie.chunks.begin() + _below(movie.chunks.size() + 1), chunk);
            }
        }
        if (!_oneIn(4)) rebuildIndex(movie);
        input.movie = movieBytes(movie);
        return joinInput(input).left(_maxSize);
    }

private:
    std::ptrdiff_t _below(size_t limit) {
        return static_cast<std::ptrdiff_t>(_random() % std::max<size_t>(limit, 1));
    }
    bool _oneIn(unsigned int n) { return _random() % n == 0; }

    QByteArray _rawMutated(const QByteArray& bytes, qsizetype maxSize) {
        QByteArray room = bytes.left(maxSize);
        const auto size = static_cast<size_t>(room.size());
        room.resize(maxSize);
        const size_t mutatedSize = LLVMFuzzerMutate(reinterpret_cast<uint8_t*>(room.data()), size,
                                                    static_cast<size_t>(maxSize));
        return room.left(static_cast<qsizetype>(mutatedSize));
    }

    void _mutate(Movie& movie) {
        if (movie.chunks.empty()) {
            movie.rest = _rawMutated(movie.rest, _maxSize);
            return;
        }
        switch (_below(10)) {
            case 0:
            case 1:
                return _mutatePayload(movie);
            case 2:
            case 3:
            case 4:
                return _mutateInfo(movie, [&](Info& info) { _mutateText(info.text); });
            case 5:
                return _mutateInfo(movie, [&](Info& info) { _mutateIndex(info.index); });
            case 6:
                movie.rest = _oneIn(2) ? QByteArray() : _rawMutated(movie.rest, 64);
                return;
            case 7:
                _any(movie.chunks).type = static_cast<uint32_t>(_below(10));
                return;
            case 8:
                return rebuildIndex(movie);
            default:
                return _moveChunks(movie);
        }
    }

    void _mutatePayload(Movie& movie) {
        Chunk& chunk = _any(movie.chunks);
        if (_oneIn(3)) {
            chunk.payload.resize(_below(static_cast<size_t>(chunk.payload.size()) + 1));
        } else {
            chunk.payload = _rawMutated(chunk.payload, chunk.payload.size() + 64);
        }
        if (!_oneIn(4)) rebuildIndex(movie);
    }

    template <class Change>
    void _mutateInfo(Movie& movie, Change change) {
        for (Chunk& chunk : movie.chunks) {
            if (chunk.type != MZ_CT_INFO) continue;
            Info info = parseInfo(chunk.payload);
            change(info);
            chunk.payload = infoPayload(info);
        }
    }

    void _mutateText(QByteArray& text) {
        QList<QByteArray> lines = text.split('\n');
        const QByteArray line = QByteArray(_any(keys)) + '=' + _any(values);
        switch (_below(4)) {
            case 0:
                lines.removeAt(_below(static_cast<size_t>(lines.size())));
                break;
            case 1: {
                QByteArray& changed = _any(lines);
                changed = _rawMutated(changed, changed.size() + 16);
                break;
            }
            default:
                // Later lines win.
                lines.append(line);
        }
        text = lines.join('\n');
    }

    void _mutateIndex(std::vector<uint32_t>& index) {
        static const uint32_t edges[] = {0,          1,          16,         32,        1U << 16,
                                         0x7fffffff, 0x80000000, 0xffffffff, 0xfffffff0};
        if (index.empty() || _oneIn(8)) {
            index.insert(index.end(), {static_cast<uint32_t>(_below(9)), _any(edges), _any(edges)});
            return;
        }
        const auto record = index.begin() + _below(index.size() / 3) * 3;
        if (_oneIn(6)) {
            index.erase(record, record + 3);
        } else if (_oneIn(4)) {
            const std::vector<uint32_t> copy(record, record + 3);
            index.insert(index.end(), copy.begin(), copy.end());
        } else if (_oneIn(2)) {
            *(record + _below(3)) = _any(edges);
        } else {
            *(record + _below(3)) += static_cast<uint32_t>(_below(65)) - 32;
        }
    }

    void _moveChunks(Movie& movie) {
        auto& chunks = movie.chunks;
        const auto chosen = chunks.begin() + _below(chunks.size());
        if (_oneIn(3)) {
            chunks.erase(chosen);
        } else if (_oneIn(2)) {
            std::swap(*chosen, _any(chunks));
        } else if (chunks.size() < 32) {
            const Chunk copy = *chosen;
            chunks.insert(chosen, copy);
        }
        if (!_oneIn(4)) rebuildIndex(movie);
    }

    std::minstd_rand _random;
    qsizetype _maxSize;
};

QByteArray wrapped(const uint8_t* data, size_t size) {
    return {reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)};
}

size_t copied(const QByteArray& bytes, uint8_t* out) {
    std::memcpy(out, bytes.constData(), static_cast<size_t>(bytes.size()));
    return static_cast<size_t>(bytes.size());
}

}  // namespace

}  // namespace mz::fuzz

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t maxSize,
                                          unsigned int seed) {
    using namespace mz::fuzz;
    Mutator mutator(seed, static_cast<qsizetype>(maxSize));
    return copied(mutator.mutated(wrapped(data, size)), data);
}

extern "C" size_t LLVMFuzzerCustomCrossOver(const uint8_t* data1, size_t size1,
                                            const uint8_t* data2, size_t size2, uint8_t* out,
                                            size_t maxOutSize, unsigned int seed) {
    using namespace mz::fuzz;
    Mutator mutator(seed, static_cast<qsizetype>(maxOutSize));
    return copied(mutator.crossed(wrapped(data1, size1), wrapped(data2, size2)), out);
}
