// Peak memory, each work in a process of its own. Pages of the movie that are mapped are the
// system's to take back; the others are the process's own.

#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>

#include <QFile>
#include <QProcess>

#include <algorithm>
#include <cstdio>

#include <bench/movies.h>
#include <bench/subjects.h>

namespace bench {

namespace {

struct Memory {
    double privateMiB = 0;
    double mappedMiB = 0;
};

/// What this process has resident now.
Memory memoryNow() {
    QFile status(QStringLiteral("/proc/self/status"));
    status.open(QIODevice::ReadOnly);
    Memory memory;
    for (const QByteArray& line : status.readAll().split('\n')) {
        const double mib =
            line.mid(line.indexOf(':') + 1).simplified().split(' ').first().toDouble() / 1024;
        if (line.startsWith("RssAnon:")) memory.privateMiB = mib;
        if (line.startsWith("RssFile:")) memory.mappedMiB = mib;
    }
    return memory;
}

/// The most above what was resident when it was made.
class Peak {
public:
    Peak() : _start(memoryNow()) {}
    void look() {
        const Memory now = memoryNow();
        _above.privateMiB = std::max(_above.privateMiB, now.privateMiB - _start.privateMiB);
        _above.mappedMiB = std::max(_above.mappedMiB, now.mappedMiB - _start.mappedMiB);
    }
    void print() const { std::printf("%f %f\n", _above.privateMiB, _above.mappedMiB); }

private:
    Memory _start;
    Memory _above;
};

void recordLooking(const QString& path, const Material& material, mz::CompressionType::e type,
                   mz::CompressionEffort::e effort) {
    Peak peak;
    mz::ImageWriter writer;
    writer.create(path, false);
    setHeader(writer, material);
    writer.setCompression(type);
    writer.setCompressionEffort(effort);
    for (int i = 0; i < material.frames(); ++i) {
        const FrameData data = dataOfFrame(i);
        writer.addFrame(material.frame(i), data.time, data.power);
        peak.look();
    }
    writer.close();
    peak.look();
    peak.print();
}

void readLooking(const QString& path, const Material& material) {
    Sum sum = 0;
    Peak peak;
    mz::ImageReader reader(path);
    for (int i = 0; i < material.frames(); ++i) {
        sum += sumFrames(reader, {i});
        peak.look();
    }
    if (sum == material.sum()) peak.print();
}

/// Empty when the child failed.
std::vector<Memory> inChild(const Context& context, const QString& work, const QString& path) {
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QFile::symLinkTarget(QStringLiteral("/proc/self/exe")),
                {QStringLiteral("--folder"), context.folder.path(), QStringLiteral("--memory"),
                 work, path});
    if (!child.waitForFinished(120'000) || child.exitCode() != 0) return {};
    const QList<QByteArray> amounts = child.readAllStandardOutput().simplified().split(' ');
    if (amounts.size() != 2) return {};
    return {Memory{amounts[0].toDouble(), amounts[1].toDouble()}};
}

}  // namespace

bool runMemoryWork(const Context& context, const QString& work, const QString& path) {
    using namespace mz;
    const Material compressed = context.large.first(240);
    if (work == QLatin1String("record"))
        recordLooking(path, context.large, CompressionType::None, CompressionEffort::Standard);
    else if (work == QLatin1String("record-gzip"))
        recordLooking(path, context.large.first(30), CompressionType::GZip,
                      CompressionEffort::Standard);
    else if (work == QLatin1String("record-gzip-fast"))
        recordLooking(path, context.large.first(30), CompressionType::GZip,
                      CompressionEffort::Fast);
    else if (work == QLatin1String("record-bzip2"))
        recordLooking(path, context.large.first(10), CompressionType::BZip2,
                      CompressionEffort::Standard);
    else if (work == QLatin1String("read"))
        readLooking(path, context.large);
    else if (work == QLatin1String("read-gzip"))
        readLooking(path, compressed);
    else if (work == QLatin1String("read-bzip2"))
        readLooking(path, context.large.first(30));
    else
        return false;
    return true;
}

void measureMemory(const Context& context) {
    const QString raw = context.path("movie");
    const QString gzip = context.path("gzip");
    const QString bzip2 = context.path("bzip2");
    const QString output = context.path("output");
    const Scratch scratch({raw, gzip, bzip2, output});
    record(raw, context.large);
    record(gzip, context.large.first(240), mz::CompressionType::GZip, mz::CompressionEffort::Fast);
    record(bzip2, context.large.first(30), mz::CompressionType::BZip2);

    context.harness.heading(
        "Peak memory above what the process had with its frames, frames of 400 KiB");
    std::printf("| work | at most | reached | |\n|---|---|---|---|\n");
    const double frame = static_cast<double>(context.large.frameBytes()) / (1 << 20);
    const auto measure = [&](const char* meaning, const char* work, const QString& path,
                             double privateLimit, double mappedLimit) {
        const std::vector<Memory> peak = inChild(context, QString::fromLatin1(work), path);
        if (peak.empty()) return context.harness.wrong(std::string("memory of ") + work);
        context.harness.amount(std::string(meaning) + ", private", peak[0].privateMiB, privateLimit,
                               "MiB");
        if (mappedLimit > 0)
            context.harness.amount(std::string(meaning) + ", mapped", peak[0].mappedMiB,
                                   mappedLimit, "MiB");
    };
    measure("recording raw frames", "record", output, 1.0, 0);
    measure("recording gzip frames", "record-gzip", output, 1.0 + 1.5 * frame, 0);
    measure("recording gzip frames, fast", "record-gzip-fast", output, 1.0 + 1.5 * frame, 0);
    measure("recording bzip2 frames", "record-bzip2", output, 1.0 + 1.5 * frame, 0);
    measure("reading raw frames in order", "read", raw, 1.0, 64.0 + frame);
    measure("reading gzip frames in order", "read-gzip", gzip, 3.0 + frame, 64.0 + frame);
    measure("reading bzip2 frames in order", "read-bzip2", bzip2, 3.0 + frame, 64.0 + frame);
}

}  // namespace bench
