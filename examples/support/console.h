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
    explicit Error(QString const& text) : std::runtime_error(text.toStdString()) {}
};

/// Runs a program's body and turns what it throws into one line on standard error.
/// @return the program's exit status: 0, or 1 after a failure
int runProgram(const char* name, std::function<void()> const& body);

/// The value of a number option. Throws Error, naming the option, when it is no number in
/// [minimum, maximum].
int numberOption(QCommandLineParser const& parser, QString const& option, int minimum, int maximum);

/// Makes sure that a file may be written: throws Error when it exists and `force` is not given.
void refuseToOverwrite(QString const& fileName, bool force);

void print(QString const& text);

/// Names and values in two columns; the lines of a value stay in the second.
using Facts = std::vector<std::pair<QString, QString>>;
void printFacts(Facts const& facts);

/// Rows under a header, the first column to the left and the others to the right.
class Table {
public:
    explicit Table(QStringList const& header) : _rows{header} {}
    void addRow(QStringList const& row) { _rows.push_back(row); }
    void print() const;

private:
    std::vector<QStringList> _rows;
};

/// A line that counts up on a terminal; elsewhere a single line at the end.
class Progress {
public:
    Progress(QString const& what, int total);
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
