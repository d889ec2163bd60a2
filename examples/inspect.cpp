// inspect MOVIE: prints what a movie holds.

#include <libDataIO/chunkinfo.h>
#include <libDataIO/filereader.h>
#include <libDataIO/imagereader.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QFileInfo>
#include <QTimeZone>

#include <algorithm>

#include <examples/support/console.h>
#include <examples/support/movie.h>

using examples::Error;
using examples::Facts;
using examples::Table;

namespace {

// The index is below what ImageReader shows, so it is read as ImageReader itself does: from the
// last chunk of the file.
mz::ChunkInfo readInfoChunk(const QString& movie) {
    mz::FileReader file;
    file.openFile(movie);
    mz::ChunkInfo info;
    if (file.seekEnd() && file.prevChunk(mz::MZ_CT_INFO)) info.load(file.data(), file.chunkSize());
    return info;
}

double secondsBetween(timeval from, timeval to) {
    return static_cast<double>(to.tv_sec - from.tv_sec) +
           1e-6 * static_cast<double>(to.tv_usec - from.tv_usec);
}

QString number(double value, int decimals) {
    return QString::number(value, 'f', decimals);
}

QString range(double low, double high, int decimals) {
    return low == high
               ? number(low, decimals)
               : QStringLiteral("%1 to %2").arg(number(low, decimals), number(high, decimals));
}

QString sizeText(const mz::ImageReader& reader) {
    int width = 0;
    int height = 0;
    if (!reader.width(width) || !reader.height(height)) return QStringLiteral("not stated");
    return QStringLiteral("%1 x %2 pixels").arg(width).arg(height);
}

QString pixelText(const mz::ImageReader& reader) {
    mz::MZImagePixelType type = mz::MZ_UNKNOWN;
    int bits = 0;
    if (!reader.pixType(type) || !reader.pixBits(bits)) return QStringLiteral("not stated");
    QString name = QStringLiteral("type %1").arg(type);
    PixelTypeToQstring(type, name);
    return QStringLiteral("%1, %2 bits").arg(name).arg(bits);
}

QString compressionText(const mz::ImageReader& reader) {
    QString kind = QStringLiteral("none");
    reader.attribute(QStringLiteral("compression_type"), kind);
    return kind;
}

QString dataTypeText(const mz::ImageReader& reader) {
    const QString type = reader.dataType();
    return type == QLatin1String("vec") ? QStringLiteral("vec (vectorized: one sample a fibre)")
                                        : type;
}

QString byteOrderText(const mz::ImageReader& reader) {
    switch (reader.endian()) {
        case 0:
            return QStringLiteral("not stated, taken as little-endian");
        case 2:
            return QStringLiteral("little-endian");
        default:
            return QStringLiteral("big-endian");
    }
}

QString startText(const mz::ImageReader& reader, timeval first) {
    bool known = false;
    bool trustworthy = false;
    const int offset = reader.utcOffsetSeconds(known, trustworthy);
    const auto utc = QDateTime::fromSecsSinceEpoch(first.tv_sec, Qt::UTC);
    if (!known) return utc.toString(QStringLiteral("yyyy-MM-dd hh:mm:ss 'UTC'"));
    const QString doubt =
        trustworthy ? QString() : QStringLiteral(" (time zone not to be trusted)");
    return utc.toOffsetFromUtc(offset).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss t")) + doubt;
}

Facts timingFacts(const mz::ImageReader& reader) {
    std::vector<timeval> times;
    for (unsigned int i = 0; i < reader.nbFrames(); ++i)
        if (auto time = reader.getFrameTiming(i)) times.push_back(*time);
    if (times.empty()) return {{QStringLiteral("recorded"), QStringLiteral("no times kept")}};

    Facts facts{{QStringLiteral("recorded"), startText(reader, times.front())}};
    if (times.size() < 2) return facts;
    const double duration = secondsBetween(times.front(), times.back());
    double shortest = duration;
    double longest = 0;
    for (std::size_t i = 1; i < times.size(); ++i) {
        const double period = secondsBetween(times[i - 1], times[i]);
        shortest = std::min(shortest, period);
        longest = std::max(longest, period);
    }
    const double mean = duration / static_cast<double>(times.size() - 1);
    facts.emplace_back(QStringLiteral("duration"),
                       number(duration, 3) + QStringLiteral(" s from first to last frame"));
    facts.emplace_back(QStringLiteral("frame period"),
                       QStringLiteral("%1 ms (%2)")
                           .arg(number(1e3 * mean, 3), range(1e3 * shortest, 1e3 * longest, 3)));
    if (mean > 0)
        facts.emplace_back(QStringLiteral("frame rate"),
                           number(1 / mean, 2) + QStringLiteral(" frames/s"));
    return facts;
}

QString laserText(const mz::ImageReader& reader) {
    float low = 2;
    float high = -1;
    for (unsigned int i = 0; i < reader.nbFrames(); ++i)
        if (auto power = reader.getLaserPower(i)) {
            low = std::min(low, *power);
            high = std::max(high, *power);
        }
    if (high < 0) return QStringLiteral("not stated");
    return range(low, high, 3) + QStringLiteral(" of full power");
}

QString fibreText(const mz::ImageReader& reader) {
    const int fibres = reader.nbFibers(mz::ImageReader::NoFiberFiltering);
    return fibres == 0 ? QStringLiteral("none stored") : QString::number(fibres);
}

// A number that stands for the samples of all frames, to compare movies by.
QString digest(mz::ImageReader& reader) {
    QCryptographicHash hash(QCryptographicHash::Sha256);
    examples::Progress progress(QStringLiteral("Reading"), static_cast<int>(reader.nbFrames()));
    for (unsigned int i = 0; i < reader.nbFrames(); ++i) {
        const examples::StoredFrame frame = examples::storedFrame(reader, i);
        hash.addData(QByteArrayView(static_cast<const char*>(frame.samples), frame.bytes));
        progress.advance();
    }
    return QString::fromLatin1(hash.result().toHex());
}

void printOverview(mz::ImageReader& reader, const QString& movie, bool withDigest) {
    Facts facts{{QStringLiteral("file"), movie},
                {QStringLiteral("file size"), examples::bytesText(QFileInfo(movie).size())},
                {QStringLiteral("frames"), QString::number(reader.nbFrames())},
                {QStringLiteral("size"), sizeText(reader)},
                {QStringLiteral("pixel type"), pixelText(reader)},
                {QStringLiteral("data type"), dataTypeText(reader)},
                {QStringLiteral("byte order"), byteOrderText(reader)},
                {QStringLiteral("compression"), compressionText(reader)}};
    const Facts timing = timingFacts(reader);
    facts.insert(facts.end(), timing.begin(), timing.end());
    facts.emplace_back(QStringLiteral("laser power"), laserText(reader));
    facts.emplace_back(QStringLiteral("fibres"), fibreText(reader));
    const QString comment = reader.getComment();
    facts.emplace_back(QStringLiteral("comment"),
                       comment.isEmpty() ? QStringLiteral("none") : comment);
    if (!reader.getSpecificComment().isEmpty())
        facts.emplace_back(QStringLiteral("second comment"), reader.getSpecificComment());
    if (withDigest) facts.emplace_back(QStringLiteral("digest"), digest(reader));
    examples::printFacts(facts);
}

void printIndex(mz::ChunkInfo& info) {
    static const char* const names[] = {"header",        "palette",      "frames",
                                        "thumbnails",    "index",        "info",
                                        "fibre centres", "frame timers", "laser powers"};
    Table table({QStringLiteral("index"), QStringLiteral("chunks"), QStringLiteral("payload bytes"),
                 QStringLiteral("first offset")});
    for (int type = 0; type < static_cast<int>(std::size(names)); ++type) {
        if (!info.has(type)) continue;
        const auto& records = info[type];
        qint64 bytes = 0;
        for (const mz::ChunkRecord& record : records)
            bytes += record.length;
        table.addRow({QLatin1String(names[type]), QString::number(records.size()),
                      QString::number(bytes),
                      records.empty() ? QString() : QString::number(records.front().offset)});
    }
    table.print();
}

void printAttributes(const mz::AttributeChunk& attributes) {
    examples::print(QStringLiteral("  %1 attributes").arg(attributes.attributes().size()));
    examples::printFacts(examples::attributeFacts(attributes));
}

void printFrames(const mz::ImageReader& reader, mz::ChunkInfo& info) {
    Table table({QStringLiteral("frame"), QStringLiteral("offset"), QStringLiteral("payload bytes"),
                 QStringLiteral("seconds"), QStringLiteral("laser power")});
    const auto& records = info[mz::MZ_CT_FRAME];
    const auto start = reader.getFrameTiming(0);
    for (unsigned int i = 0; i < reader.nbFrames() && i < records.size(); ++i) {
        const auto time = reader.getFrameTiming(i);
        const auto power = reader.getLaserPower(i);
        table.addRow({QString::number(i), QString::number(records[i].offset),
                      QString::number(records[i].length),
                      time ? number(secondsBetween(*start, *time), 6) : QStringLiteral("-"),
                      power ? number(*power, 3) : QStringLiteral("-")});
    }
    table.print();
}

void inspect(const QCommandLineParser& parser) {
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() != 1) throw Error(QStringLiteral("give one movie to read (see --help)"));
    // Without a reconstruction service: nothing here looks at pictures.
    mz::ImageReader reader(arguments[0]);
    printOverview(reader, arguments[0], parser.isSet(QStringLiteral("digest")));
    if (parser.isSet(QStringLiteral("brief"))) return;

    mz::ChunkInfo info = readInfoChunk(arguments[0]);
    examples::print(QString());
    printIndex(info);
    examples::print(QString());
    printAttributes(info);
    if (parser.isSet(QStringLiteral("frames"))) {
        examples::print(QString());
        printFrames(reader, info);
    }
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Prints what a movie holds: its header, its index, all attributes and how its frames were "
        "timed."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("movie"), QStringLiteral("The movie to read."));
    parser.addOptions(
        {{QStringLiteral("frames"), QStringLiteral("List each frame, too.")},
         {QStringLiteral("brief"), QStringLiteral("Leave out the index and the attributes.")},
         {QStringLiteral("digest"),
          QStringLiteral("Read every frame and print the SHA-256 of their samples.")}});
    parser.process(app);
    return examples::runProgram("inspect", [&] { inspect(parser); });
}
