// demo [FOLDER-OF-PICTURES]: records one movie in several forms and lets other processes read
// them back.

#include <libDataIO/imagewriter.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>

#include <memory>

#include <examples/support/console.h>
#include <examples/support/contactsheet.h>
#include <examples/support/options.h>
#include <examples/support/pictures.h>
#include <examples/support/source.h>

using examples::Error;
using examples::FrameSource;

namespace {

// The same acquisition, recorded three times.
struct Form {
    const char* name;
    const char* description;
    mz::CompressionType::e compression;
    bool vectorized;
};
constexpr Form forms[] = {
    {"raw", "every pixel as it is", mz::CompressionType::None, false},
    {"gzip", "every pixel, each frame compressed", mz::CompressionType::GZip, false},
    {"vectorized", "one sample a fibre, reconstructed when read", mz::CompressionType::None, true}};

struct Movie {
    QString name;
    QString file;
    QString digest;  // of the samples that were recorded
    qint64 milliseconds = 0;
    bool readBack = false;
};

void writeHeader(mz::ImageWriter& writer, const FrameSource& source, const Form& form) {
    writer.width(source.width());
    writer.height(source.height());
    writer.dimension(2);
    writer.pixType(source.bits() == 8 ? mz::MZ_UCHAR : mz::MZ_USHORT);
    writer.frameDelay(1000 / FrameSource::framesPerSecond);
    writer.setCompression(form.compression);
    writer.setComment(
        source.description() +
        QStringLiteral("\n%1: %2").arg(QLatin1String(form.name), QLatin1String(form.description)));
    const auto& bundle = source.bundle();
    writer.addRasterFiberContinuousIndexes(bundle.fibres);
    writer.addBundleBoundingBoxCoords(
        bundle.centreX - bundle.radius, bundle.centreY - bundle.radius,
        bundle.centreX + bundle.radius, bundle.centreY + bundle.radius);
}

QByteArray fibreSamples(const FrameSource& source, const QByteArray& image) {
    const auto samples =
        examples::sampleFibres(reinterpret_cast<const std::uint16_t*>(image.constData()),
                               source.width(), source.height(), source.bundle().fibres);
    return QByteArray(reinterpret_cast<const char*>(samples.data()),
                      static_cast<qsizetype>(2 * samples.size()));
}

Movie recordMovie(FrameSource& source, const Form& form, const QString& file) {
    Movie movie{QLatin1String(form.name), file, {}, 0, false};
    QElapsedTimer clock;
    clock.start();
    // Compressed and vectorized frames are 16-bit samples.
    source.widen(form.vectorized || form.compression != mz::CompressionType::None);

    mz::ImageWriter writer;
    writer.create(file, false);
    writeHeader(writer, source, form);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    examples::Progress progress(QStringLiteral("Recording ") + QLatin1String(form.name),
                                source.count());
    for (int frame = 0; frame < source.count(); ++frame) {
        QByteArray samples = source.image(frame);
        if (form.vectorized) samples = fibreSamples(source, samples);
        writer.addFrame(samples.constData(), static_cast<int>(samples.size()), source.time(frame),
                        source.laserPower(frame));
        hash.addData(samples);
        progress.advance();
    }
    writer.close();
    movie.digest = QString::fromLatin1(hash.result().toHex());
    movie.milliseconds = clock.elapsed();
    return movie;
}

// Runs another example program, so that nothing of this process is left in what is read.
QString runExample(const QString& program, const QStringList& arguments,
                   QProcess::ProcessChannelMode channels = QProcess::ForwardedErrorChannel) {
    QProcess process;
    process.setProcessChannelMode(channels);
    process.start(QCoreApplication::applicationDirPath() + QLatin1Char('/') + program, arguments);
    if (!process.waitForFinished(-1) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        throw Error(QStringLiteral("%1 %2 failed").arg(program, arguments.join(QLatin1Char(' '))));
    return QString::fromLocal8Bit(process.readAllStandardOutput());
}

void readBack(Movie& movie) {
    examples::print(
        QStringLiteral("\n%1, as another process reads it:").arg(QFileInfo(movie.file).fileName()));
    const QString text =
        runExample(QStringLiteral("inspect"),
                   {QStringLiteral("--brief"), QStringLiteral("--digest"), movie.file});
    examples::print(text.trimmed().prepend(QStringLiteral("  ")));
    movie.readBack = text.contains(movie.digest);
}

void extractPictures(const Movie& movie, int frames, const QString& folder) {
    for (const int frame : {0, frames / 2, frames - 1})
        runExample(QStringLiteral("extract"),
                   {QStringLiteral("--stretch"), QStringLiteral("--force"),
                    QStringLiteral("--first"), QString::number(frame), QStringLiteral("--last"),
                    QString::number(frame), movie.file, folder});
}

// The other compressions, made of the gzip movie.
Movie recompressMovie(const Movie& original, const QString& name, const QString& compression,
                      const QString& file) {
    QElapsedTimer clock;
    clock.start();
    runExample(QStringLiteral("recompress"),
               {QStringLiteral("--force"), QStringLiteral("--compression"), compression,
                original.file, file},
               QProcess::ForwardedChannels);
    return {name, file, original.digest, clock.elapsed(), false};
}

void printComparison(const std::vector<Movie>& movies) {
    const qint64 raw = QFileInfo(movies.front().file).size();
    examples::Table table({QStringLiteral("movie"), QStringLiteral("file"),
                           QStringLiteral("of raw"), QStringLiteral("written in"),
                           QStringLiteral("read back")});
    for (const Movie& movie : movies) {
        const qint64 size = QFileInfo(movie.file).size();
        const double share = 100.0 * static_cast<double>(size) / static_cast<double>(raw);
        table.addRow({movie.name, examples::bytesText(size),
                      QString::number(share, 'f', 1) + QStringLiteral(" %"),
                      QString::number(1e-3 * static_cast<double>(movie.milliseconds), 'f', 1) +
                          QStringLiteral(" s"),
                      movie.readBack ? QStringLiteral("every sample as recorded")
                                     : QStringLiteral("DIFFERENT")});
    }
    examples::print(QString());
    table.print();
}

std::unique_ptr<FrameSource> sourceOf(const QCommandLineParser& parser) {
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() > 1) throw Error(QStringLiteral("give at most one folder (see --help)"));
    if (arguments.size() == 1) return examples::pictureSource(arguments[0]);
    return examples::simulatedSource(
        examples::numberOption(parser, QStringLiteral("frames"), 1, 5000));
}

std::vector<Movie> makeMovies(FrameSource& source, const QDir& folder, bool force) {
    const auto fileOf = [&](const char* name) {
        QString file = folder.absoluteFilePath(QLatin1String(name) + QStringLiteral(".movie"));
        examples::refuseToOverwrite(file, force);
        return file;
    };
    std::vector<Movie> movies;
    for (const Form& form : forms)
        movies.push_back(recordMovie(source, form, fileOf(form.name)));
    const Movie gzip = movies[1];
    movies.push_back(
        recompressMovie(gzip, QStringLiteral("zlib"), QStringLiteral("z"), fileOf("zlib")));
    movies.push_back(
        recompressMovie(gzip, QStringLiteral("bzip2"), QStringLiteral("bz2"), fileOf("bzip2")));
    return movies;
}

QString saveContactSheet(const std::vector<Movie>& movies, const QDir& folder) {
    QList<examples::ContactRow> rows;
    for (const Movie& movie : movies)
        rows.append({movie.name, movie.file});
    QString file = folder.absoluteFilePath(QStringLiteral("contact-sheet.png"));
    examples::savePng(examples::contactSheet(rows), file);
    return file;
}

void demo(const QCommandLineParser& parser) {
    const auto source = sourceOf(parser);
    const QDir folder(parser.value(QStringLiteral("output")));
    const QString pictures = folder.absoluteFilePath(QStringLiteral("pictures"));
    if (!folder.mkpath(pictures))
        throw Error(QStringLiteral("the folder %1 cannot be made").arg(pictures));

    examples::print(source->description());
    std::vector<Movie> movies = makeMovies(*source, folder, examples::forceOf(parser));
    for (Movie& movie : movies) {
        readBack(movie);
        extractPictures(movie, source->count(), pictures);
    }
    printComparison(movies);
    const QString sheet = saveContactSheet(movies, folder);
    examples::print(QStringLiteral("\nMovies:         %1\nSome frames:    %2\nContact sheet:  %3")
                        .arg(folder.absolutePath(), pictures, sheet));
    for (const Movie& movie : movies)
        if (!movie.readBack)
            throw Error(QStringLiteral("%1 did not come back as it was recorded").arg(movie.file));
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Records a movie raw, compressed and vectorized, reads each form back with other programs "
        "and writes some of the frames as pictures. Without a folder it simulates an acquisition "
        "of "
        "the instrument."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("folder"),
                                 QStringLiteral("Pictures to record, in the order of their names."),
                                 QStringLiteral("[folder]"));
    parser.addOptions(
        {{QStringLiteral("output"), QStringLiteral("Where the movies go; \"movies\" by default."),
          QStringLiteral("folder"), QStringLiteral("movies")},
         {QStringLiteral("frames"), QStringLiteral("Frames to simulate, 120 by default."),
          QStringLiteral("number"), QStringLiteral("120")},
         examples::forceOption(QStringLiteral("Overwrite movies that exist already."))});
    parser.process(app);
    return examples::runProgram("demo", [&] { demo(parser); });
}
