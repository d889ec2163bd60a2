// Movies that cannot be reopened: what is said, and that a refusal changes nothing.

#include <libDataIO/imagewriter.h>

#include <QFileInfo>
#include <gtest/gtest.h>

#include <vector>

#include <tests/support/expectfailure.h>
#include <tests/support/failures.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/reopening.h>
#include <tests/support/scratchfile.h>
#include <tests/support/translated.h>

using namespace mz;
using namespace mz::test;

namespace {

Failure refusal(const char* code, const char* message) {
    return {"dataio.imagewriter", FILESYSTEM, code, QString::fromLatin1(message)};
}

const Failure noMovie = refusal("FDCW_MODIFY", "This is not a RQS file.");
const Failure otherByteOrder =
    refusal("FDCW_MODIFY1",
            "Cannot modify a file whose endianness is not specified or is different from the one "
            "of the current machine.");
const Failure misplacedPowers = refusal(
    "FDCW_MODIFY2", "Cannot modify this movie with laser powers not at the expected location.");
const Failure misplacedTimes = refusal(
    "FDCW_MODIFY3", "Cannot modify this movie with frametimers not at the expected location.");
const Failure misplacedFibers = refusal(
    "FDCW_MODIFY4", "Cannot modify this movie with fibercenters not at the expected location.");

void expectRefused(const Failure& failure, const QByteArray& bytes) {
    SCOPED_TRACE(failure.code);
    const ScratchFile file(bytes);
    ImageWriter writer;
    expectFailure<IOFileException>(failure, [&] { writer.modify(file.path()); });
    EXPECT_FALSE(writer.isOpen());
    EXPECT_EQ(file.bytes(), bytes);
    writer.close();
    EXPECT_EQ(file.bytes(), bytes);
}

TEST(ModifyRefusal, FileThatDoesNotEndWithAnInfoChunk) {
    expectRefused(noMovie, "");
    expectRefused(noMovie, twoFrames().chunks());
    expectRefused(noMovie, twoFrames().finished(header) + chunk(Frame, "late"));
    expectRefused(noMovie, twoFrames().finished(header) + chunk(Powers, "\x01\x02"));
}

TEST(ModifyRefusal, OtherByteOrderOrNone) {
    for (const char* attributes : {"endian=1\n", "endian=0\n", "endian=3\n", "endian=two\n", ""})
        expectRefused(otherByteOrder, twoFrames().finished(attributes));
    MovieBytes misplaced;
    misplaced.record(Powers, 0, 1);
    expectRefused(otherByteOrder, misplaced.finished("endian=1\n"));
}

TEST(ModifyRefusal, MisplacedPowers) {
    MovieBytes inFrontOfTimes = twoFrames();
    inFrontOfTimes.chunk(Powers, "\x01\x02").chunk(Times, oneTime);
    expectRefused(misplacedPowers, inFrontOfTimes.finished(header));
    MovieBytes absent = twoFrames();
    absent.record(Powers, 0, 2).record(Times, 0, 8).record(Fibers, 0, 8);
    expectRefused(misplacedPowers, absent.finished(header));
}

TEST(ModifyRefusal, MisplacedTimes) {
    MovieBytes inFrontOfFibers = twoFrames();
    inFrontOfFibers.chunk(Times, oneTime).chunk(Fibers, oneFiber).chunk(Powers, "\x01\x02");
    expectRefused(misplacedTimes, inFrontOfFibers.finished(header));
    MovieBytes absent = twoFrames();
    absent.record(Times, 0, 8).record(Fibers, 0, 8);
    expectRefused(misplacedTimes, absent.finished(header));
}

TEST(ModifyRefusal, MisplacedFibers) {
    MovieBytes inFrontOfFrames = MovieBytes().chunk(Fibers, oneFiber);
    inFrontOfFrames.chunk(Frame, "frame").chunk(Times, oneTime).chunk(Powers, "\x01");
    expectRefused(misplacedFibers, inFrontOfFrames.finished(header));
    MovieBytes absent = twoFrames();
    absent.record(Fibers, 0, 8);
    expectRefused(misplacedFibers, absent.finished(header));
}

TEST(ModifyRefusal, FibersWithoutASize) {
    MovieBytes movie = twoFrames();
    movie.chunk(Fibers, oneFiber).chunk(Powers, "\x01\x02");
    const Failure noSize = {"dataio.imagewriter", SOFTWARE, "IW_ARFCI_INFO2",
                            QStringLiteral("cannot get fiber centers without width and height.")};
    for (const char* attributes :
         {"endian=2\n", "endian=2\nwidth=4\n", "endian=2\nheight=4\n",
          "endian=2\nheight=0\nwidth=4\n", "endian=2\nheight=4\nwidth=-1\n"})
        expectRefused(noSize, movie.finished(attributes));
}

TEST(ModifyRefusal, DamagedFile) {
    expectRefused(damagedHeader(), QByteArray(40, 'x'));
    expectRefused(damagedHeader(), twoFrames().finished(header) + "x");
    expectRefused(damagedHeader(), QByteArray(40, 'x') + MovieBytes().finished(header));
    expectRefused(indexTooSmall(), twoFrames().chunks() + chunk(Info, le32(1)));
    expectRefused({"dataio.fdchunkwriter", SOFTWARE, "FDCW_PC_BOUND",
                   QStringLiteral("Chunk exceeds file, file may be corrupted.")},
                  twoFrames().chunks() + endHeader(Info, 1000));
}

TEST(ModifyRefusal, MissingFileStaysMissing) {
    const ScratchFile file;
    ImageWriter writer;
    const QString missing = file.sibling("missing");
    expectFailure<IOFileException>(noMovie, [&] { writer.modify(missing); });
    EXPECT_FALSE(QFile::exists(missing));
    EXPECT_FALSE(writer.isOpen());
}

TEST(ModifyRefusal, FolderCannotBeOpened) {
    const ScratchFile file;
    ImageWriter writer;
    const QString folder = QFileInfo(file.path()).path();
    expectFailure<IOFileException>(
        {"dataio.filewriter", SYSCALL, "FW_OF_OPEN2", "File " + folder + " : Is a directory"},
        [&] { writer.modify(folder); });
    EXPECT_FALSE(writer.isOpen());
}

TEST(ModifyRefusal, FileThatCannotBeSought) {
    const ScratchFile file;
    ASSERT_EQ(mkfifo(file.sibling("pipe").toLocal8Bit().constData(), 0600), 0);
    ImageWriter writer;
    const Failure noSeek = {"dataio.imagewriter", SOFTWARE, "FDCW_AC_SEEK",
                            QStringLiteral("Cannot seek in file before writing data.")};
    expectFailure<IOFileException>(noSeek, [&] { writer.modify(file.sibling("pipe")); });
    EXPECT_FALSE(writer.isOpen());
    EXPECT_TRUE(QFile::exists(file.sibling("pipe")));
}

TEST(ModifyRefusal, WriterCanGoOnWithAnotherFile) {
    const ScratchFile file(twoFrames().finished("endian=1\n"));
    ImageWriter writer;
    writer.create(file.sibling("other"), true);
    expectFailure<IOFileException>(otherByteOrder, [&] { writer.modify(file.path()); });
    EXPECT_FALSE(writer.isOpen());
    writer.create(file.sibling("other"), true);
    add(writer, "abc");
    writer.close();
    EXPECT_EQ(soundMovie(file.sibling("other")).frames, (std::vector<QByteArray>{"abc"}));
}

TEST(ModifyRefusal, MessagesAreTranslated) {
    const Translated translated;
    const auto translation = [](Failure failure) {
        failure.message.prepend(QStringLiteral("QObject: "));
        return failure;
    };
    expectRefused(translation(noMovie), "");
    expectRefused(translation(otherByteOrder), twoFrames().finished("endian=1\n"));
    expectRefused(translation(misplacedPowers), twoFrames().record(Powers, 0, 2).finished(header));
    expectRefused(translation(misplacedTimes), twoFrames().record(Times, 0, 8).finished(header));
    expectRefused(translation(misplacedFibers), twoFrames().record(Fibers, 0, 8).finished(header));
}

TEST(ModifyRefusal, NothingOfTheRefusedFileStaysInTheWriter) {
    const ScratchFile file(twoFrames().finished("endian=1\nwidth=7\n"));
    const ScratchFile other;
    ImageWriter writer;
    expectFailure<IOFileException>(otherByteOrder, [&] { writer.modify(file.path()); });
    EXPECT_TRUE(writer.attributeChunk().attributes().empty());
    // Without frames there is nothing to be put in order, nor to be replaced.
    writer.setFirstFrame(1);
    expectFailure<IOFileException>({"dataio.imagewriter", SOFTWARE, "IW_RF_FIND",
                                    QStringLiteral("Cannot replace frame, indice out of bounds.")},
                                   [&] { writer.replaceFrame("x", 0); });
}

}  // namespace
