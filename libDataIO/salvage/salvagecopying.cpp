#include <libDataIO/base/posixfile.h>
#include <libDataIO/base/writablefile.h>
#include <libDataIO/container/failures.h>
#include <libDataIO/salvage/salvagecopying.h>
#include <libDataIO/salvage/salvagelog.h>

#include <fcntl.h>

#include <vector>

namespace mz {

namespace {

constexpr std::size_t bytesAtOnce = 1 << 20;

[[noreturn]] void failCopy(int error) {
    DATAIO_FAIL(IOFileException, salvageLogger, FILESYSTEM, "IU_S_COPY",
                withSystemError(QStringLiteral("Could not copy file: "), error));
}

posix::WritableFile openOutput(const QString& output) {
    const posix::WritableFile file = posix::openToWrite(output, posix::Contents::Emptied);
    switch (file.result) {
        case posix::Opening::Done:
            break;
        case posix::Opening::Failed:
            failCopy(errno);
        case posix::Opening::Busy:
            failBusy(salvageLogger, output, DATAIO_HERE);
    }
    return file;
}

/// @return 0, or errno when the system failed
int copyBytes(int from, int to, std::vector<char>& buffer) {
    for (;;) {
        const auto size = static_cast<qint64>(buffer.size());
        const posix::ReadResult read = posix::readAll(from, buffer.data(), size);
        if (read.error != 0) return read.error;
        if (posix::writeAll(to, buffer.data(), static_cast<std::size_t>(read.count)) < read.count)
            return errno;
        if (read.count < size) return 0;
    }
}

/// @return 0, or errno when the system reports that what was written may be lost
int closeWritten(posix::Descriptor& file) {
    posix::unlock(file.get());
    return posix::close(file.release()) == -1 ? errno : 0;
}

}  // namespace

void copyWhole(const QString& fileName, const QString& output) {
    const posix::Descriptor source(posix::open(fileName, O_RDONLY));
    if (source.get() == -1) failCopy(errno);
    std::vector<char> buffer(bytesAtOnce);
    const posix::WritableFile made = openOutput(output);
    posix::Descriptor target(made.fd);
    struct stat status {};
    int error = posix::status(made.fd, status) == -1 ? errno : 0;
    if (error == 0) error = copyBytes(source.get(), made.fd, buffer);
    if (error != 0 && made.created) posix::removeCreated(output, status);
    if (error != 0 && !made.created) posix::truncate(made.fd, 0);
    const int closeError = closeWritten(target);
    if (error != 0) failCopy(error);
    if (closeError == 0) return;
    if (made.created) posix::removeCreated(output, status);
    failCopy(closeError);
}

}  // namespace mz
