// thumbnail MOVIE PICTURE: makes a small picture of one frame.

#include <libDataIO/imagereader.h>

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QRegularExpression>
#include <boost/smart_ptr/make_shared.hpp>

#include <examples/support/console.h>
#include <examples/support/movie.h>
#include <examples/support/options.h>
#include <examples/support/pictures.h>
#include <examples/support/reconstruction.h>

using examples::Error;

namespace {

QSize sizeOption(const QCommandLineParser& parser) {
    static const QRegularExpression form(QStringLiteral("^(\\d{1,5})x(\\d{1,5})$"));
    const auto match = form.match(parser.value(QStringLiteral("size")));
    const QSize size(match.captured(1).toInt(), match.captured(2).toInt());
    if (size.isEmpty())
        throw Error(QStringLiteral("--size takes WIDTHxHEIGHT in pixels, not \"%1\"")
                        .arg(parser.value(QStringLiteral("size"))));
    return size;
}

void thumbnail(const QCommandLineParser& parser) {
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() != 2)
        throw Error(QStringLiteral("give a movie and the picture to write (see --help)"));
    const QSize size = sizeOption(parser);
    mz::ImageReader reader(arguments[0], boost::make_shared<examples::Reconstruction>());
    if (reader.nbFrames() == 0) throw Error(QStringLiteral("%1 holds no frames").arg(arguments[0]));
    const int frame = examples::numberOption(parser, QStringLiteral("frame"), 0,
                                             static_cast<int>(reader.nbFrames()) - 1);
    examples::refuseToOverwrite(arguments[1], examples::forceOf(parser));
    examples::savePng(examples::thumbnailOf(reader, frame, size), arguments[1]);
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Makes a small picture of one frame of a movie, in the movie's colours, as a PNG file."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("movie"), QStringLiteral("The movie to read."));
    parser.addPositionalArgument(QStringLiteral("picture"), QStringLiteral("The file to write."));
    parser.addOptions(
        {{QStringLiteral("frame"), QStringLiteral("The frame, counted from 0; 0 by default."),
          QStringLiteral("number"), QStringLiteral("0")},
         {QStringLiteral("size"),
          QStringLiteral("The largest size; 160x120 by default. Proportions are kept."),
          QStringLiteral("WIDTHxHEIGHT"), QStringLiteral("160x120")},
         examples::forceOption(QStringLiteral("Overwrite a picture that exists already."))});
    parser.process(app);
    return examples::runProgram("thumbnail", [&] { thumbnail(parser); });
}
