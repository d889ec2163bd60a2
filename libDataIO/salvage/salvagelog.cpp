#include <libDataIO/salvage/salvagelog.h>

namespace mz {

Logger* const salvageLogger = Logger::logger(QStringLiteral("dataio.imageutilities"));

void failSalvageRead(int error) {
    DATAIO_FAIL(IOFileException, salvageLogger, SYSCALL, "IU_S_READ",
                withSystemError(QStringLiteral("Could not read file: "), error));
}

QString whyUnreadable(int error) {
    return withSystemError(QStringLiteral("bytes that cannot be read: "), error);
}

void failSalvageBusy(const QString& fileName) {
    DATAIO_FAIL(IOFileException, salvageLogger, SOFTWARE, "IU_S_BUSY",
                QStringLiteral("File %1 changes while it is salvaged.").arg(fileName));
}

}  // namespace mz
