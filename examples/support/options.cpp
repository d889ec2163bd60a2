#include <map>

#include <examples/support/console.h>
#include <examples/support/options.h>

namespace examples {

QCommandLineOption compressionOption(QString const& description) {
    return {QStringLiteral("compression"), description, QStringLiteral("kind"),
            QStringLiteral("none")};
}

mz::CompressionType::e compressionOf(QCommandLineParser const& parser) {
    static const std::map<QString, mz::CompressionType::e> names{
        {QStringLiteral("none"), mz::CompressionType::None},
        {QStringLiteral("z"), mz::CompressionType::ZLib},
        {QStringLiteral("gz"), mz::CompressionType::GZip},
        {QStringLiteral("bz2"), mz::CompressionType::BZip2}};
    const QString given = parser.value(QStringLiteral("compression"));
    const auto found = names.find(given);
    if (found == names.end())
        throw Error(
            QStringLiteral("--compression takes none, z, gz or bz2, not \"%1\"").arg(given));
    return found->second;
}

QCommandLineOption fastOption() {
    return {QStringLiteral("fast"), QStringLiteral("Compress z and gz quickly rather than well.")};
}

mz::CompressionEffort::e effortOf(QCommandLineParser const& parser) {
    return parser.isSet(QStringLiteral("fast")) ? mz::CompressionEffort::Fast
                                                : mz::CompressionEffort::Standard;
}

QCommandLineOption forceOption(QString const& description) {
    return {QStringLiteral("force"), description};
}

bool forceOf(QCommandLineParser const& parser) {
    return parser.isSet(QStringLiteral("force"));
}

QCommandLineOption setOption() {
    return {QStringLiteral("set"), QStringLiteral("Set an attribute; may be given several times."),
            QStringLiteral("key=value")};
}

mz::AttributeChunk attributesOf(QCommandLineParser const& parser) {
    mz::AttributeChunk attributes;
    for (QString const& pair : parser.values(QStringLiteral("set"))) {
        const qsizetype equals = pair.indexOf(QLatin1Char('='));
        const QString key = pair.left(equals);
        const QString value = pair.mid(equals + 1);
        if (equals < 1 || value.trimmed().isEmpty())
            throw Error(QStringLiteral("--set takes key=value, not \"%1\"").arg(pair));
        if (key.trimmed() != key || key.startsWith(QLatin1Char('#')) ||
            key.contains(QLatin1Char('\n')))
            throw Error(QStringLiteral("\"%1\" cannot be the name of an attribute").arg(key));
        if (QString::fromLatin1(pair.toLatin1()) != pair)
            throw Error(QStringLiteral("\"%1\" has characters that a movie cannot store; "
                                       "it takes those of Latin-1")
                            .arg(pair));
        attributes.set(key, mz::AttributeChunk::formatComment(value));
    }
    return attributes;
}

}  // namespace examples
