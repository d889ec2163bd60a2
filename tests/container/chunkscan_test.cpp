// Finding whole chunks in files that are damaged or are no movies at all.

#include <libDataIO/container/chunkscan.h>

#include <gtest/gtest.h>

#include <chrono>

#include <tests/support/faultlayer.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

ChunkScan scanFile(const ScratchFile& file) {
    const int fd = file.open(O_RDONLY);
    ChunkScan scan = scanChunks(fd);
    ::close(fd);
    EXPECT_EQ(scan.readError, 0);
    EXPECT_EQ(scan.fileSize, file.size());
    return scan;
}

ChunkScan scanOf(const QByteArray& bytes) {
    return scanFile(ScratchFile(bytes));
}

std::vector<qint64> offsets(const ChunkScan& scan) {
    std::vector<qint64> out;
    for (const ChunkSpan& chunk : scan.chunks)
        out.push_back(chunk.offset);
    return out;
}

/// Two frames and an info chunk of 35, 34 and 36 bytes.
const QByteArray& movie() {
    static const QByteArray bytes = chunk(2, "abc") + chunk(2, "de") + chunk(5, le32(0));
    return bytes;
}

TEST(ChunkScan, FindsTheChunksOfASoundFile) {
    const ChunkScan scan = scanOf(movie());
    ASSERT_EQ(offsets(scan), (std::vector<qint64>{0, 35, 69}));
    EXPECT_EQ(scan.chunks[0].type, 2U);
    EXPECT_EQ(scan.chunks[0].size, 3U);
    EXPECT_EQ(scan.chunks[0].length(), 35);
    EXPECT_EQ(scan.chunks[1].end(), 69);
    EXPECT_EQ(scan.chunks[2].type, 5U);
    EXPECT_TRUE(scan.gaps.empty());
    EXPECT_EQ(scan.soundEnd(), 105);
}

TEST(ChunkScan, FindsAChunkRightBehindAFalseBeginning) {
    const ScratchFile file(QByteArray("x\n<CSTA") + "\n<CSTA" + chunk(2, "abc"));
    EXPECT_EQ(offsets(scanFile(file)), (std::vector<qint64>{13}));
}

TEST(ChunkScan, OfAnEmptyFileIsEmpty) {
    const ChunkScan scan = scanOf("");
    EXPECT_TRUE(scan.chunks.empty());
    EXPECT_TRUE(scan.gaps.empty());
    EXPECT_EQ(scan.soundEnd(), 0);
}

TEST(ChunkScan, AnInterruptedReadThatIsMadeAgainIsNoReadError) {
    const ScratchFile file(movie().left(80));
    const int fd = file.open(O_RDONLY);
    const FailingCalls interrupted(Call::Read, EINTR, 0, 1000);
    const ChunkScan scan = scanChunks(fd);
    ::close(fd);
    EXPECT_EQ(interrupted.hits(), 1000);
    EXPECT_EQ(scan.readError, 0);
    EXPECT_EQ(offsets(scan), (std::vector<qint64>{0, 35}));
}

TEST(ChunkScan, TheFirstReadErrorIsKept) {
    const ScratchFile file(movie());
    const int fd = file.open(O_RDONLY);
    const FailingCalls failing(Call::Read, EISDIR, 1);
    EXPECT_EQ(scanChunks(fd).readError, EISDIR);
    ::close(fd);
}

TEST(ChunkScan, OfNoFileTellsSo) {
    const ChunkScan scan = scanChunks(-1);
    EXPECT_EQ(scan.fileSize, -1);
    EXPECT_TRUE(scan.chunks.empty());
}

TEST(ChunkScan, FindsTheTornChunkAtEveryCut) {
    for (int cut = 0; cut <= movie().size(); ++cut) {
        const ChunkScan scan = scanOf(movie().left(cut));
        std::vector<qint64> expected;
        qint64 end = 0;
        for (const qint64 next : {35, 69, 105}) {
            if (next > cut) break;
            expected.push_back(end);
            end = next;
        }
        EXPECT_EQ(offsets(scan), expected) << cut;
        EXPECT_EQ(scan.soundEnd(), end) << cut;
        if (cut == end) {
            EXPECT_TRUE(scan.gaps.empty()) << cut;
            continue;
        }
        ASSERT_EQ(scan.gaps.size(), 1U) << cut;
        EXPECT_EQ(scan.gaps[0].offset, end) << cut;
        EXPECT_EQ(scan.gaps[0].end(), cut) << cut;
        EXPECT_TRUE(scan.gaps[0].isTorn) << cut;
        EXPECT_EQ(scan.gaps[0].beginsChunk, cut - end >= 6) << cut;
    }
}

TEST(ChunkScan, GoesOnBehindADamagedHeader) {
    // Every byte of both headers of the chunk in the middle.
    for (int i = 0; i < 32; ++i) {
        QByteArray bytes = movie();
        const int at = i < 16 ? 35 + i : 35 + i + 2;
        bytes[at] = static_cast<char>(bytes[at] ^ 0x55);
        const ChunkScan scan = scanOf(bytes);
        EXPECT_EQ(offsets(scan), (std::vector<qint64>{0, 69})) << at;
        ASSERT_EQ(scan.gaps.size(), 1U) << at;
        EXPECT_EQ(scan.gaps[0].offset, 35) << at;
        EXPECT_EQ(scan.gaps[0].length, 34) << at;
        EXPECT_FALSE(scan.gaps[0].isTorn) << at;
        EXPECT_EQ(scan.soundEnd(), 105) << at;
    }
}

TEST(ChunkScan, DoesNotTakeADamagedChunkAtTheEndForATornOne) {
    // Nothing is missing where the end header stands at the end, or the chunk ends before the file.
    const QByteArray frame = chunk(2, "abcd");
    for (int at = 0; at < frame.size(); ++at) {
        if (at >= 16 && at < 20) continue;
        QByteArray bytes = frame;
        bytes[at] = static_cast<char>(bytes[at] ^ 0x40);
        const ChunkScan scan = scanOf(movie() + bytes);
        ASSERT_EQ(scan.gaps.size(), 1U) << at;
        EXPECT_EQ(scan.gaps[0].offset, 105) << at;
        EXPECT_FALSE(scan.gaps[0].isTorn) << at;
        EXPECT_EQ(scan.soundEnd(), 105 + 36) << at;
    }
    EXPECT_FALSE(scanOf(frame + QByteArray(100, '\0')).gaps[0].isTorn);
    EXPECT_FALSE(scanOf(startHeader(2, 4) + QByteArray(100, '\0')).gaps[0].isTorn);
    // Eight bytes of something else, and fifteen.
    EXPECT_FALSE(scanOf(frame + "\n<CSTOP!").gaps[0].isTorn);
    EXPECT_TRUE(scanOf(frame + startHeader(2, 4).left(15)).gaps[0].isTorn);
    EXPECT_FALSE(scanOf(frame + startHeader(2, 4).left(14) + 'X').gaps[0].isTorn);
}

TEST(ChunkScan, FindsChunksBehindInsertedMissingAndZeroedBytes) {
    const QByteArray inserted = movie().left(20) + "xyz" + movie().mid(20);
    EXPECT_EQ(offsets(scanOf(inserted)), (std::vector<qint64>{38, 72}));
    const QByteArray missing = movie().left(36) + movie().mid(50);
    EXPECT_EQ(offsets(scanOf(missing)), (std::vector<qint64>{0, 55}));
    QByteArray zeroed = movie();
    zeroed.replace(10, 40, QByteArray(40, '\0'));
    const ChunkScan scan = scanOf(zeroed);
    EXPECT_EQ(offsets(scan), (std::vector<qint64>{69}));
    EXPECT_EQ(scan.gaps[0].length, 69);
    EXPECT_EQ(offsets(scanOf("garbage" + movie())), (std::vector<qint64>{7, 42, 76}));
}

TEST(ChunkScan, GoesOnBehindABadSector) {
    const QByteArray frame = chunk(2, QByteArray(2000, 'p'));
    const ScratchFile file(frame + frame + frame);
    const qint64 bad = frame.size() / 512 * 512;
    FaultLayer layer(file.path());
    layer.spoil(bad, bad + 512);
    ChunkScan scan;
    layer.during([&] {
        const int watched = file.open(O_RDONLY);
        scan = scanChunks(watched);
        ::close(watched);
    });
    // The end header of the first frame lies in it, the start header of the second as well.
    EXPECT_EQ(offsets(scan), (std::vector<qint64>{2 * frame.size()}));
    EXPECT_EQ(scan.readError, EIO);
    ASSERT_EQ(scan.gaps.size(), 1U);
    EXPECT_EQ(scan.gaps[0].readError, EIO);
}

TEST(ChunkScan, BlamesABadSectorForNoOtherGap) {
    const QByteArray frame = chunk(2, QByteArray(2000, 'p'));
    const ScratchFile file(frame + "gap" + frame + frame + "torn");
    const qint64 last = 2 * frame.size() + 3;
    FaultLayer layer(file.path());
    layer.spoil(last + 5, last + 512);
    layer.during([&] {
        const int watched = file.open(O_RDONLY);
        const ChunkScan scan = scanChunks(watched);
        ::close(watched);
        EXPECT_EQ(offsets(scan), (std::vector<qint64>{0, frame.size() + 3}));
        ASSERT_EQ(scan.gaps.size(), 2U);
        EXPECT_EQ(scan.gaps[0].readError, 0);
        EXPECT_EQ(scan.gaps[1].readError, EIO);
    });
}

TEST(ChunkScan, TakesNoNoticeOfAnUnfinishedEnd) {
    const QByteArray mark = startHeader(5, 0xffffffff);
    const QByteArray end = mark + QByteArray(100, '\0') + chunk(6, "fibres") + chunk(7, "times");
    for (const QByteArray& before :
         {movie(), movie().left(80), movie() + "\n<CSTA", movie() + QByteArray(50, 'x')}) {
        const ChunkScan expected = scanOf(before);
        for (const qsizetype torn : {16, 60, 120, 140, 180}) {
            SCOPED_TRACE(torn);
            const ScratchFile file(before + end.left(torn));
            const int fd = file.open(O_RDONLY);
            const ChunkScan scan = scanChunks(fd);
            ::close(fd);
            EXPECT_EQ(offsets(scan), offsets(expected));
            EXPECT_EQ(scan.fileSize, before.size());
            EXPECT_EQ(scan.unfinishedBytes, file.size() - before.size());
            EXPECT_EQ(scan.soundEnd(), expected.soundEnd());
            ASSERT_EQ(scan.gaps.size(), expected.gaps.size());
            if (!scan.gaps.empty()) {
                EXPECT_EQ(scan.gaps[0].isTorn, expected.gaps[0].isTorn);
            }
        }
    }
    // Twice interrupted.
    const ScratchFile twice(movie() + mark + chunk(7, "times") + mark + chunk(7, "times"));
    const int fd = twice.open(O_RDONLY);
    EXPECT_EQ(scanChunks(fd).fileSize, movie().size());
    ::close(fd);
}

TEST(ChunkScan, KnowsNoUnfinishedEndInFrontOfFrames) {
    const QByteArray mark = startHeader(5, 0xffffffff);
    const QByteArray frame = chunk(2, "later");
    const ChunkScan scan = scanOf(movie() + mark + frame);
    EXPECT_EQ(offsets(scan), (std::vector<qint64>{0, 35, 69, movie().size() + 16}));
    EXPECT_EQ(scan.unfinishedBytes, 0);
    const ScratchFile file(movie() + mark + frame + mark + "rest");
    const int fd = file.open(O_RDONLY);
    EXPECT_EQ(scanChunks(fd).unfinishedBytes, 20);
    ::close(fd);
}

TEST(ChunkScan, EndWithAWholeInfoChunkIsNoUnfinishedOneAndStaysWhenTheFileIsDamagedBehindIt) {
    const QByteArray mark = startHeader(5, 0xffffffff);
    const QByteArray finished =
        movie() + mark + QByteArray(30, '\0') + chunk(7, "times") + chunk(5, le32(0));
    for (const QByteArray& behind : {QByteArray(), mark.left(3), mark.left(15), startHeader(5, 9)})
        EXPECT_EQ(scanOf(finished + behind).unfinishedBytes, 0);
    for (const QByteArray& behind : {mark, mark + "rest", mark + chunk(6, "fibres")}) {
        const ScratchFile file(finished + behind);
        const int fd = file.open(O_RDONLY);
        const ChunkScan scan = scanChunks(fd);
        ::close(fd);
        EXPECT_EQ(scan.fileSize, finished.size());
        EXPECT_EQ(scan.unfinishedBytes, behind.size());
        EXPECT_EQ(scan.soundEnd(), finished.size());
    }
}

TEST(ChunkScan, SearchesForKnownTypesOnly) {
    // In the walk the framing alone counts; in a search something more has to speak for a chunk.
    EXPECT_EQ(offsets(scanOf(chunk(99, "a") + chunk(2, "b"))), (std::vector<qint64>{0, 33}));
    EXPECT_EQ(offsets(scanOf("?" + chunk(99, "a") + chunk(8, "b"))), (std::vector<qint64>{34}));
}

TEST(ChunkScan, FindsAChunkAtEveryDistance) {
    // Around the sizes of the windows in which it searches.
    for (const int window : {4096, 4096 * 3, 4096 * 7, (1 << 20) * 2}) {
        for (int distance = window - 20; distance < window + 20; ++distance) {
            const ChunkScan scan = scanOf(QByteArray(distance, '\n') + chunk(2, "ab"));
            ASSERT_EQ(offsets(scan), (std::vector<qint64>{distance})) << distance;
        }
    }
}

TEST(ChunkScan, ReachesBeyondFourGibibytes) {
    const ScratchFile file;
    const qint64 second = putSparseChunk(file, 0, 2, 0xfffffff0U);
    file.put(second, "gap");
    const qint64 third = putSparseChunk(file, second + 3, 2, 1000);
    file.put(third, startHeader(2, 0xffffffffU));
    const ChunkScan scan = scanFile(file);
    EXPECT_EQ(offsets(scan), (std::vector<qint64>{0, second + 3}));
    EXPECT_EQ(scan.chunks[0].end(), 0xfffffff0LL + 32);
    EXPECT_EQ(scan.soundEnd(), third);
}

TEST(ChunkScan, TakesTimeInProportionToTheFile) {
    // A damaged byte in front of each of many chunks, and headers that lead nowhere.
    QByteArray bytes;
    for (int i = 0; i < 20000; ++i)
        bytes += "x" + chunk(2, "");
    for (int i = 0; i < 20000; ++i)
        bytes += startHeader(2, 0x7fffffff);
    const auto begin = std::chrono::steady_clock::now();
    const ChunkScan scan = scanOf(bytes);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(scan.chunks.size(), 20000U);
    EXPECT_EQ(scan.gaps.size(), 20001U);
    EXPECT_LT(taken.count(), 10.0);  // 20,000 windows of a megabyte would take longer
}

}  // namespace
