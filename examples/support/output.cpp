#include <QFile>

#include <signal.h>

#include <csignal>

#include <examples/support/console.h>
#include <examples/support/output.h>

namespace examples {
namespace {

volatile std::sig_atomic_t interrupted = 0;

void noteInterrupt(int) {
    interrupted = 1;
}

}  // namespace

Output::Output(QString const& fileName, bool force) : _fileName(fileName) {
    refuseToOverwrite(fileName, force);
    struct sigaction action = {};
    action.sa_handler = noteInterrupt;
    action.sa_flags = SA_RESETHAND;  // asked twice, the program stops at once
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

Output::~Output() {
    if (!_finished) QFile::remove(_fileName);
}

void Output::stopIfInterrupted() {
    if (interrupted != 0) throw Error(QStringLiteral("interrupted; nothing is left behind"));
}

}  // namespace examples
