// Files damaged in the middle or in what stands behind the frames.

#include <gtest/gtest.h>

#include <tests/support/damagedfiles.h>

using namespace mz;
using namespace mz::test;

namespace {

const char damagedBytes[] = "damaged bytes, no whole chunk begins here";
const char tornChunk[] = "torn chunk at the end of the file";
const char replacedInfo[] = "info chunk, replaced by a new one";
const char unreadableFrame[] = "whole chunk, but its frame cannot be decoded";
const char unrelatedList[] = "times or powers, of which frames cannot be told";

class DamagedRecording : public DamagedFiles {
protected:
    void SetUp() override {
        RecordingKind recorded;
        recorded.frames = 5;
        recordGood(recorded);
    }

    /// Salvages both ways; what stays in place must stay byte for byte.
    void expectSalvaged(const QByteArray& content, const std::vector<int>& frames, bool withTimes,
                        const std::vector<std::string>& reasons) {
        writeAnew(damaged(), content);
        writeAnew(output(), "older");
        const SalvageReport copied = salvageToOutput();
        EXPECT_EQ(readFile(damaged()), content);
        soundMovie(output());
        expectReport(copied, content, frames, reasons);
        EXPECT_EQ(copied.bytesCut, content.size() - copied.bytesKept);
        expectFrames(output(), kind, frames, withTimes);

        const SalvageReport salvaged = salvageInPlace();
        const qsizetype staying = content.size() - static_cast<qsizetype>(salvaged.bytesCut);
        EXPECT_EQ(readFile(damaged()).left(staying), content.left(staying));
        expectReport(salvaged, content, frames, reasons);
        expectFrames(damaged(), kind, frames, withTimes);
        report = salvaged;
    }

    static void expectReport(const SalvageReport& found, const QByteArray& content,
                             const std::vector<int>& frames,
                             const std::vector<std::string>& reasons) {
        EXPECT_FALSE(found.wasSound);
        EXPECT_EQ(found.framesKept, frames.size());
        expectEachByteOnce(found, content.size());
        std::vector<std::string> why;
        for (const SalvageGap& gap : found.gaps)
            why.push_back(gap.why.toStdString());
        EXPECT_EQ(why, reasons);
    }

    SalvageReport report;
};

TEST_F(DamagedRecording, KeepsTheFramesBehindADamagedHeaderWithTheirTimes) {
    for (const int lost : {0, 2, 4}) {
        const MovieChunk& frame = frameChunk(lost);
        for (qint64 i = 0; i < 32; ++i) {
            SCOPED_TRACE("byte " + std::to_string(i) + " of frame " + std::to_string(lost));
            const qint64 at = static_cast<qint64>(frame.offset) + (i < 16 ? i : i + frame.size);
            QByteArray content = withoutInfo();
            content[at] = static_cast<char>(content[at] ^ 0x21);
            expectSalvaged(content, framesWithout({lost}), true, {damagedBytes});
            EXPECT_EQ(report.gaps[0].offset, static_cast<qint64>(frame.offset));
            EXPECT_EQ(report.gaps[0].length, frame.size + 32);
            EXPECT_EQ(report.bytesCut, 0);
            if (HasFailure()) return;
        }
    }
}

TEST_F(DamagedRecording, KeepsTheFramesAroundZeroedBytes) {
    QByteArray content = withoutInfo();
    const auto begin = static_cast<qsizetype>(frameChunk(1).offset) + 20;
    const auto end = static_cast<qsizetype>(frameChunk(3).offset) + 5;
    content.replace(begin, end - begin, QByteArray(end - begin, '\0'));
    expectSalvaged(content, framesWithout({1, 2, 3}), true, {damagedBytes});
    EXPECT_EQ(report.gaps[0].offset, static_cast<qint64>(frameChunk(1).offset));
    EXPECT_EQ(report.gaps[0].offset + report.gaps[0].length,
              static_cast<qint64>(frameChunk(4).offset));
}

TEST_F(DamagedRecording, KeepsTheFramesAroundInsertedAndMissingBytes) {
    const auto inside = static_cast<qsizetype>(frameChunk(2).offset) + 100;
    const auto between = static_cast<qsizetype>(frameChunk(2).offset);
    QByteArray content = withoutInfo();
    expectSalvaged(content.left(inside) + "inserted" + content.mid(inside), framesWithout({2}),
                   true, {damagedBytes});
    expectSalvaged(content.left(inside) + content.mid(inside + 8), framesWithout({2}), true,
                   {damagedBytes});
    // No frame is lost by bytes between two of them.
    expectSalvaged(content.left(between) + "inserted" + content.mid(between), allFrames(), true,
                   {damagedBytes});
    expectSalvaged("inserted" + content, allFrames(), true, {damagedBytes});
}

TEST_F(DamagedRecording, KeepsTheFramesInFrontOfATornOneAndAroundADamagedOne) {
    QByteArray content = bytes.left(static_cast<qsizetype>(frameChunk(4).offset) + 50);
    content[static_cast<qsizetype>(frameChunk(1).offset)] = 'x';
    expectSalvaged(content, {0, 2, 3}, false, {damagedBytes, tornChunk});
    EXPECT_EQ(report.bytesCut, 50);
}

TEST_F(DamagedRecording, LeavesTimesOutWhenNobodyKnowsWhichFramesAreMissing) {
    QByteArray content = withoutInfo();
    content[static_cast<qsizetype>(frameChunk(1).offset)] = 'x';
    content[static_cast<qsizetype>(frameChunk(3).offset)] = 'x';
    expectSalvaged(content, framesWithout({1, 3}), false,
                   {damagedBytes, damagedBytes, unrelatedList, unrelatedList});
    // But not when none is.
    content = withoutInfo();
    content.insert(static_cast<qsizetype>(frameChunk(3).offset), "inserted");
    content.insert(static_cast<qsizetype>(frameChunk(1).offset), "inserted");
    expectSalvaged(content, allFrames(), true, {damagedBytes, damagedBytes});
}

TEST_F(DamagedRecording, KeepsWhatIsWholeOfFibersTimesAndPowers) {
    for (const uint32_t type : {6U, 7U, 8U}) {
        for (const MovieChunk& chunk : movie.chunks) {
            if (chunk.type != type) continue;
            QByteArray content = withoutInfo();
            content[static_cast<qsizetype>(chunk.offset)] = 'x';
            writeAnew(damaged(), content);
            fibers.clear();
            EXPECT_EQ(salvageToOutput().framesKept, 5U);
            const Movie salvaged = soundMovie(output());
            EXPECT_EQ(salvaged.fiberWords.empty(), type == 6);
            EXPECT_EQ(salvaged.times, type == 7 ? std::vector<MovieTime>() : movie.times);
            EXPECT_EQ(salvaged.powers, type == 8 ? std::vector<int>() : movie.powers);
        }
    }
}

TEST_F(DamagedRecording, IsNotCutWhereNothingIsMissing) {
    // The last frame, whole but for a byte of its framing, at the end of the file.
    const QByteArray frames = bytes.left(static_cast<qsizetype>(frameChunk(4).end()));
    for (const qint64 at : {static_cast<qint64>(frameChunk(4).offset) + 10,
                            static_cast<qint64>(frameChunk(4).offset) + 13, frameChunk(4).end() - 1,
                            frameChunk(4).end() - 8}) {
        QByteArray content = frames;
        content[at] = static_cast<char>(content[at] ^ 0x7f);
        expectSalvaged(content, framesWithout({4}), false, {damagedBytes});
        EXPECT_EQ(report.bytesCut, 0);
        EXPECT_TRUE(readFile(damaged()).startsWith(content));
    }
    expectSalvaged(frames + QByteArray(4096, '\0'), allFrames(), false, {damagedBytes});
    EXPECT_TRUE(readFile(damaged()).startsWith(frames + QByteArray(4096, '\0')));
}

TEST_F(DamagedRecording, LosesTheTimeOfAFrameThatCannotBeDecoded) {
    struct Case {
        CompressionType::e compression;
        qint64 checksumAt;  // from the end of the stream, 0 for one that is not damaged
    };
    for (const Case& c : {Case{CompressionType::ZLib, 1}, Case{CompressionType::GZip, 6},
                          Case{CompressionType::BZip2, 0}}) {
        kind.compression = c.compression;
        recordGood(kind);
        QByteArray content = withoutInfo();
        const auto damage = [&](qint64 at) { content[at] = static_cast<char>(content[at] ^ 0x7f); };
        damage(static_cast<qint64>(frameChunk(1).offset) + 16);
        if (c.checksumAt > 0) damage(frameChunk(3).end() - 16 - c.checksumAt);
        const std::vector<int> readable =
            framesWithout(c.checksumAt > 0 ? std::vector<int>{1, 3} : std::vector<int>{1});
        expectSalvaged(content, readable, true,
                       std::vector<std::string>(5 - readable.size(), unreadableFrame));
    }
}

TEST_F(DamagedRecording, ComesBackWithItsOwnAttributesWhenOnlyTheEndIsMissing) {
    attributes = AttributeChunk();
    fibers.clear();
    for (qsizetype cut = 1; cut <= 16; ++cut) {
        expectSalvaged(bytes.left(bytes.size() - cut), allFrames(), true, {tornChunk});
        EXPECT_EQ(readFile(damaged()), bytes) << cut;
    }
    // Damaged, not torn: it stays.
    for (qsizetype at = 1; at <= 16; ++at) {
        QByteArray content = bytes;
        content[bytes.size() - at] = static_cast<char>(content[bytes.size() - at] ^ 0x2a);
        expectSalvaged(content, allFrames(), true, {damagedBytes});
        EXPECT_EQ(soundMovie(output()).text, movie.text);
    }
}

TEST_F(DamagedRecording, ComesBackWithTheWholeLinesOfATornInfoChunk) {
    const auto info = static_cast<qsizetype>(infoChunk().offset);
    const auto text = info + 16 + 4 + 12 * static_cast<qsizetype>(movie.index.size());
    attributes = AttributeChunk();
    attributes.set(QStringLiteral("width"), 16);
    attributes.set(QStringLiteral("comment"), QStringLiteral("another"));
    fibers.clear();
    for (qsizetype cut = text; cut < bytes.size() - 16; ++cut) {
        writeAnew(damaged(), bytes.left(cut));
        const SalvageReport salvaged = salvageInPlace();
        EXPECT_EQ(salvaged.framesKept, 5U);
        const Movie found = soundMovie(damaged());
        std::map<QByteArray, QByteArray> expected = {
            {"comment", "another"}, {"endian", "2"}, {"width", "16"}};
        const QByteArray left = bytes.mid(text, cut - text);
        for (const QByteArray& line : left.left(left.lastIndexOf('\n') + 1).split('\n')) {
            if (line.contains('=')) expected[line.split('=')[0]] = line.split('=')[1];
        }
        ASSERT_EQ(found.text, expected) << cut - text;
    }
}

TEST_F(DamagedRecording, KeepsTheOrderOfARing) {
    {
        ImageWriter writer;
        writer.create(good(), false);
        setHeader(writer, kind);
        for (const int i : {2, 3, 4, 0, 1}) {
            const QByteArray frame = frameOf(kind, i);
            writer.addFrame(frame.constData(), static_cast<int>(frame.size()), powerOfFrame(i));
        }
        writer.setFirstFrame(3);
        writer.close();
    }
    bytes = readFile(good());
    movie = soundMovie(good());
    const auto expectOrder = [&](const QByteArray& content, const std::vector<int>& numbers) {
        for (const bool inPlace : {false, true}) {
            writeAnew(damaged(), content);
            QFile::remove(output());
            inPlace ? salvageInPlace() : salvageToOutput();
            ImageReader reader(inPlace ? damaged() : output());
            ASSERT_EQ(reader.nbFrames(), numbers.size());
            for (unsigned int i = 0; i < numbers.size(); ++i) {
                const void* data = nullptr;
                const auto size = reader.getRawFrame(data, i);
                ASSERT_TRUE(size);
                EXPECT_EQ(QByteArray(static_cast<const char*>(data), *size),
                          frameOf(kind, numbers[i]));
                ASSERT_TRUE(reader.getLaserPower(i));
                EXPECT_NEAR(*reader.getLaserPower(i), powerOfFrame(numbers[i]), 0.005);
            }
        }
    };
    QByteArray content = bytes.left(bytes.size() - 1);
    expectOrder(content, {0, 1, 2, 3, 4});
    content[static_cast<qsizetype>(movie.frameOffsets[3])] = 'x';
    content[static_cast<qsizetype>(movie.frameOffsets[1])] = 'x';
    expectOrder(content, {0, 2, 4});
    // Without the index the order is that of the file, which the powers do not follow.
    writeAnew(damaged(), withoutInfo());
    salvageInPlace();
    const Movie found = soundMovie(damaged());
    for (size_t i = 0; i < 5; ++i)
        EXPECT_EQ(found.frames[i], movie.frames[(i + 2) % 5]);
    EXPECT_EQ(found.powers, movie.powers);
}

TEST_F(DamagedRecording, IsCutBackToAnInfoChunkThatSaysItAll) {
    attributes = AttributeChunk();
    const QByteArray content = bytes + startHeader(2, 100) + "torn";
    writeAnew(damaged(), content);
    expectReport(salvageToOutput(), content, allFrames(), {replacedInfo, tornChunk});
    EXPECT_EQ(readFile(output()), bytes);
    const SalvageReport salvaged = salvageInPlace();
    expectReport(salvaged, content, allFrames(), {tornChunk});
    EXPECT_EQ(salvaged.bytesKept, bytes.size());
    EXPECT_EQ(readFile(damaged()), bytes);
}

TEST_F(DamagedRecording, GetsANewInfoChunkBehindStrangeBytes) {
    attributes = AttributeChunk();
    attributes.set(QStringLiteral("width"), 77);
    const QByteArray content = bytes + QByteArray(100, '\0');
    expectSalvaged(content, allFrames(), true, {replacedInfo, damagedBytes});
    EXPECT_EQ(soundMovie(output()).text, movie.text);
    // And again behind more of them: three info chunks, the last of which counts.
    expectSalvaged(readFile(damaged()) + QByteArray(10, 'x'), allFrames(), true,
                   {replacedInfo, damagedBytes, replacedInfo, damagedBytes});
}

TEST_F(DamagedRecording, TakesTheLastOfTwoListsOfTimes) {
    QByteArray later;
    for (int i = 0; i < kind.frames; ++i)
        later += le32(5000 + static_cast<uint32_t>(i)) + le32(0);
    const QByteArray content = withoutInfo() + chunk(7, later);
    for (const bool inPlace : {false, true}) {
        writeAnew(damaged(), content);
        const SalvageReport salvaged = inPlace ? salvageInPlace() : salvageToOutput();
        expectReport(salvaged, content, allFrames(),
                     {"chunk that is followed by another of its kind"});
        ImageReader reader(inPlace ? damaged() : output());
        for (unsigned int i = 0; i < reader.nbFrames(); ++i)
            EXPECT_EQ(reader.getFrameTiming(i)->tv_sec, 5000 + i);
    }
}

TEST_F(DamagedRecording, KnowsWhichFrameIsLostAlsoWhenItsInfoChunkIsTorn) {
    // A gap behind the lists is no place in which frames can have stood.
    QByteArray content = withoutInfo() + startHeader(5, 1000) + "too little";
    content[static_cast<qsizetype>(frameChunk(2).offset)] = 'x';
    expectSalvaged(content, framesWithout({2}), true, {damagedBytes, tornChunk});
}

TEST_F(DamagedRecording, TakesItsDataTypeFromTheLastFrameThatCanBeDecoded) {
    kind.compression = zlib;
    recordGood(kind);
    attributes.set(QStringLiteral("data_type"), QStringLiteral("vec"));
    QByteArray content = bytes.left(static_cast<qsizetype>(frameChunk(1).end()));
    const auto header = static_cast<qsizetype>(frameChunk(1).offset) + 16;
    content[header] = static_cast<char>(content[header] ^ 0x7f);
    expectSalvaged(content, {0}, false, {unreadableFrame});
    EXPECT_EQ(soundMovie(output()).attribute("data_type"), "imp");
    EXPECT_EQ(ImageReader(damaged()).dataType().toStdString(), "imp");
}

TEST_F(DamagedRecording, KeepsChunksOfOtherTypes) {
    const QByteArray thumbnail = chunk(3, "a small picture");
    const QByteArray content = thumbnail + withoutInfo();
    writeAnew(damaged(), content);
    const SalvageReport salvaged = salvageInPlace();
    EXPECT_TRUE(salvaged.gaps.empty());
    EXPECT_TRUE(readFile(damaged()).startsWith(content));
    Movie found = parseMovieFile(damaged());
    ASSERT_FALSE(found.index.empty());
    EXPECT_EQ(found.index.size(), movie.index.size() + 1);
    writeAnew(damaged(), content);
    salvageToOutput();
    EXPECT_TRUE(readFile(output()).contains(thumbnail));
    EXPECT_EQ(parseMovieFile(output()).index.size(), movie.index.size() + 1);
}

TEST_F(DamagedRecording, WhoseIndexIsDamagedGetsANewOne) {
    QByteArray content = bytes;
    content[static_cast<qsizetype>(infoChunk().offset) + 19] = 0x7f;  // the number of records
    expectSalvaged(content, allFrames(), true, {replacedInfo});
}

}  // namespace
