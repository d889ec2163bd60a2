#include <libLog/logger.h>

#include <QFileInfo>
#include <QLocale>

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include <examples/support/console.h>

namespace examples {

int runProgram(const char* name, const std::function<void()>& body) {
    // The library logs a failure before it throws; here the exception alone is shown.
    mz::Logger::logger(QStringLiteral("dataio"))->setLevel(mz::LogLevel::Off);
    try {
        body();
        return 0;
    } catch (const std::exception& failure) {
        std::fflush(stdout);
        std::fprintf(stderr, "%s: %s\n", name, failure.what());
        return 1;
    }
}

int numberOption(const QCommandLineParser& parser, const QString& option, int minimum,
                 int maximum) {
    bool ok = false;
    const int value = parser.value(option).toInt(&ok);
    if (!ok || value < minimum || value > maximum)
        throw Error(QStringLiteral("--%1 takes a whole number from %2 to %3, not \"%4\"")
                        .arg(option)
                        .arg(minimum)
                        .arg(maximum)
                        .arg(parser.value(option)));
    return value;
}

void refuseToOverwrite(const QString& fileName, bool force) {
    if (!force && QFileInfo::exists(fileName))
        throw Error(QStringLiteral("%1 exists already; --force overwrites it").arg(fileName));
}

void print(const QString& text) {
    std::printf("%s\n", text.toLocal8Bit().constData());
    std::fflush(stdout);
}

void printFacts(const Facts& facts) {
    qsizetype width = 0;
    for (const auto& [name, value] : facts)
        width = std::max(width, name.size());
    const QString nextLine = QLatin1Char('\n') + QString(width + 4, QLatin1Char(' '));
    for (auto [name, value] : facts)
        print(QStringLiteral("  ") + name.leftJustified(width + 2) +
              value.replace(QLatin1Char('\n'), nextLine));
}

void Table::print() const {
    std::vector<qsizetype> widths;
    for (const QStringList& row : _rows) {
        widths.resize(std::max(widths.size(), static_cast<std::size_t>(row.size())));
        for (qsizetype column = 0; column < row.size(); ++column) {
            qsizetype& width = widths[static_cast<std::size_t>(column)];
            width = std::max(width, row[column].size());
        }
    }
    for (const QStringList& row : _rows) {
        QString line;
        for (qsizetype column = 0; column < row.size(); ++column) {
            const qsizetype width = widths[static_cast<std::size_t>(column)];
            line += QStringLiteral("  ") + (column == 0 ? row[column].leftJustified(width)
                                                        : row[column].rightJustified(width));
        }
        examples::print(line);
    }
}

Progress::Progress(const QString& what, int total) : _what(what), _total(total) {}

void Progress::advanceTo(int done) {
    _done = done;
    const bool last = _done == _total;
    const int percent = static_cast<int>(100LL * _done / std::max(_total, 1));
    if (isatty(STDOUT_FILENO) == 1) {
        if (percent == _shown && !last) return;
        _shown = percent;
        std::printf("\r%s: %d of %d (%d %%)%s", qPrintable(_what), _done, _total, percent,
                    last ? "\n" : "");
        std::fflush(stdout);
    } else if (last) {
        print(QStringLiteral("%1: %2 of %3").arg(_what).arg(_done).arg(_total));
    }
}

QString bytesText(qint64 bytes) {
    return QLocale(QLocale::English).toString(bytes) + QStringLiteral(" bytes");
}

}  // namespace examples
