// Requests for frames: their order, the current frame, byte order and damaged places.

#include <fstream>
#include <sstream>
#include <string>

#include <tests/support/failures.h>
#include <tests/support/moviereader.h>

using namespace mz;
using namespace mz::test;

namespace {

MovieBytes frames(std::initializer_list<const char*> payloads) {
    MovieBytes movie;
    for (const char* payload : payloads)
        movie.frame(payload);
    return movie;
}

/// Whether the address lies in this process's view of that very file.
bool isMappedFrom(const QString& path, const void* address) {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        uintptr_t begin = 0;
        uintptr_t end = 0;
        char dash = 0;
        std::istringstream(line) >> std::hex >> begin >> dash >> end;
        const auto wanted = reinterpret_cast<uintptr_t>(address);
        if (wanted >= begin && wanted < end)
            return QString::fromStdString(line).endsWith(' ' + path);
    }
    return false;
}

}  // namespace

// --- moving about ----------------------------------------------------------------------------

TEST_F(MovieReader, GivesFramesInAnyOrderAndRemembersTheLast) {
    open(frames({"one", "two", "three"}));
    EXPECT_EQ(rawFrame(2), QByteArray("three"));
    EXPECT_EQ(reader.currFrameIdx(), 2U);
    EXPECT_EQ(frame(0, 3), QByteArray("one"));
    EXPECT_EQ(reader.currFrameIdx(), 0U);
}

TEST_F(MovieReader, TheIndexOrdersTheFrames) {
    MovieBytes movie;
    movie.raw(chunk(2, "second") + chunk(8, "x") + chunk(2, "first"));
    open(movie.record(2, 38 + 33, 5).record(8, 38, 1).record(2, 0, 6));
    EXPECT_EQ(reader.nbFrames(), 2U);
    EXPECT_EQ(rawFrame(0), QByteArray("first"));
    EXPECT_EQ(rawFrame(1), QByteArray("second"));
}

TEST_F(MovieReader, TheChunkTellsTheSizeOfAFrame) {
    open(MovieBytes().size(1, 1).raw(chunk(2, "three")).record(2, 0, 999));
    EXPECT_EQ(rawFrame(0), QByteArray("three"));
}

TEST_F(MovieReader, TellsWhatTheIndexSaysOfAFrame) {
    EXPECT_FALSE(reader.frameRecord(0));
    open(MovieBytes().laserPowers("p").frame("three").record(2, 7, 999));
    ASSERT_TRUE(reader.frameRecord(0));
    EXPECT_EQ(reader.frameRecord(0)->offset, 33U);
    EXPECT_EQ(reader.frameRecord(0)->length, 5U);
    ASSERT_TRUE(reader.frameRecord(1));
    EXPECT_EQ(reader.frameRecord(1)->offset, 7U);
    EXPECT_EQ(reader.frameRecord(1)->length, 999U);
    EXPECT_FALSE(reader.frameRecord(2));
    EXPECT_FALSE(reader.frameRecord(0xffffffff));
    EXPECT_EQ(reader.currFrameIdx(), 0U);
}

TEST_F(MovieReader, AnEmptyFrameIsAFrame) {
    open(frames({""}));
    EXPECT_EQ(rawFrame(0), QByteArray(""));
    EXPECT_TRUE(frame(0, 0));
}

TEST_F(MovieReader, AFrameBeyondTheLastIsNoneAndChangesNothing) {
    open(frames({"one", "two"}));
    ASSERT_TRUE(rawFrame(1));
    int untouched = 0;
    const void* data = &untouched;
    for (const unsigned int beyond : {2U, 3U, 0xffffffffU}) {
        EXPECT_FALSE(reader.getFrame(data, beyond));
        EXPECT_FALSE(reader.getRawFrame(data, beyond));
    }
    EXPECT_EQ(data, &untouched);
    EXPECT_EQ(reader.currFrameIdx(), 1U);
}

TEST_F(MovieReader, NextFrameWalksToTheEndAndCountsOn) {
    open(frames({"one", "two"}));
    const void* data = nullptr;
    EXPECT_TRUE(reader.nextFrame(data));
    EXPECT_TRUE(reader.nextFrame(data));
    EXPECT_EQ(reader.currFrameIdx(), 2U);
    EXPECT_FALSE(reader.nextFrame(data));
    EXPECT_EQ(reader.currFrameIdx(), 3U);
    EXPECT_FALSE(reader.nextFrame(data));
    EXPECT_EQ(reader.currFrameIdx(), 4U);
    EXPECT_TRUE(reader.rewind());
    EXPECT_EQ(reader.currFrameIdx(), 0U);
    ASSERT_TRUE(reader.nextFrame(data));
    EXPECT_EQ(std::string(static_cast<const char*>(data), 3), "one");
}

TEST_F(MovieReader, NextFrameRepeatsTheFrameThatWasAskedFor) {
    open(frames({"0", "1", "2", "3"}));
    ASSERT_TRUE(frame(3, 1));
    const void* data = nullptr;
    ASSERT_TRUE(reader.nextFrame(data));
    EXPECT_EQ(*static_cast<const char*>(data), '3');
    EXPECT_EQ(reader.currFrameIdx(), 4U);
}

// --- where frames lie ------------------------------------------------------------------------

TEST_F(MovieReader, AnUncompressedFrameIsLookedAtInTheFile) {
    open(frames({"one", "two"}));
    for (const unsigned int idx : {0U, 1U}) {
        const void* data = nullptr;
        ASSERT_TRUE(reader.getFrame(data, idx));
        EXPECT_TRUE(isMappedFrom(file.path(), data));
    }
}

TEST_F(MovieReader, FramesOfManyPagesAreLookedAtInTheFile) {
    const QByteArray pixels(300000, 'p');
    open(MovieBytes().frame("odd").frame(pixels).frame(pixels));
    const void* data = nullptr;
    ASSERT_EQ(reader.getRawFrame(data, 2), 300000U);
    EXPECT_TRUE(isMappedFrom(file.path(), data));
    EXPECT_TRUE(isMappedFrom(file.path(), static_cast<const char*>(data) + 299999));
    EXPECT_EQ(rawFrame(2), pixels);
}

TEST_F(MovieReader, ASwappedFrameIsACopy) {
    open(MovieBytes().endian(Order::Big).attribute("pixbits", 16).frame("abcd").frame("efgh"));
    const void* data = nullptr;
    ASSERT_EQ(reader.getRawFrame(data, 0), 4U);
    EXPECT_FALSE(isMappedFrom(file.path(), data));
    EXPECT_EQ(rawFrame(1), QByteArray("fehg"));
    EXPECT_EQ(rawFrame(0), QByteArray("badc")) << "the file is not swapped in place";
}

TEST_F(MovieReader, FibersAndHeaderLeaveASwappedFrameReadable) {
    open(MovieBytes()
             .size(2, 1)
             .endian(Order::Big)
             .attribute("pixbits", 16)
             .frame("abcd")
             .laserPowers(QByteArray("\x01")));
    const void* data = nullptr;
    ASSERT_TRUE(reader.getFrame(data, 0));
    reader.reloadHeader();
    EXPECT_EQ(QByteArray(static_cast<const char*>(data), 4), QByteArray("badc"));
}

// --- byte order ------------------------------------------------------------------------------

namespace {

struct SwapCase {
    const char* attributes;
    QByteArray stored;
    QByteArray read;
};

void PrintTo(const SwapCase& swap, std::ostream* out) {
    *out << testing::PrintToString(swap.attributes) << " " << swap.stored;
}

class Samples : public MovieReader, public testing::WithParamInterface<SwapCase> {};

}  // namespace

TEST_P(Samples, AreGivenInNativeOrder) {
    // Behind a chunk of odd size, so that no sample lies where a processor would like it.
    for (const char* before : {"", "x"}) {
        open(MovieBytes().text(GetParam().attributes).laserPowers(before).frame(GetParam().stored));
        EXPECT_EQ(rawFrame(0), GetParam().read);
        EXPECT_EQ(frame(0, GetParam().read.size()), GetParam().read);
    }
}

INSTANTIATE_TEST_SUITE_P(Endian, Samples,
                         testing::Values(SwapCase{"pixbits=16\n", "abcd", "abcd"},
                                         SwapCase{"endian=0\npixbits=16\n", "abcd", "abcd"},
                                         SwapCase{"endian=2\npixbits=16\n", "abcd", "abcd"},
                                         SwapCase{"endian=1\npixbits=16\n", "abcd", "badc"},
                                         SwapCase{"endian=3\npixbits=16\n", "abcd", "badc"},
                                         SwapCase{"endian=-1\npixbits=16\n", "abcd", "badc"},
                                         SwapCase{"endian=big\npixbits=16\n", "abcd", "abcd"}));

INSTANTIATE_TEST_SUITE_P(Width, Samples,
                         testing::Values(SwapCase{"endian=1\npixbits=8\n", "abcd", "abcd"},
                                         SwapCase{"endian=1\npixbits=9\n", "abcd", "badc"},
                                         SwapCase{"endian=1\npixbits=12\n", "abcd", "badc"},
                                         SwapCase{"endian=1\npixtype=5\n", "abcd", "badc"},
                                         SwapCase{"endian=1\npixbits=24\n", "abcdef", "abcdef"},
                                         SwapCase{"endian=1\npixtype=11\n", "abcdef", "abcdef"},
                                         SwapCase{"endian=1\npixbits=32\n", "abcdefgh", "dcbahgfe"},
                                         SwapCase{"endian=1\npixtype=1\n", "abcdefgh", "dcbahgfe"},
                                         SwapCase{"endian=1\npixbits=64\n", "abcdefgh", "abcdefgh"},
                                         SwapCase{"endian=1\npixbits=0\n", "abcd", "abcd"},
                                         SwapCase{"endian=1\npixbits=-20\n", "abcd", "abcd"},
                                         SwapCase{"endian=1\n", "abcd", "abcd"}));

// A damaged frame ends inside a sample. Its size is still that of the chunk, so all of its bytes
// must be there to be read.
INSTANTIATE_TEST_SUITE_P(Rest, Samples,
                         testing::Values(SwapCase{"endian=1\npixbits=16\n", "", ""},
                                         SwapCase{"endian=1\npixbits=16\n", "a", "a"},
                                         SwapCase{"endian=1\npixbits=16\n", "abcde", "badce"},
                                         SwapCase{"endian=1\npixbits=32\n", "abc", "abc"},
                                         SwapCase{"endian=1\npixbits=32\n", "abcdefg", "dcbaefg"}));

TEST_F(MovieReader, SamplesThatAreNotSwappedAreNotCopied) {
    open(MovieBytes().endian(Order::Big).attribute("pixbits", 8).frame("abcd"));
    const void* data = nullptr;
    ASSERT_TRUE(reader.getFrame(data, 0));
    EXPECT_TRUE(isMappedFrom(file.path(), data));
}

// --- damage ----------------------------------------------------------------------------------

TEST_F(MovieReader, ARecordThatLeadsToNoFrameGivesNone) {
    MovieBytes movie = frames({"one"});
    movie.record(2, movie.end() + 1000, 3);  // behind the file
    movie.record(2, movie.end(), 3);         // the powers
    movie.chunk(MovieBytes::LaserPower, "x");
    open(movie);
    ASSERT_EQ(reader.nbFrames(), 3U);
    int untouched = 0;
    const void* data = &untouched;
    EXPECT_FALSE(reader.getFrame(data, 1));
    EXPECT_FALSE(reader.getRawFrame(data, 2));
    EXPECT_EQ(data, &untouched);
    EXPECT_EQ(reader.currFrameIdx(), 0U);
    EXPECT_EQ(rawFrame(0), QByteArray("one"));
}

TEST_F(MovieReader, NextFramePassesOverAFrameThatIsNotThere) {
    open(MovieBytes().record(2, 1000, 3).frame("one"));
    const void* data = nullptr;
    EXPECT_FALSE(reader.nextFrame(data));
    ASSERT_TRUE(reader.nextFrame(data));
    EXPECT_EQ(std::string(static_cast<const char*>(data), 3), "one");
}

TEST_F(MovieReader, ARecordThatLeadsAstrayFails) {
    open(frames({"one"}).record(2, 1, 3));
    expectFailure<IOFileException>(damagedHeader(), [&] { rawFrame(1); });
    EXPECT_EQ(rawFrame(0), QByteArray("one"));
}

TEST_F(MovieReader, AFrameThatLeavesTheFileFails) {
    open(MovieBytes().raw(startHeader(2, 0xffffffff)).record(2, 0, 3));
    expectFailure<IOFileException>({"dataio.mmapchunkreader", SOFTWARE, "MM_NC_BOUND",
                                    "Chunk exceeds file, file may be corrupted."},
                                   [&] { rawFrame(0); });
}

TEST_F(MovieReader, NextFrameStaysAtAFrameThatFails) {
    open(MovieBytes().raw(startHeader(2, 0xffffffff)).record(2, 0, 3));
    const LogCapture quiet;
    const void* data = nullptr;
    EXPECT_THROW(reader.nextFrame(data), IOFileException);
    EXPECT_EQ(reader.currFrameIdx(), 0U);
}

TEST_F(MovieReader, AFileThatShrinksUnderTheReaderFailsAtTheNextRequest) {
    const MovieBytes movie = MovieBytes().size(1, 1).frame("one").frame("two").fibers({0, 0});
    const qint64 frameEnd = 35 + 16 + 3;  // of the second frame's payload
    for (qint64 length = 0; length < movie.bytes().size(); ++length) {
        const LogCapture quiet;
        open(movie);
        file.resize(length);
        if (length < frameEnd) {
            EXPECT_THROW(rawFrame(1), IOFileException) << length;
        } else {
            EXPECT_EQ(rawFrame(1), QByteArray("two")) << length;
        }
        if (length < movie.end() - 16) {
            EXPECT_THROW(reader.nbFibers(ImageReader::NoFiberFiltering), IOFileException) << length;
        }
        EXPECT_THROW(reader.reloadHeader(), IOFileException) << length;
    }
}

TEST_F(MovieReader, AShrunkFileIsToldByItsMissingInfo) {
    open(frames({"one", "two"}));
    file.resize(35);
    const QString message = "File " + file.path() + ": missing info, bad file format.";
    expectFailure<IOFileException>(readerFailure("IR_MISSINFO", message), [&] { rawFrame(1); });
    EXPECT_EQ(reader.currFrameIdx(), 0U);
    EXPECT_EQ(rawFrame(0), QByteArray("one")) << "what is left can be read";
}
