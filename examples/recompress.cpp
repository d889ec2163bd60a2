// recompress INPUT OUTPUT: copies a movie, compressed in another way.

#include <libDataIO/imagereader.h>
#include <libDataIO/rsqcompressutil.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <boost/smart_ptr/make_shared.hpp>

#include <examples/support/console.h>
#include <examples/support/movie.h>
#include <examples/support/options.h>
#include <examples/support/output.h>
#include <examples/support/reconstruction.h>

using examples::Error;

namespace {

struct Range {
    int first;
    int last;
};

Range rangeOption(const QCommandLineParser& parser, const QString& movie) {
    const int frames = static_cast<int>(mz::ImageReader(movie).nbFrames());
    const auto option = [&](const QString& name, int ifNotGiven) {
        return parser.isSet(name) ? examples::numberOption(parser, name, 0, frames - 1)
                                  : ifNotGiven;
    };
    const Range range{option(QStringLiteral("first"), 0),
                      option(QStringLiteral("last"), frames - 1)};
    if (frames > 0 && range.last < range.first)
        throw Error(QStringLiteral("--last is before --first"));
    return range;
}

// The library copies a short frame as it is, and in a compressed movie it would look like a whole
// one.
void requireWholeFrames(const QString& movie, Range range) {
    mz::ImageReader reader(movie);
    if (examples::isCompressed(reader)) return;
    for (int frame = range.first; frame <= range.last; ++frame)
        examples::storedFrame(reader, static_cast<unsigned int>(frame));
}

mz::RSQCompress::Vectorization vectorizationOption(const QCommandLineParser& parser) {
    const QString form = parser.value(QStringLiteral("frames"));
    if (form == QLatin1String("same")) return mz::RSQCompress::SameAsInput;
    if (form == QLatin1String("fibres")) return mz::RSQCompress::VectorizeIfPossible;
    if (form == QLatin1String("images")) return mz::RSQCompress::NoVectorization;
    throw Error(QStringLiteral("--frames takes same, fibres or images, not \"%1\"").arg(form));
}

// The library calls a reporter at every frame whose number is not a multiple of 50, but what it
// reports is all or nothing. So the calls are counted here and the amounts left alone.
class FrameCount {
public:
    explicit FrameCount(Range range)
        : _range(range),
          _next(range.first),
          _progress(QStringLiteral("Recompressing"), range.last - range.first + 1) {}

    void operator()(double) {
        examples::Output::stopIfInterrupted();
        if (_next % 50 == 0) ++_next;
        ++_next;
        if (_next <= _range.last) _progress.advanceTo(_next - _range.first);
    }
    void finish() { _progress.advanceTo(_range.last - _range.first + 1); }

private:
    Range _range;
    int _next;
    examples::Progress _progress;
};

void recompress(const QCommandLineParser& parser) {
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() != 2)
        throw Error(QStringLiteral("give a movie to read and one to write (see --help)"));
    const auto compression = examples::compressionOf(parser);
    const auto vectorization = vectorizationOption(parser);
    const Range range = rangeOption(parser, arguments[0]);

    requireWholeFrames(arguments[0], range);

    examples::Output output(arguments[1], examples::forceOf(parser));
    FrameCount count(range);
    mz::ProgressReporter reporter([&](double amount) { count(amount); }, 1.0);
    mz::RSQCompress::compressFile(
        mz::_inputFilename = arguments[0], mz::_outputFilename = output.path(),
        mz::_compression = compression, mz::_vectorization = vectorization,
        mz::_firstFrame = range.first, mz::_lastFrame = range.last, mz::_progress = &reporter,
        mz::_reconstructionService = boost::make_shared<examples::Reconstruction>(),
        mz::_effort = examples::effortOf(parser));
    const qint64 before = QFileInfo(arguments[0]).size();
    const qint64 after = QFileInfo(output.path()).size();
    output.finish();
    count.finish();
    examples::print(
        arguments[1] +
        QStringLiteral(": %1, %2 % of %3")
            .arg(examples::bytesText(after))
            .arg(100.0 * static_cast<double>(after) / static_cast<double>(before), 0, 'f', 1)
            .arg(examples::bytesText(before)));
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Copies a movie with its times, laser powers, fibres and attributes, compressed in another "
        "way, whole or in part. When it fails or is interrupted, nothing is written."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("input"), QStringLiteral("The movie to read."));
    parser.addPositionalArgument(QStringLiteral("output"), QStringLiteral("The movie to write."));
    parser.addOptions(
        {examples::compressionOption(QStringLiteral("none (default), z, gz or bz2.")),
         examples::fastOption(),
         {QStringLiteral("frames"),
          QStringLiteral("same (default); fibres: one sample a fibre where that pays off; images: "
                         "such frames become images again."),
          QStringLiteral("form"), QStringLiteral("same")},
         {QStringLiteral("first"), QStringLiteral("The first frame, counted from 0."),
          QStringLiteral("number")},
         {QStringLiteral("last"), QStringLiteral("The last frame."), QStringLiteral("number")},
         examples::forceOption(QStringLiteral("Overwrite a movie that exists already."))});
    parser.process(app);
    return examples::runProgram("recompress", [&] { recompress(parser); });
}
