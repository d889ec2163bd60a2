// salvage MOVIE: makes a movie that opens again of a recording that was never closed.

#include <libCommon/exceptions.h>
#include <libDataIO/imageutilities.h>

#include <QCommandLineParser>
#include <QCoreApplication>

#include <vector>

#include <examples/support/console.h>
#include <examples/support/options.h>

using examples::Error;

namespace {

/// What a movie of the same kind lends to the damaged one.
struct Lent {
    mz::AttributeChunk attributes;
    std::vector<float> fibers;
};

Lent lentBy(const QCommandLineParser& parser) {
    Lent lent;
    if (parser.isSet(QStringLiteral("like"))) {
        const QString like = parser.value(QStringLiteral("like"));
        lent.attributes = mz::ImageUtilities::attributesOf(like);
        lent.fibers = mz::ImageUtilities::fibersOf(like);
    }
    lent.attributes.merge(examples::attributesOf(parser));
    return lent;
}

void report(const mz::SalvageReport& report) {
    if (report.wasSound) {
        examples::print(QStringLiteral("The movie opens as it is; nothing was changed."));
        return;
    }
    examples::printFacts(
        {{QStringLiteral("frames kept"), QString::number(report.framesKept)},
         {QStringLiteral("kept"), examples::bytesText(report.bytesKept)},
         {QStringLiteral("cut or left out"), examples::bytesText(report.bytesCut)}});
    if (report.gaps.empty()) return;
    examples::print(QString());
    examples::Table table(
        {QStringLiteral("not kept"), QStringLiteral("at byte"), QStringLiteral("bytes")});
    for (const mz::SalvageGap& gap : report.gaps)
        table.addRow({gap.why, QString::number(gap.offset), QString::number(gap.length)});
    table.print();
}

void salvage(const QCommandLineParser& parser) {
    const QStringList arguments = parser.positionalArguments();
    if (arguments.isEmpty() || arguments.size() > 2)
        throw Error(QStringLiteral("give a damaged movie, and perhaps one to write (see --help)"));
    const Lent lent = lentBy(parser);
    try {
        if (arguments.size() == 1) {
            report(mz::ImageUtilities::salvage(arguments[0], lent.attributes, lent.fibers));
            return;
        }
        examples::refuseToOverwrite(arguments[1], examples::forceOf(parser));
        report(mz::ImageUtilities::salvageTo(arguments[0], arguments[1], lent.attributes,
                                             lent.fibers));
    } catch (const mz::IOFileException& failure) {
        if (failure.code() != QLatin1String("IU_S_FRAMES")) throw;
        throw Error(QStringLiteral("none of the frames can be read as the attributes say: name a "
                                   "movie of the same kind with --like (%1)")
                        .arg(failure.code()));
    }
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Makes a movie that opens again of a recording that was never closed or lost its end. "
        "Every whole frame is kept. Times, laser powers and fibre positions reach a file only when "
        "it is "
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
          QStringLiteral("A finished movie of the same kind, which lends its attributes and, to a "
                         "movie without any, its fibre positions."),
          QStringLiteral("movie")},
         examples::setOption(),
         examples::forceOption(QStringLiteral("Overwrite an output that exists already."))});
    parser.process(app);
    return examples::runProgram("salvage", [&] { salvage(parser); });
}
