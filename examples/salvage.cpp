// salvage MOVIE: makes a movie that opens again of a recording that was never closed.

#include <libDataIO/imageutilities.h>

#include <QCommandLineParser>
#include <QCoreApplication>

#include <examples/support/console.h>
#include <examples/support/options.h>

using examples::Error;

namespace {

mz::AttributeChunk attributesOption(QCommandLineParser const& parser) {
    mz::AttributeChunk attributes;
    if (parser.isSet(QStringLiteral("like")))
        attributes = mz::ImageUtilities::attributesOf(parser.value(QStringLiteral("like")));
    attributes.merge(examples::attributesOf(parser));
    return attributes;
}

void report(mz::SalvageReport const& report) {
    if (report.wasSound) {
        examples::print(QStringLiteral("The movie opens as it is; nothing was changed."));
        return;
    }
    examples::printFacts(
        {{QStringLiteral("frames kept"), QString::number(report.framesKept)},
         {QStringLiteral("kept"), examples::bytesText(report.bytesKept)},
         {QStringLiteral("cut or left out"), examples::bytesText(report.bytesCut)}});
    for (mz::SalvageGap const& gap : report.gaps)
        examples::print(QStringLiteral("  lost: %1 at offset %2: %3")
                            .arg(examples::bytesText(gap.length))
                            .arg(gap.offset)
                            .arg(gap.why));
}

void salvage(QCommandLineParser const& parser) {
    const QStringList arguments = parser.positionalArguments();
    if (arguments.isEmpty() || arguments.size() > 2)
        throw Error(QStringLiteral("give a damaged movie, and perhaps one to write (see --help)"));
    const mz::AttributeChunk attributes = attributesOption(parser);
    if (arguments.size() == 1) {
        report(mz::ImageUtilities::salvage(arguments[0], attributes));
        return;
    }
    examples::refuseToOverwrite(arguments[1], examples::forceOf(parser));
    report(mz::ImageUtilities::salvageTo(arguments[0], arguments[1], attributes));
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Makes a movie that opens again of a recording that was never closed or lost its end. "
        "Every "
        "whole frame is kept. Times, laser powers and fibre positions reach a file only when it is "
        "closed, and so do the attributes: take them from a movie of the same kind with --like, or "
        "give them with --set."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("damaged"), QStringLiteral("The damaged movie."));
    parser.addPositionalArgument(
        QStringLiteral("output"),
        QStringLiteral("The movie to write. Without it the damaged one is mended in place."),
        QStringLiteral("[output]"));
    parser.addOptions(
        {{QStringLiteral("like"),
          QStringLiteral("A finished movie whose attributes are taken over."),
          QStringLiteral("movie")},
         examples::setOption(),
         examples::forceOption(QStringLiteral("Overwrite an output that exists already."))});
    parser.process(app);
    return examples::runProgram("salvage", [&] { salvage(parser); });
}
