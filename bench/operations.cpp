// Single operations and what they cost, by Google Benchmark. A name tells the operation and the
// size of the frame; --benchmark_filter chooses.

#include <libDataIO/attributechunk.h>
#include <libDataIO/chunkindex.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/paldatagenerator.h>

#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#include <memory>

#include <bench/movies.h>

namespace {

using namespace bench;
using mz::CompressionEffort::Fast;
using mz::CompressionEffort::Standard;
using Type = mz::CompressionType::e;
using Effort = mz::CompressionEffort::e;

struct Setting {
    const char* name;
    Type type;
    Effort effort;
};

constexpr Setting settings[] = {{"raw", mz::CompressionType::None, Standard},
                                {"zlib", mz::CompressionType::ZLib, Standard},
                                {"zlib-fast", mz::CompressionType::ZLib, Fast},
                                {"gzip", mz::CompressionType::GZip, Standard},
                                {"gzip-fast", mz::CompressionType::GZip, Fast},
                                {"bzip2", mz::CompressionType::BZip2, Standard}};

/// Where files are made: beside the program, since a temporary folder is often no disk.
QString scratchPath(const char* name) {
    static const QTemporaryDir folder(QStringLiteral("operations-XXXXXX"));
    return folder.filePath(QString::fromLatin1(name));
}

void countFrames(benchmark::State& state, const Material& material) {
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(material.frameBytes()));
}

void addFrame(benchmark::State& state, const Material& material, const Setting& setting) {
    constexpr int framesPerFile = 2'000;  // 800 MB of large ones
    const QString path = scratchPath("written");
    mz::ImageWriter writer;
    int frame = 0;
    for (auto _ : state) {
        if (frame % framesPerFile == 0) {
            state.PauseTiming();
            QFile::remove(path);
            writer.create(path, true);
            setHeader(writer, material);
            writer.setCompression(setting.type);
            writer.setCompressionEffort(setting.effort);
            state.ResumeTiming();
        }
        writer.addFrame(material.frame(frame++));
    }
    writer.close();
    QFile::remove(path);
    countFrames(state, material);
}

void getFrame(benchmark::State& state, const Material& material, const Setting& setting) {
    const QString path = scratchPath("read");
    record(path, material.first(30), setting.type, setting.effort);
    mz::ImageReader reader(path);
    unsigned int frame = 0;
    Sum sum = 0;
    Sum expected = 0;
    for (auto _ : state) {
        const void* data = nullptr;
        reader.getFrame(data, frame % 30);
        sum += *static_cast<const unsigned char*>(data);
        expected += material.frame(static_cast<int>(frame++ % 30))[0] & 0xff;
    }
    if (sum != expected) state.SkipWithError("wrong pixels");
    countFrames(state, material);
}

void thumbnail(benchmark::State& state, const Material& material) {
    const QString path = scratchPath("shown");
    record(path, material.first(30));
    mz::ImageReader reader(path);
    QImage image;
    int frame = 0;
    for (auto _ : state)
        if (!reader.thumbnail(image, 160, 125, frame++ % 30)) state.SkipWithError("no thumbnail");
}

void openMovie(benchmark::State& state, const Material& material) {
    const QString path = scratchPath("opened");
    record(path, material.cut(16, 16, static_cast<int>(state.range(0))));
    for (auto _ : state)
        benchmark::DoNotOptimize(mz::ImageReader(path).nbFrames());
}

void loadIndex(benchmark::State& state) {
    mz::ChunkIndex index;
    index[mz::MZ_CT_FRAME].resize(static_cast<size_t>(state.range(0)));
    int size = 0;
    const std::unique_ptr<char[]> stored(index.save(size));
    for (auto _ : state) {
        mz::ChunkIndex loaded;
        benchmark::DoNotOptimize(loaded.load(stored.get(), static_cast<unsigned int>(size)));
    }
}

mz::AttributeChunk attributesOf(const benchmark::State& state) {
    mz::AttributeChunk attributes;
    for (int i = 0; i < state.range(0); ++i)
        attributes.set(QStringLiteral("setting_%1").arg(i), i);
    return attributes;
}

void parseAttributes(benchmark::State& state) {
    QByteArray text;
    attributesOf(state).dumpLatin1(text);
    for (auto _ : state) {
        mz::AttributeChunk parsed;
        parsed.parseLatin1(text.constData(), text.size());
        benchmark::DoNotOptimize(parsed.attributes().size());
    }
}

void dumpAttributes(benchmark::State& state) {
    const mz::AttributeChunk attributes = attributesOf(state);
    for (auto _ : state) {
        QByteArray text;
        attributes.dumpLatin1(text);
        benchmark::DoNotOptimize(text.constData());
    }
}

void findAttribute(benchmark::State& state) {
    const mz::AttributeChunk attributes = attributesOf(state);
    const QString key = QStringLiteral("setting_17");
    int value = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(attributes.get(key, value));
}

void colorTable(benchmark::State& state) {
    mz::MzPalette palette;
    palette.initDefault();
    std::vector<QRgb> table;
    for (auto _ : state) {
        mz::PalDataGenerator<mz::LerpQRGB<mz::IdxSigned16>>()(palette, table,
                                                              mz::MakeSpecificValueBlack, 0x8000);
        benchmark::DoNotOptimize(table.data());
    }
}

void registerFrames(const Material& material) {
    const std::string size = std::to_string(material.frameBytes() / 1024) + "KiB";
    for (const Setting& setting : settings) {
        const std::string kind = std::string(setting.name) + "/" + size;
        benchmark::RegisterBenchmark(("addFrame/" + kind).c_str(), addFrame, material, setting);
        benchmark::RegisterBenchmark(("getFrame/" + kind).c_str(), getFrame, material, setting);
    }
}

}  // namespace

int main(int argc, char** argv) {
    bool areReal = false;
    const Material large = largeFrames(areReal);
    registerFrames(large);
    registerFrames(large.cut(128, 128, 4000));
    benchmark::RegisterBenchmark("thumbnail/400KiB", thumbnail, large);
    benchmark::RegisterBenchmark("open/frames", openMovie, large)->Range(1'000, 100'000);
    benchmark::RegisterBenchmark("index/load", loadIndex)->Range(1'000, 100'000);
    benchmark::RegisterBenchmark("attributes/parse", parseAttributes)->Arg(100)->Arg(10'000);
    benchmark::RegisterBenchmark("attributes/dump", dumpAttributes)->Arg(100)->Arg(10'000);
    benchmark::RegisterBenchmark("attributes/get", findAttribute)->Arg(100)->Arg(10'000);
    benchmark::RegisterBenchmark("palette/table16", colorTable);
    benchmark::AddCustomContext("frames", areReal ? "real" : "generated");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
