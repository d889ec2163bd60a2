#include <libDataIO/base/posixfile.h>
#include <libDataIO/base/samefile.h>
#include <libDataIO/base/writablefile.h>
#include <libDataIO/container/chunkframing.h>
#include <libDataIO/container/failures.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/salvage/salvage.h>
#include <libDataIO/salvage/salvagecopying.h>
#include <libDataIO/salvage/salvagedattributes.h>
#include <libDataIO/salvage/salvagelog.h>
#include <libDataIO/salvage/salvageproof.h>
#include <libDataIO/salvage/salvagewriting.h>

#include <utility>

namespace mz {

namespace {

SalvagePlan without(const SalvagePlan& plan, const std::vector<UselessFrame>& useless) {
    if (useless.empty()) return plan;
    SalvagePlan left = plan.without(useless);
    if (left.frameCount() == 0) {
        DATAIO_FAIL(IOFileException, salvageLogger, SOFTWARE, "IU_S_FRAMES",
                    QStringLiteral("No frame can be read with the given attributes."));
    }
    return left;
}

/// A disk that fails shows whole chunks as torn ones; a recorder that goes on makes whole ones of
/// them.
void checkSteady(const MovieRemains& movie, const FileWriter& writer, const QString& fileName) {
    if (movie.scan.readError != 0) failSalvageRead(movie.scan.readError);
    const qint64 size = writer.fileSize();
    if (size == -1) failSalvageRead(errno);
    if (size != movie.scan.fileSize + movie.scan.unfinishedBytes) failSalvageBusy(fileName);
}

/// Emptying anything else than a file, or removing it after a failure, would do harm.
void checkOutput(const QString& damaged, const QString& output) {
    if (isSameFile(damaged, output)) {
        DATAIO_FAIL(IOFileException, salvageLogger, SOFTWARE, "IU_S_SAME",
                    QStringLiteral("Damaged and salvaged file are the same."));
    }
    struct stat status {};
    if (posix::status(output, status) == 0 && !S_ISREG(status.st_mode)) {
        DATAIO_FAIL(IOFileException, salvageLogger, FILESYSTEM, "IU_S_OUTPUT", notRegular(output));
    }
}

/// Before all frames are read.
void checkRoom(const SalvagePlan& plan) {
    if (plan.tail().front().offset + plan.tailSize() > maxFileSize) {
        DATAIO_FAIL(IOFileException, salvageLogger, SOFTWARE, "IU_S_FULL",
                    QStringLiteral("File would exceed the size that its index can address."));
    }
}

/// Its frames are proven already.
void checkOpens(const QString& fileName) {
    ImageReader::withoutService(fileName);
}

struct stat statusOf(const QString& fileName) {
    struct stat status {};
    posix::status(fileName, status);
    return status;
}

bool isUnchanged(const struct stat& before, const struct stat& now) {
    return before.st_dev == now.st_dev && before.st_ino == now.st_ino &&
           before.st_size == now.st_size && before.st_mtim.tv_sec == now.st_mtim.tv_sec &&
           before.st_mtim.tv_nsec == now.st_mtim.tv_nsec;
}

/// Takes a file that does not open, so that no other writer changes it from here on.
/// @return the report on one that opens
std::optional<SalvageReport> takeUnlessSound(const QString& fileName, FileWriter& writer) {
    const struct stat before = statusOf(fileName);
    if (auto sound = soundReport(fileName)) return sound;
    writer.openFile(fileName, FW_APPEND);
    if (writer.created()) {  // it was removed after that look
        writer.abandonFile(fileName);
        failSalvageBusy(fileName);
    }
    // Whoever had it until now may have finished it.
    if (isUnchanged(before, statusOf(fileName))) return std::nullopt;
    return soundReport(fileName);
}

/// After a failure, a copy that this call has made is gone, and what was there before is empty.
void dropCopy(FileWriter& writer, const QString& output, const struct stat& made) {
    const bool isMadeHere = writer.created();
    try {
        if (!isMadeHere && writer.openned()) cutAt(writer, 0);
    } catch (const IOFileException&) {
        // Logged; the failure that led here is the one to report.
    }
    if (isMadeHere && !writer.openned()) posix::removeCreated(output, made);
    writer.abandonFile(output);
}

SalvagePlan planFor(DamagedMovie& movie, SalvageMode mode, const AttributeChunk& given,
                    const std::vector<float>& fibers) {
    return SalvagePlan::of(movie.remains(), mode, salvagedAttributes(movie, given), fibers);
}

}  // namespace

SalvageReport salvageInPlace(const QString& fileName, const AttributeChunk& attributes,
                             const std::vector<float>& fibers) {
    FileWriter writer;
    if (const auto sound = takeUnlessSound(fileName, writer)) return *sound;

    DamagedMovie movie(fileName);
    SalvagePlan plan = planFor(movie, SalvageMode::InPlace, attributes, fibers);
    checkSteady(movie.remains(), writer, fileName);

    const qint64 end = movie.remains().scan.fileSize;  // without an unfinished end
    const qint64 soundEnd = movie.remains().scan.soundEnd();
    plan = withTailBehindItsPlace(plan, movie.remains().scan);
    checkRoom(plan);
    plan = without(plan, uselessFrames(plan, movie));
    SalvageReport report = plan.report();  // made while the file is as it was, and not copied later
    try {
        cutAt(writer, end);
        appendUnfinishedTail(plan, movie, writer);
        checkOpens(fileName);
        if (plan.ownInfoStands())
            cutAt(writer, soundEnd);
        else
            moveTail(plan, movie, writer, fileName);
    } catch (...) {
        try {
            cutAt(writer, end);
        } catch (const IOFileException&) {
            // Logged; the failure that led here is the one to report.
        }
        throw;
    }
    writer.closeFile();
    return report;
}

SalvageReport salvageIntoCopy(const QString& damaged, const QString& output,
                              const AttributeChunk& attributes, const std::vector<float>& fibers) {
    checkOutput(damaged, output);
    if (const auto sound = soundReport(damaged)) {
        copyWhole(damaged, output);
        return *sound;
    }

    DamagedMovie movie(damaged);
    SalvagePlan plan = planFor(movie, SalvageMode::Copy, attributes, fibers);
    FileWriter writer;
    writer.openFile(output, FW_CREATE);
    SalvageReport report;
    struct stat made {};
    try {
        for (;;) {
            cutAt(writer, 0);
            std::vector<UselessFrame> useless = writeCopy(plan, movie, writer);
            made = statusOf(output);
            if (useless.empty()) useless = unreadableFrames(output);
            if (useless.empty()) break;
            plan = without(plan, useless);
        }
        report = plan.report();
        writer.closeFile();
    } catch (...) {
        dropCopy(writer, output, made);
        throw;
    }
    return report;
}

}  // namespace mz
