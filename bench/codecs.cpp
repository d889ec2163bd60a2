// Compressed frames: reading and writing them, and making one movie of another.

#include <libDataIO/rsqcompressutil.h>

#include <bench/hdf5peer.h>
#include <bench/movies.h>
#include <bench/plain.h>
#include <bench/streams.h>
#include <bench/subjects.h>
#include <bench/tiffpeer.h>

namespace bench {

namespace {

using mz::CompressionEffort::Fast;
using mz::CompressionEffort::Standard;
using mz::CompressionType::BZip2;
using mz::CompressionType::GZip;
using mz::CompressionType::ZLib;
using Type = mz::CompressionType::e;

constexpr int codecFrames = 30;
constexpr int hdf5Level = 6;  // what zlib's default stands for

const char* nameOf(Type type) {
    return type == ZLib ? "zlib" : type == GZip ? "gzip" : "bzip2";
}

std::string bareName(Type type) {
    return std::string("bare ") + (type == BZip2 ? "libbz2" : "zlib");
}

Comparison comparisonOf(const std::string& work, const Material& material) {
    Comparison comparison;
    comparison.title = work + ": " + material.describe().toStdString();
    comparison.expected = material.sum();
    comparison.bytes = material.bytes();
    return comparison;
}

// --- reading

Sum sumBare(const QString& path, Type type, const Material& material,
            decltype(decodeBare)* decode = &decodeBare) {
    const PlainMapping file(path);
    std::vector<uint16_t> frame(material.frameBytes() / 2);
    Sum sum = 0;
    eachPayload(file, material.frames(), [&](const char* stream, size_t size) {
        decode(type, stream, size, frame.data(), material.frameBytes());
        sum += sumOf(frame.data(), material.frameBytes());
    });
    return sum;
}

void recordHdf5(const QString& path, const Material& material) {
    Hdf5Writer writer(path, material, hdf5Level);
    for (int i = 0; i < material.frames(); ++i)
        writer.add(material.frame(i));
}

void compareDecoding(const Context& context, Type type) {
    const Material material = context.large.first(codecFrames);
    const std::vector<int> order = inOrder(material.frames());
    const QString movie = context.path("movie");
    const QString hdf5 = context.path("frames.h5");
    const QString tiff = context.path("frames.tif");
    const Scratch scratch({movie, hdf5, tiff});
    record(movie, material, type);

    Comparison comparison =
        comparisonOf(std::string("Reading ") + nameOf(type) + " frames", material);
    comparison.cases = {{"DataIO", [=] { return sumFrames(movie, order); }},
                        {bareName(type), [=] { return sumBare(movie, type, material); }}};
    if (type == BZip2) {
        comparison.goals = {{"DataIO", bareName(type), 0.96}};
    } else {
        recordHdf5(hdf5, material);
        recordTiff(tiff, material, TiffCompression::Deflate);
        const std::vector<uint64_t> pages = pageOffsets(tiff);
        // What the library could reach at most: its reader is built on this.
        comparison.cases.push_back(
            {"bare libdeflate", [=] { return sumBare(movie, type, material, &decodeLibdeflate); }});
        comparison.cases.push_back(
            {"HDF5 gzip filter", [=] { return sumHdf5(hdf5, material, order); }});
        comparison.cases.push_back(
            {"libtiff deflate", [=] { return sumTiff(tiff, pages, material, order); }});
        comparison.goals = {{"DataIO", bareName(type), 2.1},
                            {"DataIO", "HDF5 gzip filter", 2.2},
                            {"DataIO", "libtiff deflate", 0.88}};
    }
    context.harness.run(comparison);
}

// --- writing

void recordBare(const QString& path, Type type, const Material& material) {
    PlainWriter writer(path);
    std::vector<char> stream;
    for (int i = 0; i < material.frames(); ++i)
        writer.add(stream.data(),
                   encodeBare(type, material.frame(i), material.frameBytes(), stream));
}

Case recordingCase(std::string name, const QString& path, std::function<void()> record,
                   std::function<Sum()> verify) {
    return {std::move(name),
            [record] {
                record();
                return Sum{0};
            },
            [path] { QFile::remove(path); }, std::move(verify)};
}

void compareEncoding(const Context& context, Type type) {
    const Material material = context.large.first(codecFrames);
    const std::vector<int> order = inOrder(material.frames());
    const QString movie = context.path("movie");
    const QString bare = context.path("bare");
    const QString fast = context.path("fast");
    const QString other = context.path("other");
    const Scratch scratch({movie, bare, fast, other});

    Comparison comparison =
        comparisonOf(std::string("Writing ") + nameOf(type) + " frames", material);
    comparison.cases = {recordingCase(
                            "DataIO", movie, [=] { record(movie, material, type); },
                            [=] { return sumBare(movie, type, material); }),
                        recordingCase(
                            bareName(type), bare, [=] { recordBare(bare, type, material); },
                            [=] { return sumBare(bare, type, material); })};
    comparison.goals = {{"DataIO", bareName(type), 0.97}};
    if (type != BZip2) {
        comparison.cases.push_back(recordingCase(
            "DataIO, fast", fast, [=] { record(fast, material, type, Fast); },
            [=] { return sumBare(fast, type, material); }));
        comparison.cases.push_back(recordingCase(
            "libtiff deflate", other,
            [=] { recordTiff(other, material, TiffCompression::Deflate); },
            [=] { return sumTiff(other, pageOffsets(other), material, order); }));
        comparison.goals.push_back({"DataIO, fast", "DataIO", 6.0});
        comparison.goals.push_back({"DataIO, fast", "libtiff deflate", 1.3});
    }
    context.harness.run(comparison);
    if (!haveSameFrames(bare, movie, material.frames()))
        context.harness.wrong(comparison.title + ": not the bytes of the bare library");
}

// --- recompressing

/// @param from None for a movie of raw frames
void recompressBare(const QString& input, Type from, const QString& output, Type to,
                    const Material& material) {
    const PlainMapping file(input);
    PlainWriter writer(output);
    std::vector<char> frame(material.frameBytes());
    std::vector<char> stream;
    eachPayload(file, material.frames(), [&](const char* payload, size_t size) {
        if (from != mz::CompressionType::None) {
            decodeBare(from, payload, size, frame.data(), frame.size());
            payload = frame.data();
        }
        writer.add(stream.data(), encodeBare(to, payload, frame.size(), stream));
    });
}

void compareRecompression(const Context& context, const char* title, Type from, Type to) {
    const Material material = context.large.first(codecFrames);
    const QString input = context.path("input");
    const QString movie = context.path("movie");
    const QString bare = context.path("bare");
    const Scratch scratch({input, movie, bare});
    record(input, material, from);

    Comparison comparison = comparisonOf(title, material);
    comparison.cases = {
        recordingCase(
            "DataIO", movie,
            [=] {
                mz::RSQCompress::compressFile(mz::_inputFilename = input,
                                              mz::_outputFilename = movie, mz::_compression = to);
            },
            [=] { return sumBare(movie, to, material); }),
        recordingCase(
            "bare libraries", bare, [=] { recompressBare(input, from, bare, to, material); },
            [=] { return sumBare(bare, to, material); })};
    comparison.goals = {{"DataIO", "bare libraries", 0.93}};
    context.harness.run(comparison);
    if (!haveSameFrames(bare, movie, material.frames()))
        context.harness.wrong(comparison.title + ": not the bytes of the bare libraries");
}

}  // namespace

void compareDecoding(const Context& context) {
    for (const Type type : {ZLib, GZip, BZip2})
        compareDecoding(context, type);
}

void compareEncoding(const Context& context) {
    for (const Type type : {ZLib, GZip, BZip2})
        compareEncoding(context, type);
}

void compareRecompression(const Context& context) {
    compareRecompression(context, "Recompressing raw frames to gzip", mz::CompressionType::None,
                         GZip);
    compareRecompression(context, "Recompressing gzip frames to bzip2", GZip, BZip2);
}

}  // namespace bench
