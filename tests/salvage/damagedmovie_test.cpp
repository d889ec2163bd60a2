// What is found in a damaged movie, before anything is decided.

#include <libDataIO/salvage/damagedmovie.h>
#include <libDataIO/salvage/salvagedattributes.h>

#include <gtest/gtest.h>

#include <tests/support/expectfailure.h>
#include <tests/support/faultlayer.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

QByteArray frames() {
    return chunk(2, "first frame") + chunk(2, "second frame");
}

/// An info chunk's payload that lists the two frames, the second one first.
QByteArray infoPayload(const QByteArray& text) {
    return le32(2) + indexRecord(2, 43, 12) + indexRecord(2, 0, 11) + text;
}

/// The attributes, one a line; "none" when the movie says nothing of itself.
std::string textOf(const DamagedMovie& movie) {
    if (!movie.remains().ownInfo) return "none";
    QString text;
    movie.remains().ownInfo->dump(text);
    return text.toStdString();
}

TEST(DamagedMovie, GivesThePayloadsOfItsWholeChunks) {
    const ScratchFile file("some bytes" + frames() + startHeader(2, 100) + "torn");
    DamagedMovie movie(file.path());
    const auto& chunks = movie.remains().scan.chunks;
    ASSERT_EQ(chunks.size(), 2U);
    EXPECT_EQ(movie.payload(chunks[1]), "second frame");
    EXPECT_EQ(movie.payload(chunks[0]), "first frame");
    EXPECT_FALSE(movie.remains().wholeInfo());
    EXPECT_TRUE(movie.remains().wholeInfoPayload.isEmpty());
    EXPECT_EQ(textOf(movie), "none");
}

TEST(DamagedMovie, SaysWhatItsInfoChunkSaysEvenATornOne) {
    const QByteArray payload = infoPayload("comment=whole\nwidth=512\n");
    const QByteArray torn = startHeader(5, 100) + infoPayload("comment=torn\nwidth=51");
    const QByteArray tooTorn = startHeader(5, 100) + infoPayload({}).left(20);
    const QByteArray last = infoPayload("comment=last\n");
    const QByteArray allButTheEnd = startHeader(5, static_cast<uint32_t>(last.size())) + last;
    struct Case {
        QByteArray bytes;
        bool hasWholeInfo;
        std::string text;
    };
    for (const Case& c : {Case{chunk(5, payload), true, "comment=whole\nwidth=512\n"},
                          Case{torn, false, "comment=torn\n"}, Case{tooTorn, false, "none"},
                          Case{chunk(5, payload) + torn, true, "comment=whole\nwidth=512\n"},
                          Case{chunk(5, payload) + allButTheEnd, true, "comment=last\n"},
                          Case{allButTheEnd, false, "comment=last\n"},
                          Case{chunk(5, payload) + tooTorn, true, "comment=whole\nwidth=512\n"},
                          Case{chunk(5, payload) + chunk(2, "later"), false, "none"}}) {
        SCOPED_TRACE(c.bytes.toPercentEncoding().toStdString());
        const LogCapture quiet;
        const ScratchFile file(frames() + c.bytes);
        const DamagedMovie movie(file.path());
        EXPECT_EQ(movie.remains().wholeInfo().has_value(), c.hasWholeInfo);
        EXPECT_EQ(movie.remains().wholeInfoPayload, c.hasWholeInfo ? payload : QByteArray());
        EXPECT_EQ(textOf(movie), c.text);
        if (c.text == "none") continue;
        const auto* index = movie.remains().ownInfo->find(2);
        ASSERT_NE(index, nullptr);
        ASSERT_EQ(index->size(), 2U);
        EXPECT_EQ(index->front().offset, 43U);
    }
}

TEST(DamagedMovie, DoesNotBelieveABrokenInfoChunkInFrontOfOtherChunks) {
    // It says what the file was before they were written.
    const ScratchFile file(startHeader(5, 100) + infoPayload("comment=torn\nwidth=512\n") +
                           frames());
    const DamagedMovie movie(file.path());
    EXPECT_EQ(movie.remains().scan.chunks.size(), 2U);
    EXPECT_EQ(textOf(movie), "none");
}

TEST(DamagedMovie, GivesWhatTheDiskGives) {
    const QByteArray long1 = QByteArray(3 << 20, 'a');
    const ScratchFile file(chunk(2, long1) + chunk(2, "second") + chunk(7, "times..."));
    FaultLayer layer(file.path());
    const qint64 bad = 2 << 20;
    layer.spoil(bad, bad + 512);
    layer.during([&] {
        DamagedMovie movie(file.path());
        const std::vector<ChunkSpan> chunks = movie.remains().scan.chunks;
        ASSERT_EQ(chunks.size(), 3U);
        QByteArray payload;
        EXPECT_EQ(movie.read(chunks[0], payload), EIO);
        EXPECT_EQ(movie.readThrough(chunks[0]), EIO);
        EXPECT_EQ(movie.readThrough(chunks[1]), 0);
        EXPECT_EQ(movie.read(chunks[1], payload), 0);
        EXPECT_EQ(payload, "second");
        expectFailure<IOFileException>({"dataio.imageutilities", SYSCALL, "IU_S_READ",
                                        systemError("Could not read file: ", EIO)},
                                       [&] { movie.payload(chunks[0]); });
        layer.spoil(0, 16);
        EXPECT_EQ(movie.readThrough(chunks[0]), EIO) << "its header";
    });
}

TEST(DamagedMovie, TakesOutWhatCannotBeReadButForFrames) {
    const ScratchFile file(frames() + chunk(7, "times...") + chunk(3, "thumbnail"));
    const qint64 times = frames().size();
    FaultLayer layer(file.path());
    layer.spoil(times + 16, times + 17);
    layer.during([&] {
        const DamagedMovie movie(file.path());
        EXPECT_EQ(movie.remains().scan.chunks.size(), 3U);
        ASSERT_EQ(movie.remains().unreadable.size(), 1U);
        EXPECT_EQ(movie.remains().unreadable[0].chunk.offset, times);
        EXPECT_EQ(movie.remains().unreadable[0].error, EIO);
        EXPECT_EQ(movie.remains().scan.readError, 0);
    });
}

TEST(DamagedMovie, NoticesThatItsFileChanges) {
    const ScratchFile file(frames());
    DamagedMovie movie(file.path());
    const ChunkSpan second = movie.remains().scan.chunks[1];
    const Failure failure{"dataio.imageutilities", SOFTWARE, "IU_S_BUSY",
                          "File " + file.path() + " changes while it is salvaged."};
    for (const QByteArray& now : {startHeader(7, 12), startHeader(2, 11)}) {
        file.put(second.offset, now);
        expectFailure<IOFileException>(failure, [&] { movie.payload(second); });
    }
    file.resize(second.offset);
    expectFailure<IOFileException>(failure, [&] { movie.payload(second); });
}

TEST(SalvagedAttributes, AreTheMoviesOwnBeforeThoseGiven) {
    const ScratchFile file(frames() + startHeader(5, 100) +
                           infoPayload("comment=own\nwidth=3\nheight=2\npixbits=16\n"));
    DamagedMovie movie(file.path());
    AttributeChunk given;
    given.set(QStringLiteral("comment"), QStringLiteral("given"));
    given.set(QStringLiteral("frame_timer"), 1);
    given.set(QStringLiteral("frame_timer_n0_sec"), 5);
    given.set(QStringLiteral("zoom"), 2);
    QString text;
    salvagedAttributes(movie, given).dump(text);
    EXPECT_EQ(text.toStdString(), "comment=own\nendian=2\nheight=2\npixbits=16\nwidth=3\nzoom=2\n");
}

TEST(SalvagedAttributes, FitTheLastFrame) {
    const ScratchFile file(chunk(2, "second frame") + chunk(2, "samples"));
    DamagedMovie movie(file.path());
    AttributeChunk given;
    given.set(QStringLiteral("data_type"), QStringLiteral("imp"));
    given.set(QStringLiteral("width"), 3);
    given.set(QStringLiteral("height"), 2);
    given.set(QStringLiteral("pixbits"), 16);
    QString type;
    ASSERT_TRUE(salvagedAttributes(movie, given).get(QStringLiteral("data_type"), type));
    EXPECT_EQ(type.toStdString(), "vec");
}

}  // namespace
