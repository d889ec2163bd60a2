#pragma once

// What the example programs share in front of a person: arguments, tables, progress, and one line
// of text for whatever goes wrong.

#include <QCommandLineParser>
#include <QString>
#include <QStringList>

#include <functional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace examples {

/// Something that the user can put right; the text is shown as it is.
class Error : public std::runtime_error {
public:
    explicit Error(const QString& text) : std::runtime_error(text.toStdString()) {}
};

/// Runs a program's body and turns what it throws into one line on standard error.
/// @return the program's exit status: 0, or 1 after a failure
int runProgram(const char* name, const std::function<void()>& body);

/// The value of a number option. Throws Error, naming the option, when it is no number in
/// [minimum, maximum].
int numberOption(const QCommandLineParser& parser, const QString& option, int minimum, int maximum);

/// Makes sure that a file may be written: throws Error when it exists and `force` is not given.
void refuseToOverwrite(const QString& fileName, bool force);

void print(const QString& text);

/// Names and values in two columns; the lines of a value stay in the second.
using Facts = std::vector<std::pair<QString, QString>>;
void printFacts(const Facts& facts);

/// Rows under a header, the first column to the left and the others to the right.
class Table {
public:
    explicit Table(const QStringList& header) : _rows{header} {}
    void addRow(const QStringList& row) { _rows.push_back(row); }
    void print() const;

private:
    std::vector<QStringList> _rows;
};

/// A line that counts up on a terminal; elsewhere a single line at the end.
class Progress {
public:
    Progress(const QString& what, int total);
    void advance() { advanceTo(_done + 1); }
    /// So many are done in all.
    void advanceTo(int done);

private:
    QString _what;
    int _total;
    int _done = 0;
    int _shown = -1;
};

/// "1,234,567 bytes"
QString bytesText(qint64 bytes);

}  // namespace examples
