#include <libLog/logstream.h>

#include <QByteArray>
#include <QDateTime>

#include <cstdio>

namespace mz {

LogStream::~LogStream() = default;
StandardErrorStream::~StandardErrorStream() = default;

void StandardErrorStream::write(const LogRecord& record) {
    QString line = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs) + u' ' +
                   LogLevel::get(record.level).name() + u' ' + record.loggerName + u' ';
    if (!record.code.isEmpty()) line += record.code + u' ';
    line += record.message + QStringLiteral(" (") + QString::fromUtf8(record.location.fileName()) +
            u':' + QString::number(record.location.lineNumber()) + QStringLiteral(")\n");
    const QByteArray bytes = line.toLocal8Bit();
    // One call, so that lines of several processes do not mix.
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stderr);
}

}  // namespace mz
