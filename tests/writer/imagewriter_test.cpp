// Starting a movie, the end of a writer, and what it shows of itself.

#include <libDataIO/imagewriter.h>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <memory>
#include <regex>
#include <vector>

#include <tests/support/cancelled.h>
#include <tests/support/expectfailure.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

// --- create ---

TEST(ImageWriterCreate, LeavesAnEmptyFileOfItsOwnerAlone) {
    const ScratchFile file("an older movie");
    ImageWriter writer;
    EXPECT_FALSE(writer.isOpen());
    writer.create(file.path(), true);
    EXPECT_TRUE(writer.isOpen());
    EXPECT_EQ(file.bytes(), "");

    writer.create(file.sibling("new"), true);
    struct stat status {};
    ASSERT_EQ(stat(file.sibling("new").toLocal8Bit().constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST(ImageWriterCreate, StartsWithByteOrderAndNoCompression) {
    ImageWriter writer;
    EXPECT_EQ(text(writer, "endian"), "2");
    EXPECT_EQ(text(writer, "compression_type"), "none");
    EXPECT_EQ(writer.attributeChunk().attributes().size(), 2U);
}

TEST(ImageWriterCreate, ForgetsWhatWasSetOrRecordedBefore) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.sibling("first"), true);
    setSize(writer, 2, 2);
    add(writer, frame16(4), 0.5F);
    writer.addRasterFiberContinuousIndexes({1, 1});
    writer.setCompression(CompressionType::GZip);
    writer.attribute(QStringLiteral("endian"), 7);

    writer.create(file.path(), false);
    writer.close();
    EXPECT_EQ(file.bytes(), chunk(5, le32(0) + emptyHeader));
}

TEST(ImageWriterCreate, ResetsCompressionForFramesAsWell) {
    const ScratchFile file;
    ImageWriter writer;
    writer.setCompression(CompressionType::ZLib);
    writer.create(file.path(), false);
    add(writer, "abcd");
    EXPECT_EQ(file.bytes(), chunk(2, "abcd"));
}

TEST(ImageWriterCreate, ForgetsTheSizeOfTheLastFrame) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    add(writer, "abc");
    writer.create(file.path(), false);
    setSize(writer, 2, 2);
    writer.close();
    EXPECT_FALSE(soundMovie(file.path()).has("data_type"));
}

TEST(ImageWriterCreate, DropsAnOpenFileAsItStands) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.sibling("first"), true);
    add(writer, "abc");
    writer.create(file.path(), true);
    EXPECT_EQ(readFile(file.sibling("first")), chunk(2, "abc"));
}

TEST(ImageWriterCreate, FailureLeavesAClosedAndEmptyWriter) {
    const ScratchFile file;
    const QString missing = file.sibling("no/such/folder");
    ImageWriter writer;
    writer.create(file.path(), true);
    writer.width(3);
    expectFailure<IOFileException>({"dataio.filewriter", SYSCALL, "FW_OF_OPEN",
                                    "File " + missing + " : No such file or directory"},
                                   [&] { writer.create(missing, true); });
    EXPECT_FALSE(writer.isOpen());
    EXPECT_FALSE(has(writer, "width"));
    writer.close();
    EXPECT_EQ(file.bytes(), "");
}

// --- the end of a writer ---

TEST(ImageWriterEnd, ClosesAnOpenMovie) {
    const ScratchFile file;
    {
        ImageWriter writer;
        writer.create(file.path(), false);
        add(writer, "abc");
    }
    EXPECT_EQ(soundMovie(file.path()).frames, (std::vector<QByteArray>{"abc"}));
}

TEST(ImageWriterEnd, FinishesTheMovieOfAThreadThatIsCancelled) {
    DATAIO_SKIP_CANCELLATION_IF_SANITIZED();
    const ScratchFile file;
    bool isBehind = false;
    EXPECT_TRUE(isCancelled([&] {
        {
            ImageWriter writer;
            writer.create(file.path(), false);
            add(writer, "abc");
            pthread_cancel(pthread_self());
        }
        isBehind = true;
        pthread_testcancel();
    }));
    EXPECT_TRUE(isBehind);
    EXPECT_EQ(soundMovie(file.path()).frames, (std::vector<QByteArray>{"abc"}));
}

TEST(ImageWriterEnd, SwallowsAFailureWithNoRecordButItsOwn) {
    const ScratchFile file;
    auto writer = std::make_unique<ImageWriter>();
    writer->create(file.path(), false);
    add(*writer, "abc");
    writer->addRasterFiberContinuousIndexes({1, 1});
    const LogCapture log;
    writer.reset();
    ASSERT_EQ(log.records().size(), 1U);
    EXPECT_EQ(log.records().front().code, "IW_ARFCI_INFO");
    EXPECT_EQ(file.bytes(), chunk(2, "abc"));
}

// --- debugging output ---

TEST(ImageWriterDump, ShowsIndexHeaderAndFile) {
    ImageWriter writer;
    char address[64];
    std::snprintf(address, sizeof address, "%p", static_cast<const void*>(&writer));
    const std::string head = std::string("-------------------------- Dump debug ImageWriter ") +
                             address + "\nInfo Header:\nChunk index----------------------\n";
    const std::string attributes =
        "---------------------------------\nAttribute Chunk Dump:\nNumber of items: 2\n"
        "compression_type -> none\nendian -> 2\n";

    testing::internal::CaptureStdout();
    writer.dumpDebug();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              head + attributes + "writer = (nil)\nfd = 4294967295\n");

    const ScratchFile file;
    writer.create(file.path(), false);
    add(writer, "abc");
    add(writer, "");
    testing::internal::CaptureStdout();
    writer.dumpDebug();
    const std::string expected = head +
                                 "index[2][0] -> first: off 0 - len 3 \n"
                                 "index[2][1] -> first: off 35 - len 0 \n" +
                                 attributes;
    const std::string text = testing::internal::GetCapturedStdout();
    ASSERT_EQ(text.substr(0, expected.size()), expected);
    EXPECT_TRUE(std::regex_match(text.substr(expected.size()),
                                 std::regex("writer = 0x[0-9a-f]+\nfd = [0-9]+\n")));
}

}  // namespace
