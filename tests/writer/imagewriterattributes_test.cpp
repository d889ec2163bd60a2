// Replacing all attributes of a finished movie: everything in front of its info chunk stays.

#include <libDataIO/imagewriter.h>

#include <gtest/gtest.h>

#include <vector>

#include <tests/support/attributetext.h>
#include <tests/support/expectfailure.h>
#include <tests/support/failures.h>
#include <tests/support/limits.h>
#include <tests/support/moviebytes.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

MovieBytes wholeMovie() {
    MovieBytes movie;
    movie.chunk(2, "frame 0").chunk(2, "frame 1..").chunk(6, le32(1) + le32(2));
    return movie.chunk(7, le32(7) + le32(8)).chunk(8, "\x01\xff");
}

const QByteArray oldText = "endian=2\nheight=4\nwidth=4\n";

TEST(ModifyAttribute, LeavesExactlyTheGivenAttributes) {
    for (const char* text : {"", "a=1\n", "endian=2\nheight=5\nwidth=5\n",
                             "a=a much longer text than there was before\nendian=2\n"}) {
        const ScratchFile file(wholeMovie().finished(oldText));
        ImageWriter writer;
        writer.modifyAttribute(file.path(), parsed(text));
        EXPECT_FALSE(writer.isOpen());
        EXPECT_EQ(file.bytes(), wholeMovie().finished(text));
    }
}

TEST(ModifyAttribute, TakesTheAttributesOfTheWriterItself) {
    const ScratchFile file(wholeMovie().finished(oldText));
    ImageWriter writer;
    writer.width(9);
    writer.modifyAttribute(file.path(), writer.attributeChunk());
    EXPECT_EQ(file.bytes(), wholeMovie().finished("compression_type=none\nendian=2\nwidth=9\n"));
}

TEST(ModifyAttribute, NeitherByteOrderNorPlacesMatter) {
    MovieBytes movie;
    movie.raw(chunk(8, "\x01") + chunk(6, le32(1) + le32(2)) + chunk(2, "frame") + chunk(7, ""));
    movie.record(2, 73, 5).record(6, 33, 8).record(7, 110, 0).record(8, 0, 1);
    const ScratchFile file(movie.finished("endian=1\n"));
    ImageWriter writer;
    writer.modifyAttribute(file.path(), parsed("b=2\n"));
    EXPECT_EQ(file.bytes(), movie.finished("b=2\n"));
}

TEST(ModifyAttribute, IndexDoesNotListInfoChunks) {
    MovieBytes movie;
    movie.chunk(2, "frame").record(5, 37, 10);
    const ScratchFile file(movie.finished(oldText));
    ImageWriter writer;
    writer.modifyAttribute(file.path(), parsed("b=2\n"));
    EXPECT_EQ(file.bytes(), MovieBytes().chunk(2, "frame").finished("b=2\n"));
}

TEST(ModifyAttribute, CanBeDoneAgainAndAgain) {
    const ScratchFile file(wholeMovie().finished(oldText));
    ImageWriter writer;
    for (int i = 0; i < 5; ++i)
        writer.modifyAttribute(file.path(), parsed("endian=2\nheight=4\nwidth=4\n"));
    EXPECT_EQ(file.bytes(), wholeMovie().finished(oldText));
    writer.modify(file.path());
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).frames.size(), 2U);
}

TEST(ModifyAttribute, DropsAnOpenRecordingAsItStands) {
    const ScratchFile file(wholeMovie().finished(oldText));
    ImageWriter writer;
    writer.create(file.sibling("other"), true);
    add(writer, "abc");
    writer.modifyAttribute(file.path(), parsed("a=1\n"));
    EXPECT_FALSE(writer.isOpen());
    EXPECT_EQ(readFile(file.sibling("other")), chunk(2, "abc"));
    EXPECT_EQ(file.bytes(), wholeMovie().finished("a=1\n"));
}

// --- refusals ---

void expectRefused(const Failure& failure, const QByteArray& bytes) {
    const ScratchFile file(bytes);
    ImageWriter writer;
    expectFailure<IOFileException>(failure,
                                   [&] { writer.modifyAttribute(file.path(), parsed("a=1\n")); });
    EXPECT_FALSE(writer.isOpen());
    EXPECT_EQ(file.bytes(), bytes);
}

TEST(ModifyAttribute, FilesThatAreNoMoviesStayAsTheyWere) {
    const Failure noMovie = {"dataio.imagewriter", FILESYSTEM, "FDCW_MODIFY",
                             QStringLiteral("This is not a RQS file.")};
    expectRefused(noMovie, "");
    expectRefused(noMovie, wholeMovie().chunks());
    expectRefused(indexTooSmall(), wholeMovie().chunks() + chunk(5, "abc"));
    expectRefused(damagedHeader(), wholeMovie().finished(oldText) + "\n");

    const ScratchFile file;
    ImageWriter writer;
    const QString missing = file.sibling("missing");
    expectFailure<IOFileException>(noMovie,
                                   [&] { writer.modifyAttribute(missing, parsed("a=1\n")); });
    EXPECT_FALSE(QFile::exists(missing));
    const QString nowhere = file.sibling("no/folder");
    expectFailure<IOFileException>({"dataio.filewriter", SYSCALL, "FW_OF_OPEN2",
                                    "File " + nowhere + " : No such file or directory"},
                                   [&] { writer.modifyAttribute(nowhere, {}); });
}

TEST(ModifyAttribute, FullDiskPutsTheOldEndBack) {
    const QByteArray before = wholeMovie().finished(oldText);
    const AttributeChunk longer = parsed("note=some more text than there was before\n");
    const qsizetype after =
        wholeMovie().finished("note=some more text than there was before\n").size();
    ASSERT_GT(after, before.size());
    for (qsizetype room = before.size(); room < after; ++room) {
        const ScratchFile file(before);
        ImageWriter writer;
        {
            const LogCapture log;
            const FileSizeLimit limit(static_cast<rlim_t>(room));
            EXPECT_THROW(writer.modifyAttribute(file.path(), longer), IOFileException) << room;
            EXPECT_EQ(log.records().size(), 1U);
        }
        EXPECT_FALSE(writer.isOpen());
        ASSERT_EQ(file.bytes(), before) << room;
        writer.modifyAttribute(file.path(), longer);
        ASSERT_EQ(file.size(), after);
    }
}

}  // namespace
