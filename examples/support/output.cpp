#include <QFile>

#include <signal.h>

#include <csignal>
#include <cstdio>

#include <examples/support/console.h>
#include <examples/support/output.h>

namespace examples {
namespace {

volatile std::sig_atomic_t interrupted = 0;

void noteInterrupt(int) {
    interrupted = 1;
}

}  // namespace

Output::Output(const QString& fileName, bool force)
    : _fileName(fileName), _path(fileName + QStringLiteral(".part")) {
    refuseToOverwrite(fileName, force);
    struct sigaction action = {};
    action.sa_handler = noteInterrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);  // asked twice, the program stops at once
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

Output::~Output() {
    if (!_finished) QFile::remove(_path);
}

void Output::finish() {
    if (std::rename(QFile::encodeName(_path).constData(),
                    QFile::encodeName(_fileName).constData()) != 0)
        throw Error(QStringLiteral("%1 cannot be renamed to %2").arg(_path, _fileName));
    _finished = true;
}

void Output::stopIfInterrupted() {
    if (interrupted != 0) throw Error(QStringLiteral("interrupted; nothing was written"));
}

}  // namespace examples
