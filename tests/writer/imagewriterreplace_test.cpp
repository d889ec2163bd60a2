// Replacing frames in place: bytes, times and powers, and what each refusal leaves behind.

#include <libDataIO/imagewriter.h>

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include <tests/support/expectfailure.h>
#include <tests/support/limits.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>
#include <tests/support/translated.h>

using namespace mz;
using namespace mz::test;

namespace {

Failure refusal(const char* code, const char* message) {
    return {"dataio.imagewriter", SOFTWARE, code, QString::fromLatin1(message)};
}

const Failure compressed =
    refusal("IW_RF_COMPRESS", "Cannot replace frame when using compression.");
const Failure automatic =
    refusal("IW_RF_AUTOTIME", "AddFrame with a frametiming cannot be used with autotime=true");
const Failure noFrames = refusal("IW_RF_FIND", "Cannot replace frame, indice out of bounds.");
const Failure noFrames2 = refusal("IW_RF_FIND2", "Cannot replace frame, indice out of bounds.");
const Failure noSuchFrame = refusal("IW_RF_BOUND", "Cannot replace Frame, indice out of bounds.");
const Failure noSuchFrame2 = refusal("IW_RF_BOUND2", "Cannot replace Frame, indice out of bounds.");
const Failure noTime = refusal("IW_RF_TIMER", "Cannot replace the time of a frame that has none.");

/// Three frames of times 1, 2, 3 and half the power.
void recordThree(ImageWriter& writer, const QString& path) {
    writer.create(path, false);
    add(writer, "aaa", timeOf(1), 0.5F);
    add(writer, "bb", timeOf(2), 0.5F);
    add(writer, "cccc", timeOf(3), 0.5F);
}

TEST(ReplaceFrame, WritesOverTheWholeChunkAndNothingElse) {
    const ScratchFile file;
    ImageWriter writer;
    recordThree(writer, file.path());
    writer.replaceFrame("BBXX", 1, 1.0F);  // two bytes of it
    EXPECT_EQ(file.bytes(), chunk(2, "aaa") + chunk(2, "BB") + chunk(2, "cccc"));
    writer.close();
    const Movie movie = soundMovie(file.path());
    EXPECT_EQ(movie.frames, (std::vector<QByteArray>{"aaa", "BB", "cccc"}));
    EXPECT_EQ(movie.powers, (std::vector<int>{127, 254, 127}));
    EXPECT_EQ(movie.times, (std::vector<MovieTime>{{1, 0}, {2, 0}, {3, 0}}));
}

TEST(ReplaceFrame, TakesAGivenTime) {
    const ScratchFile file;
    ImageWriter writer;
    recordThree(writer, file.path());
    writer.replaceFrame("AAA", 0, timeOf(4), 1.0F);
    writer.close();
    const Movie movie = soundMovie(file.path());
    EXPECT_EQ(movie.frames.front(), "AAA");
    EXPECT_EQ(movie.times, (std::vector<MovieTime>{{2, 0}, {3, 0}, {4, 0}}));
    EXPECT_EQ(movie.powers, (std::vector<int>{254, 127, 127}));
}

TEST(ReplaceFrame, TakesThePresentTimeWithAutotime) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), true);
    add(writer, "aaa");
    add(writer, "bbb");
    timeval before{};
    gettimeofday(&before, nullptr);
    writer.replaceFrame("AAA", 0);
    writer.close();
    const Movie movie = soundMovie(file.path());
    ASSERT_EQ(movie.times.size(), 2U);
    const MovieTime& last = movie.times.back();  // sorted: the replaced one is the youngest
    EXPECT_GE(std::make_pair(int64_t{last.sec}, int64_t{last.usec}),
              std::make_pair(int64_t{before.tv_sec}, int64_t{before.tv_usec}));
}

TEST(ReplaceFrame, WithoutAPowerTheFrameHasNone) {
    const ScratchFile file;
    ImageWriter writer;
    recordThree(writer, file.path());
    writer.replaceFrame("AAA", 0);
    writer.replaceFrame("BB", 1, timeOf(2));
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).powers, (std::vector<int>{255, 255, 127}));
}

TEST(ReplaceFrame, SizeOfTheLastAddedFrameStillDecidesTheDataType) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    setSize(writer, 2, 2, MZ_UCHAR);
    add(writer, "abc");
    add(writer, "wxyz");
    writer.replaceFrame("ABC", 0);
    writer.close();
    EXPECT_FALSE(soundMovie(file.path()).has("data_type"));
}

// --- refusals ---

TEST(ReplaceFrame, CompressionIsRefusedBeforeAllElse) {
    for (const auto type : {CompressionType::ZLib, CompressionType::GZip, CompressionType::BZip2}) {
        const ScratchFile file;
        ImageWriter writer;
        writer.create(file.path(), true);
        writer.setCompression(type);
        expectFailure<IOFileException>(compressed, [&] { writer.replaceFrame("aaa", 0); });
        expectFailure<IOFileException>(compressed,
                                       [&] { writer.replaceFrame("aaa", 0, timeOf(1)); });
        add(writer, frame16(100));
        const QByteArray before = file.bytes();
        expectFailure<IOFileException>(compressed, [&] { writer.replaceFrame("aaa", 0); });
        expectFailure<IOFileException>(compressed, [&] { writer.replaceFrame("aaa", 9); });
        EXPECT_EQ(file.bytes(), before);
    }
    ImageWriter closed;
    closed.setCompression(CompressionType::ZLib);
    expectFailure<IOFileException>(compressed, [&] { closed.replaceFrame("aaa", 0); });
}

TEST(ReplaceFrame, GivenTimeWithAutotimeIsRefusedBeforeTheIndexIsLookedAt) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), true);
    expectFailure<IOFileException>(automatic, [&] { writer.replaceFrame("aaa", 0, timeOf(1)); });
    add(writer, "aaa");
    expectFailure<IOFileException>(automatic, [&] { writer.replaceFrame("bbb", 0, timeOf(1)); });
    EXPECT_EQ(file.bytes(), chunk(2, "aaa"));
}

TEST(ReplaceFrame, FramesThatAreNotThereAreRefused) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    expectFailure<IOFileException>(noFrames, [&] { writer.replaceFrame("aaa", 0); });
    expectFailure<IOFileException>(noFrames2, [&] { writer.replaceFrame("aaa", 0, timeOf(1)); });
    add(writer, "aaa", timeOf(1), 0.5F);
    for (const unsigned int index : {1U, 0x80000000U, 0xffffffffU}) {
        expectFailure<IOFileException>(noSuchFrame, [&] { writer.replaceFrame("bbb", index); });
        expectFailure<IOFileException>(noSuchFrame2,
                                       [&] { writer.replaceFrame("bbb", index, timeOf(1)); });
    }
    EXPECT_EQ(file.bytes(), chunk(2, "aaa"));
    add(writer, "ccc", timeOf(2));  // the position is that behind the first frame
    EXPECT_EQ(file.bytes(), chunk(2, "aaa") + chunk(2, "ccc"));
}

TEST(ReplaceFrame, TimeOfAFrameThatHasNoneIsRefused) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    add(writer, "aaa", timeOf(1), 0.5F);
    add(writer, "bbb", 0.5F);
    expectFailure<IOFileException>(noTime, [&] { writer.replaceFrame("BBB", 1, timeOf(2), 1.0F); });
    EXPECT_EQ(file.bytes(), chunk(2, "aaa") + chunk(2, "bbb"));
    writer.replaceFrame("BBB", 1, 1.0F);
    writer.close();
    const Movie movie = soundMovie(file.path());
    EXPECT_EQ(movie.frames.back(), "BBB");
    EXPECT_EQ(movie.times, (std::vector<MovieTime>{{1, 0}}));
    EXPECT_EQ(movie.powers, (std::vector<int>{127, 254}));
}

TEST(ReplaceFrame, DiskFaultChangesNeitherTimesNorPowers) {
    const ScratchFile file;
    ImageWriter writer;
    recordThree(writer, file.path());
    const QByteArray before = file.bytes();
    {
        const FileSizeLimit limit(10);
        expectFailure<IOFileException>(
            {"dataio.chunkheader", SYSCALL, "CHB_WFD_WRITE",
             QStringLiteral("Could not write chunk start header: File too large")},
            [&] { writer.replaceFrame("BB", 1, timeOf(9), 1.0F); });
    }
    EXPECT_EQ(file.bytes(), before);
    writer.close();
    const Movie movie = soundMovie(file.path());
    EXPECT_EQ(movie.powers, (std::vector<int>{127, 127, 127}));
    EXPECT_EQ(movie.times, (std::vector<MovieTime>{{1, 0}, {2, 0}, {3, 0}}));
}

// --- movies with fewer powers than frames ---

/// Three frames and the given powers, opened for modification.
void modifyThree(ImageWriter& writer, const ScratchFile& file, const QByteArray& powers) {
    const QByteArray frames = chunk(2, "aaa") + chunk(2, "bb") + chunk(2, "cccc");
    const bool hasPowers = !powers.isEmpty();
    const QByteArray index = indexRecord(2, 0, 3) + indexRecord(2, 35, 2) + indexRecord(2, 69, 4) +
                             (hasPowers ? indexRecord(8, 105, uint32_t(powers.size())) : "");
    writeFile(file.path(), frames + (hasPowers ? chunk(8, powers) : "") +
                               chunk(5, le32(hasPowers ? 4 : 3) + index + "endian=2\n"));
    writer.modify(file.path());
}

/// A movie of one frame whose index says something else about it.
void expectUntouchedWithIndex(uint32_t offset, uint32_t length) {
    const ScratchFile file;
    const QByteArray frames = chunk(2, "aaa") + chunk(3, "bbb");
    writeFile(file.path(),
              frames + chunk(5, le32(1) + indexRecord(2, offset, length) + "endian=2\n"));
    ImageWriter writer;
    writer.modify(file.path());
    expectFailure<IOFileException>(
        refusal("IW_RF_CHUNK", "Frame is not where the index says, file may be corrupted."),
        [&] { writer.replaceFrame("AAA", 0); });
    EXPECT_EQ(file.bytes(), frames);
    add(writer, "cc");
    EXPECT_EQ(file.bytes(), frames + chunk(2, "cc"));
}

TEST(ReplaceFrame, WritesNothingWhereADamagedIndexLeads) {
    expectUntouchedWithIndex(1, 3);           // into a header
    expectUntouchedWithIndex(35, 3);          // another type of chunk
    expectUntouchedWithIndex(70, 3);          // the end of the file
    expectUntouchedWithIndex(0xffffffff, 3);  // far behind it
}

TEST(ReplaceFrame, TakesNoMoreBytesThanTheFrameHas) {
    expectUntouchedWithIndex(0, 0xffffffff);
    expectUntouchedWithIndex(0, 2);
}

TEST(ReplaceFrame, MissingPowersAreFilledUpWhenThereIsOneToStore) {
    const ScratchFile file;
    ImageWriter writer;
    modifyThree(writer, file, {});
    writer.replaceFrame("BB", 1, 0.0F);
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).powers, (std::vector<int>{255, 0, 255}));

    modifyThree(writer, file, "\x01");
    writer.replaceFrame("CCCC", 2, 1.0F);
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).powers, (std::vector<int>{1, 255, 254}));
}

TEST(ReplaceFrame, MissingPowersStayMissingWithoutOne) {
    const ScratchFile file;
    ImageWriter writer;
    modifyThree(writer, file, {});
    writer.replaceFrame("BB", 1);
    writer.replaceFrame("CCCC", 2, -0.5F);
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).types(), (std::vector<uint32_t>{2, 2, 2, 5}));

    modifyThree(writer, file, "\x01\x02");
    writer.replaceFrame("CCCC", 2);
    writer.replaceFrame("BB", 1);
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).powers, (std::vector<int>{1, 255}));
}

TEST(ReplaceFrame, MessagesAreTranslatedUnlikeThoseOfAddFrame) {
    const Translated translated;
    const char* automaticText = "AddFrame with a frametiming cannot be used with autotime=true";
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), true);
    expectFailure<IOFileException>(
        refusal("IW_RF_FIND", "QObject: Cannot replace frame, indice out of bounds."),
        [&] { writer.replaceFrame("aaa", 0); });
    expectFailure<IOFileException>(
        refusal("IW_RF_AUTOTIME",
                "QObject: AddFrame with a frametiming cannot be used with autotime=true"),
        [&] { writer.replaceFrame("aaa", 0, timeOf(1)); });
    expectFailure<IOFileException>(refusal("IW_AF_AUTOTIME2", automaticText),
                                   [&] { writer.addFrame("aaa", 3, timeOf(1)); });
    add(writer, "aaa");
    expectFailure<IOFileException>(
        refusal("IW_RF_BOUND", "QObject: Cannot replace Frame, indice out of bounds."),
        [&] { writer.replaceFrame("aaa", 1); });
    writer.create(file.path(), false);
    expectFailure<IOFileException>(
        refusal("IW_RF_FIND2", "QObject: Cannot replace frame, indice out of bounds."),
        [&] { writer.replaceFrame("aaa", 0, timeOf(1)); });
    add(writer, "aaa", timeOf(1));
    expectFailure<IOFileException>(
        refusal("IW_RF_BOUND2", "QObject: Cannot replace Frame, indice out of bounds."),
        [&] { writer.replaceFrame("aaa", 1, timeOf(1)); });
    writer.setCompression(CompressionType::ZLib);
    expectFailure<IOFileException>(
        refusal("IW_RF_COMPRESS", "QObject: Cannot replace frame when using compression."),
        [&] { writer.replaceFrame("aaa", 0); });
}

}  // namespace
