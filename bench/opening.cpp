// Opening a movie, and the two parts of its info chunk by themselves.

#include <libDataIO/attributechunk.h>
#include <libDataIO/chunkindex.h>
#include <libDataIO/imagereader.h>

#include <cstring>
#include <memory>
#include <optional>

#include <bench/hdf5peer.h>
#include <bench/movies.h>
#include <bench/subjects.h>

namespace bench {

namespace {

constexpr int movieAttributes = 40;
constexpr int attributeCount = 20'000;
constexpr unsigned int recordCount = 100'000;

int64_t microseconds(timeval time) {
    return int64_t{time.tv_sec} * 1'000'000 + time.tv_usec;
}

/// A power as the byte that a movie keeps.
Sum powerStep(float power) {
    return static_cast<Sum>(power * 254.0F + 0.5F);
}

Sum sumOfKnowledge(const Material& material) {
    Sum sum = sumOf(material.frame(0), material.frameBytes());
    for (int i = 0; i < material.frames(); ++i) {
        const FrameData data = dataOfFrame(i);
        sum += static_cast<Sum>(microseconds(data.time)) + powerStep(data.power);
    }
    return sum;
}

Sum sumOfMovie(const QString& path) {
    mz::ImageReader reader(path);
    Sum sum = sumFrames(reader, {0});
    timeval time{};
    float power = 0;
    for (unsigned int i = 0; i < reader.nbFrames(); ++i) {
        if (reader.getFrameTiming(i, time)) sum += static_cast<Sum>(microseconds(time));
        if (reader.getLaserPower(i, power)) sum += powerStep(power);
    }
    return sum;
}

struct Hdf5Knowledge {
    std::vector<int64_t> times;
    std::vector<float> powers;
    Sum frame = 0;

    Hdf5Knowledge(const QString& path, const Material& material) {
        Hdf5Reader reader(path);
        times = reader.times();
        powers = reader.powers();
        reader.readAttributes();
        std::vector<uint16_t> pixels(material.frameBytes() / 2);
        reader.read(0, pixels.data());
        frame = sumOf(pixels.data(), material.frameBytes());
    }

    Sum sum() const {
        Sum all = frame;
        for (const int64_t time : times)
            all += static_cast<Sum>(time);
        for (const float power : powers)
            all += powerStep(power);
        return all;
    }
};

void recordWithKnowledge(const QString& path, const Material& material) {
    std::vector<int64_t> times;
    std::vector<float> powers;
    Hdf5Writer writer(path, material);
    for (int i = 0; i < material.frames(); ++i) {
        writer.add(material.frame(i));
        times.push_back(microseconds(dataOfFrame(i).time));
        powers.push_back(dataOfFrame(i).power);
    }
    writer.addKnowledge(times, powers, movieAttributes);
}

void compareOpening(const Context& context, int frames, double goal) {
    const Material material = context.large.cut(16, 16, frames);
    const QString movie = context.path("movie");
    const QString hdf5 = context.path("frames.h5");
    const Scratch scratch({movie, hdf5});
    record(movie, material, mz::CompressionType::None, mz::CompressionEffort::Standard,
           movieAttributes);
    recordWithKnowledge(hdf5, material);

    // Timed is the opening, all times and powers in memory then, and one frame; whether they are
    // right is seen outside.
    Comparison comparison;
    comparison.title = "Opening a movie of " + std::to_string(frames) +
                       " frames: index, 40 attributes, times, powers and one frame";
    comparison.isShort = true;
    comparison.repeats = frames > 10'000 ? 10 : 100;
    comparison.expected = sumOfKnowledge(material);
    comparison.goals = {{"DataIO", "HDF5", goal}};
    const std::vector<int> firstFrame{0};
    comparison.cases = {{"DataIO",
                         [&] { return sumFrames(movie, firstFrame); },
                         {},
                         [&] { return sumOfMovie(movie); }},
                        {"HDF5",
                         [&] { return Hdf5Knowledge(hdf5, material).frame; },
                         {},
                         [&] { return Hdf5Knowledge(hdf5, material).sum(); }}};
    context.harness.run(comparison);
}

struct StoredRecord {
    uint32_t type;
    uint32_t offset;
    uint32_t length;
};

void compareIndex(const Context& context) {
    mz::ChunkIndex written;
    Sum expected = 0;
    for (uint32_t i = 0; i < recordCount; ++i) {
        written[mz::MZ_CT_FRAME].push_back({i * 100, 68 + i % 2});
        expected += i * 100 + 68 + i % 2;
    }
    int size = 0;
    const std::unique_ptr<char[]> stored(written.save(size));

    std::optional<mz::ChunkIndex> index;
    std::vector<StoredRecord> records;
    Comparison comparison;
    comparison.title = "An index of " + std::to_string(recordCount) + " records";
    comparison.isShort = true;
    comparison.repeats = 20;
    comparison.expected = expected;
    comparison.goals = {{"DataIO", "one vector of records", 0.65}};
    comparison.cases = {
        {"DataIO",
         [&] {
             return static_cast<Sum>(index->load(stored.get(), static_cast<unsigned int>(size)));
         },
         [&] { index.emplace(); },
         [&] {
             Sum sum = 0;
             for (const mz::ChunkRecord& record : *index->find(mz::MZ_CT_FRAME))
                 sum += record.offset + record.length;
             return sum;
         }},
        {"one vector of records",
         [&] {
             records.reserve(recordCount);
             for (const char* at = stored.get() + 4; at != stored.get() + size;
                  at += sizeof(StoredRecord)) {
                 StoredRecord record;
                 std::memcpy(&record, at, sizeof record);
                 records.push_back(record);
             }
             return Sum{0};
         },
         [&] { records = {}; },
         [&] {
             Sum sum = 0;
             for (const StoredRecord& record : records)
                 sum += record.offset + record.length;
             return sum;
         }}};
    context.harness.run(comparison);
}

/// Length of all keys and values, by looking at each byte once.
Sum findLinesAndEquals(const QByteArray& text) {
    Sum sum = 0;
    const char* line = text.constData();
    const char* equals = nullptr;
    for (const char* at = line; at != text.constData() + text.size(); ++at) {
        if (*at == '=' && equals == nullptr) {
            equals = at;
        } else if (*at == '\n') {
            if (equals != nullptr) sum += static_cast<Sum>(at - line - 1);
            line = at + 1;
            equals = nullptr;
        }
    }
    return sum;
}

/// The same in jumps, with the C library's search of 32 bytes at once.
Sum jumpToLinesAndEquals(const QByteArray& text) {
    Sum sum = 0;
    const char* line = text.constData();
    const char* const end = line + text.size();
    const auto next = [end](const char* from, char c) {
        return static_cast<const char*>(std::memchr(from, c, static_cast<size_t>(end - from)));
    };
    while (line != end) {
        const char* equals = next(line, '=');
        const char* lineEnd = next(equals, '\n');
        sum += static_cast<Sum>(lineEnd - line - 1);
        line = lineEnd + 1;
    }
    return sum;
}

void compareAttributes(const Context& context) {
    mz::AttributeChunk written;
    for (int i = 0; i < attributeCount; ++i)
        written.set(QStringLiteral("plug_setting_%1").arg(i), QStringLiteral("value %1").arg(i));
    QByteArray text;
    written.dumpLatin1(text);

    std::optional<mz::AttributeChunk> attributes;
    Comparison comparison;
    comparison.title = std::to_string(attributeCount) + " attributes, " +
                       std::to_string(text.size() / 1000) + " kB of text";
    comparison.repeats = 3;
    comparison.expected = findLinesAndEquals(text);
    comparison.goals = {{"DataIO", "lines and \"=\" found", 0.22}};
    comparison.cases = {{"DataIO",
                         [&] {
                             attributes->parseLatin1(text.constData(), text.size());
                             return Sum{0};
                         },
                         [&] { attributes.emplace(); },
                         [&] {
                             Sum sum = 0;
                             for (const auto& [key, value] : attributes->attributes())
                                 sum += static_cast<Sum>(key.size() + value._val.size());
                             return sum;
                         }},
                        {"lines and \"=\" found", [&] { return findLinesAndEquals(text); }},
                        {"the same with memchr", [&] { return jumpToLinesAndEquals(text); }}};
    context.harness.run(comparison);
}

}  // namespace

void compareOpening(const Context& context) {
    compareOpening(context, 1'000, 2.5);
    compareOpening(context, 10'000, 2.0);
    compareOpening(context, 100'000, 0.9);
}

void compareParsing(const Context& context) {
    compareIndex(context);
    compareAttributes(context);
}

}  // namespace bench
