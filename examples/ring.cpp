// ring MOVIE: records a simulated acquisition into a ring of frames: once the ring is full, each
// new frame takes the place of the oldest one. At the end the oldest frame is made the first.

#include <libDataIO/imagewriter.h>

#include <QCommandLineParser>
#include <QCoreApplication>

#include <algorithm>

#include <examples/support/console.h>
#include <examples/support/options.h>
#include <examples/support/output.h>
#include <examples/support/source.h>

using examples::Error;

namespace {

void ring(const QCommandLineParser& parser) {
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() != 1) throw Error(QStringLiteral("give a movie to write (see --help)"));
    const int ringSize = examples::numberOption(parser, QStringLiteral("slots"), 1, 5000);
    const int frames = examples::numberOption(parser, QStringLiteral("frames"), 1, 100000);

    examples::Output output(arguments[0], examples::forceOf(parser));
    const auto source = examples::simulatedSource(frames);
    mz::ImageWriter writer;
    writer.create(output.path(), false);
    writer.width(source->width());
    writer.height(source->height());
    writer.pixType(mz::MZ_USHORT);
    writer.dimension(2);
    writer.setComment(source->description());

    examples::Progress progress(QStringLiteral("Recording"), frames);
    for (int frame = 0; frame < frames; ++frame) {
        const QByteArray image = source->image(frame);
        const timeval time = source->time(frame);
        const float power = source->laserPower(frame);
        // Only uncompressed frames can be replaced: the new one must fit exactly.
        if (frame < ringSize)
            writer.addFrame(image.constData(), time, power);
        else
            writer.replaceFrame(image.constData(), static_cast<unsigned int>(frame % ringSize),
                                time, power);
        progress.advance();
        examples::Output::stopIfInterrupted();
    }
    if (frames > ringSize) writer.setFirstFrame(static_cast<unsigned int>(frames % ringSize));
    writer.close();
    output.finish();
    const int kept = std::min(frames, ringSize);
    examples::print(arguments[0] + QStringLiteral(" holds frames %1 to %2 of the acquisition")
                                       .arg(frames - kept)
                                       .arg(frames - 1));
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Records a simulated acquisition into a ring: the movie keeps the newest frames, oldest "
        "first."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("movie"), QStringLiteral("The movie to write."));
    parser.addOptions(
        {{QStringLiteral("slots"), QStringLiteral("Frames in the ring, 48 by default."),
          QStringLiteral("number"), QStringLiteral("48")},
         {QStringLiteral("frames"), QStringLiteral("Frames to acquire, 120 by default."),
          QStringLiteral("number"), QStringLiteral("120")},
         examples::forceOption(QStringLiteral("Overwrite a movie that exists already."))});
    parser.process(app);
    return examples::runProgram("ring", [&] { ring(parser); });
}
