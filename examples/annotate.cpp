// annotate MOVIE: lists or changes the attributes of a finished movie. The frames stay where they
// are.

#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>

#include <QCommandLineParser>
#include <QCoreApplication>

#include <examples/support/console.h>
#include <examples/support/movie.h>
#include <examples/support/options.h>

using examples::Error;

namespace {

// Without these, or with others, the frames could not be read.
void refuseWhatTheFramesNeed(const QString& key) {
    static const QStringList needed{QStringLiteral("endian"),   QStringLiteral("width"),
                                    QStringLiteral("height"),   QStringLiteral("pixtype"),
                                    QStringLiteral("pixbits"),  QStringLiteral("compression_type"),
                                    QStringLiteral("data_type")};
    if (needed.contains(key) || key.startsWith(QLatin1String("frame_timer")))
        throw Error(
            QStringLiteral("\"%1\" says how the frames are stored and cannot be changed").arg(key));
}

void annotate(const QCommandLineParser& parser) {
    const QStringList arguments = parser.positionalArguments();
    if (arguments.size() != 1) throw Error(QStringLiteral("give one movie (see --help)"));

    mz::AttributeChunk changes = examples::attributesOf(parser);
    if (parser.isSet(QStringLiteral("comment")))
        changes.set(QStringLiteral("comment"),
                    mz::AttributeChunk::formatComment(parser.value(QStringLiteral("comment"))));
    const QStringList removed = parser.values(QStringLiteral("remove"));
    for (const auto& [key, value] : changes.attributes())
        refuseWhatTheFramesNeed(key);
    for (const QString& key : removed)
        refuseWhatTheFramesNeed(key);

    // All attributes are replaced at once, so the changes are made to a copy of what is there.
    mz::AttributeChunk attributes = mz::ImageReader(arguments[0]).attributeChunk();
    if (changes.attributes().empty() && removed.isEmpty()) {
        examples::printFacts(examples::attributeFacts(attributes));
        return;
    }
    attributes.merge(changes);
    for (const QString& key : removed)
        if (attributes.erase(key) == 0)
            throw Error(QStringLiteral("%1 has no attribute \"%2\"").arg(arguments[0], key));
    mz::ImageWriter().modifyAttribute(arguments[0], attributes);
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Lists the attributes of a finished movie, or changes some of them in place."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("movie"), QStringLiteral("The movie."));
    parser.addOptions(
        {{QStringLiteral("comment"), QStringLiteral("Set the comment."), QStringLiteral("text")},
         examples::setOption(),
         {QStringLiteral("remove"),
          QStringLiteral("Remove an attribute; may be given several times."),
          QStringLiteral("key")}});
    parser.process(app);
    return examples::runProgram("annotate", [&] { annotate(parser); });
}
