// record OUTPUT PICTURE...: makes a movie of pictures, one frame each.

#include <libDataIO/imagewriter.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QImageReader>

#include <examples/support/console.h>
#include <examples/support/options.h>
#include <examples/support/output.h>
#include <examples/support/pictures.h>

using examples::Error;

namespace {

int bitsOption(const QCommandLineParser& parser, const examples::PictureSeries& series) {
    const QString bits = parser.value(QStringLiteral("bits"));
    if (bits.isEmpty()) return series.bits;
    if (bits != QLatin1String("8") && bits != QLatin1String("16"))
        throw Error(QStringLiteral("--bits takes 8 or 16, not \"%1\"").arg(bits));
    if (bits.toInt() < series.bits)
        throw Error(
            QStringLiteral("these pictures have 16 bits; --bits 8 would lose half of them"));
    return bits.toInt();
}

timeval timeOfFrame(timeval start, int frame, int periodMilliseconds) {
    const qint64 microseconds = start.tv_usec + qint64(frame) * periodMilliseconds * 1000;
    timeval time;
    time.tv_sec = start.tv_sec + microseconds / 1000000;
    time.tv_usec = microseconds % 1000000;
    return time;
}

// The pictures that are left when folders are replaced by what they hold.
QStringList picturesNamed(const QStringList& names) {
    QStringList files;
    for (const QString& name : names)
        files += QFileInfo(name).isDir() ? examples::picturesOf(name) : QStringList(name);
    return files;
}

void record(const QCommandLineParser& parser) {
    QStringList arguments = parser.positionalArguments();
    if (arguments.size() < 2)
        throw Error(QStringLiteral("give a movie to write and at least one picture (see --help)"));
    const QString movie = arguments.takeFirst();
    const auto compression = examples::compressionOf(parser);
    const int period = examples::numberOption(parser, QStringLiteral("period"), 1, 3600000);
    const examples::PictureSeries series = examples::surveyPictures(picturesNamed(arguments));
    const int bits = bitsOption(parser, series);
    if (compression != mz::CompressionType::None && bits != 16)
        throw Error(QStringLiteral(
            "8-bit pictures cannot be recorded compressed: a compressed frame always reads back as "
            "16-bit samples. Record them with --compression none, or as 16-bit samples with "
            "--bits 16"));
    if (!QImageReader::imageFormat(movie).isEmpty())
        throw Error(QStringLiteral("%1 is a picture; name the movie to write first").arg(movie));

    examples::Output output(movie, examples::forceOf(parser));
    mz::ImageWriter writer;
    writer.create(output.path(), false);
    writer.width(series.width);
    writer.height(series.height);
    writer.pixType(bits == 16 ? mz::MZ_USHORT : mz::MZ_UCHAR);
    writer.dimension(2);
    writer.frameDelay(period);
    writer.setCompression(compression);
    writer.setCompressionEffort(examples::effortOf(parser));
    if (parser.isSet(QStringLiteral("comment")))
        writer.setComment(parser.value(QStringLiteral("comment")));

    timeval start;
    gettimeofday(&start, nullptr);
    const int count = static_cast<int>(series.files.size());
    examples::Progress progress(QStringLiteral("Recording"), count);
    for (int frame = 0; frame < count; ++frame) {
        const QByteArray samples = examples::loadSamples(series.files[frame], series, bits);
        writer.addFrame(samples.constData(), timeOfFrame(start, frame, period));
        progress.advance();
        examples::Output::stopIfInterrupted();
    }
    writer.close();
    output.finish();
    examples::print(movie + QStringLiteral(": %1 frames of %2 x %3 pixels, %4 bits, %5")
                                .arg(count)
                                .arg(series.width)
                                .arg(series.height)
                                .arg(bits)
                                .arg(examples::bytesText(QFileInfo(movie).size())));
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Makes a movie of pictures, one frame each, in the order given. Pictures are taken as grey "
        "ones of 8 or 16 bits and must all have the same size."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("movie"), QStringLiteral("The movie to write."));
    parser.addPositionalArgument(
        QStringLiteral("pictures"),
        QStringLiteral("Pictures, or folders of pictures (taken in the order of their names)."),
        QStringLiteral("pictures..."));
    parser.addOptions(
        {examples::compressionOption(
             QStringLiteral("none (default), z, gz or bz2; 16-bit pictures only.")),
         examples::fastOption(),
         {QStringLiteral("bits"),
          QStringLiteral("8 or 16; by default what the pictures have. 16 widens 8-bit pictures."),
          QStringLiteral("number")},
         {QStringLiteral("comment"), QStringLiteral("A comment to keep in the movie."),
          QStringLiteral("text")},
         {QStringLiteral("period"),
          QStringLiteral("Time from frame to frame in milliseconds, 83 by default."),
          QStringLiteral("ms"), QStringLiteral("83")},
         examples::forceOption(QStringLiteral("Overwrite a movie that exists already."))});
    parser.process(app);
    return examples::runProgram("record", [&] { record(parser); });
}
