#include <examples/support/console.h>
#include <examples/support/options.h>

namespace examples {

QCommandLineOption compressionOption(const QString& description) {
    return {QStringLiteral("compression"), description, QStringLiteral("kind"),
            QStringLiteral("none")};
}

namespace {

/// Null for a number that is no compression.
const char* nameOf(mz::CompressionType::e type) {
    switch (type) {
        case mz::CompressionType::None:
            return "none";
        case mz::CompressionType::ZLib:
            return "z";
        case mz::CompressionType::GZip:
            return "gz";
        case mz::CompressionType::BZip2:
            return "bz2";
    }
    return nullptr;
}

}  // namespace

mz::CompressionType::e compressionOf(const QCommandLineParser& parser) {
    const QString given = parser.value(QStringLiteral("compression"));
    QStringList names;
    for (int number = 0;; ++number) {
        const auto type = static_cast<mz::CompressionType::e>(number);
        const char* name = nameOf(type);
        if (name == nullptr) break;
        names += QString::fromLatin1(name);
        if (given == names.last()) return type;
    }
    const QString last = names.takeLast();
    throw Error(QStringLiteral("--compression takes %1 or %2, not \"%3\"")
                    .arg(names.join(QStringLiteral(", ")), last, given));
}

QCommandLineOption fastOption() {
    return {QStringLiteral("fast"), QStringLiteral("Compress z and gz quickly rather than well.")};
}

mz::CompressionEffort::e effortOf(const QCommandLineParser& parser) {
    return parser.isSet(QStringLiteral("fast")) ? mz::CompressionEffort::Fast
                                                : mz::CompressionEffort::Standard;
}

QCommandLineOption forceOption(const QString& description) {
    return {QStringLiteral("force"), description};
}

bool forceOf(const QCommandLineParser& parser) {
    return parser.isSet(QStringLiteral("force"));
}

QCommandLineOption setOption() {
    return {QStringLiteral("set"), QStringLiteral("Set an attribute; may be given several times."),
            QStringLiteral("key=value")};
}

mz::AttributeChunk attributesOf(const QCommandLineParser& parser) {
    mz::AttributeChunk attributes;
    for (const QString& pair : parser.values(QStringLiteral("set"))) {
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
