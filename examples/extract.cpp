// extract MOVIE FOLDER: writes frames of a movie as PNG files.

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <boost/smart_ptr/make_shared.hpp>

#include <examples/support/console.h>
#include <examples/support/movie.h>
#include <examples/support/options.h>
#include <examples/support/pictures.h>
#include <examples/support/reconstruction.h>

using examples::Error;

namespace {

int frameOption(const QCommandLineParser& parser, const QString& option, int frames,
                int ifNotGiven) {
    return parser.isSet(option) ? examples::numberOption(parser, option, 0, frames - 1)
                                : ifNotGiven;
}

void extract(const QCommandLineParser& parser) {
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() != 2)
        throw Error(QStringLiteral("give a movie and a folder for the pictures (see --help)"));

    // The service turns vectorized movies into pictures; other movies do not need it.
    mz::ImageReader reader(arguments[0], boost::make_shared<examples::Reconstruction>());
    const int frames = static_cast<int>(reader.nbFrames());
    if (frames == 0) throw Error(QStringLiteral("%1 holds no frames").arg(arguments[0]));
    const int first = frameOption(parser, QStringLiteral("first"), frames, 0);
    const int last = frameOption(parser, QStringLiteral("last"), frames, frames - 1);
    if (last < first) throw Error(QStringLiteral("--last is before --first"));

    const QDir folder(arguments[1]);
    if (!folder.mkpath(QStringLiteral(".")))
        throw Error(QStringLiteral("the folder %1 cannot be made").arg(arguments[1]));
    const auto contrast = parser.isSet(QStringLiteral("stretch")) ? examples::Contrast::Stretched
                                                                  : examples::Contrast::Exact;
    const QSize size = examples::pictureSize(reader);
    const QString name = QFileInfo(arguments[0]).completeBaseName();
    const bool force = examples::forceOf(parser);
    examples::Progress progress(QStringLiteral("Extracting"), last - first + 1);
    for (int index = first; index <= last; ++index) {
        const QString file =
            folder.filePath(name + QStringLiteral("-%1.png").arg(index, 6, 10, QLatin1Char('0')));
        examples::refuseToOverwrite(file, force);
        const auto frame = examples::greyFrame(reader, static_cast<unsigned int>(index));
        examples::savePng(
            examples::greyPicture(frame.samples, size.width(), size.height(), frame.bits, contrast),
            file);
        progress.advance();
    }
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Writes frames of a movie as grey PNG files, named after the movie and the frame's number. "
        "Vectorized frames are reconstructed."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("movie"), QStringLiteral("The movie to read."));
    parser.addPositionalArgument(QStringLiteral("folder"),
                                 QStringLiteral("Where the pictures go; made when missing."));
    parser.addOptions(
        {{QStringLiteral("first"), QStringLiteral("The first frame, counted from 0."),
          QStringLiteral("number")},
         {QStringLiteral("last"), QStringLiteral("The last frame."), QStringLiteral("number")},
         {QStringLiteral("stretch"),
          QStringLiteral(
              "Stretch the contrast to be seen on a screen; without it the pictures hold "
              "exactly the movie's samples.")},
         examples::forceOption(QStringLiteral("Overwrite pictures that exist already."))});
    parser.process(app);
    return examples::runProgram("extract", [&] { extract(parser); });
}
