// What a salvaged movie takes of the attributes and fibres that are given to it.

#include <QFile>
#include <boost/optional/optional_io.hpp>
#include <gtest/gtest.h>

#include <cstring>

#include <tests/support/damagedfiles.h>
#include <tests/support/moviebytes.h>
#include <tests/support/scratchfile.h>
#include <tests/support/streams.h>

using namespace mz;
using namespace mz::test;

namespace {

class SalvageGiven : public DamagedFiles {};

TEST_F(SalvageGiven, WithAttributesOfAnotherKindLeavesTheFileAsItWas) {
    for (const CompressionType::e recorded : {none, bzip2}) {
        recordGood({recorded});
        attributes.set(QStringLiteral("compression_type"), QStringLiteral("gz"));
        const QByteArray torn = withoutInfo() + startHeader(5, 1000) + "the beginning";
        writeFile(damaged(), torn);
        writeFile(output(), "older");
        const auto expectNoFrame = [](auto action) {
            try {
                action();
                ADD_FAILURE() << "nothing thrown";
            } catch (const IOFileException& failure) {
                EXPECT_EQ(failure.code().toStdString(), "IU_S_FRAMES");
                EXPECT_EQ(failure.message(), noReadableFrame());
                EXPECT_EQ(failure.origin(), SOFTWARE);
            }
        };
        expectNoFrame([&] { salvageInPlace(); });
        EXPECT_EQ(readFile(damaged()), torn);
        expectNoFrame([&] { salvageToOutput(); });
        EXPECT_EQ(readFile(damaged()), torn);
        EXPECT_EQ(readFile(output()), "") << "what was there is not removed";

        attributes = ImageUtilities::attributesOf(good());
        EXPECT_EQ(salvageInPlace().framesKept, 3U);
    }
}

// As a closed shutter gives them: a stream of 46 bytes for 32 MiB.
TEST_F(SalvageGiven, KeepsFramesOfOneValue) {
    recordGood({bzip2});
    const QByteArray uniform(4096 * 4096 * 2, '\1');
    ImageWriter writer;
    writer.create(damaged(), false);
    kind.width = kind.height = 4096;
    setHeader(writer, kind);
    for (int i = 0; i < 2; ++i)
        writer.addFrame(uniform.constData(), static_cast<int>(uniform.size()), -1.0F);
    writer.close();
    attributes = ImageUtilities::attributesOf(damaged());
    const Movie whole = soundMovie(damaged());
    writeAnew(damaged(),
              readFile(damaged()).left(static_cast<qsizetype>(whole.chunks.back().offset)));
    EXPECT_EQ(salvageInPlace().framesKept, 2U);
    ImageReader reader(damaged());
    const void* data = nullptr;
    ASSERT_EQ(reader.getRawFrame(data, 1), static_cast<unsigned int>(uniform.size()));
    EXPECT_EQ(std::memcmp(data, uniform.constData(), static_cast<size_t>(uniform.size())), 0);
}

/// A reader sizes its buffer by the first frame that it finds, and believes a large size only for a
/// payload that could fill it.
TEST_F(SalvageGiven, DropsWhatNoReaderWouldBelieveBehindADamagedFirstFrame) {
    const QByteArray black = compressed(zlib, QByteArray(4096 * 2049 * 2, '\0'));
    QByteArray wrong = black;
    wrong.back() = static_cast<char>(wrong.back() ^ 0x7f);
    bytes = MovieBytes()
                .size(4096, 2049)
                .attribute("compression_type", attributeOf(zlib))
                .frame(wrong)
                .frame(compressed(zlib, "few"))
                .frame(black)
                .bytes();
    writeFile(damaged(), bytes.chopped(1));
    EXPECT_EQ(salvageInPlace().framesKept, 1U);
    ImageReader reader(damaged());
    const void* data = nullptr;
    EXPECT_EQ(reader.getRawFrame(data, 0), 4096U * 2049 * 2);
}

TEST_F(SalvageGiven, AddsTheByteOrderOnlyWhenItIsAbsent) {
    recordGood({});
    attributes.erase(QStringLiteral("endian"));
    writeFile(damaged(), withoutInfo());
    salvageInPlace();
    EXPECT_EQ(soundMovie(damaged()).attribute("endian"), "2");

    attributes.set(QStringLiteral("endian"), 1);
    writeFile(damaged(), withoutInfo());
    salvageInPlace();
    EXPECT_EQ(soundMovie(damaged()).attribute("endian"), "1");
    ImageReader reader(damaged());
    const void* data = nullptr;
    ASSERT_TRUE(reader.getRawFrame(data, 1));
    const QByteArray frame = frameOf(kind, 1);
    EXPECT_EQ(static_cast<const char*>(data)[0], frame[1]);
    EXPECT_EQ(static_cast<const char*>(data)[1], frame[0]);
}

TEST_F(SalvageGiven, StoresGivenFibersInTheOrderOfTheMovie) {
    recordGood({});
    attributes.set(QStringLiteral("endian"), 1);
    writeFile(damaged(), bytes.left(frameChunk(2).end()));
    salvageInPlace();
    std::vector<float> found;
    ImageReader(damaged()).getRasterFiberContinuousIndexes(found, ImageReader::NoFiberFiltering);
    EXPECT_EQ(found, fibers);
}

TEST_F(SalvageGiven, AdjustsTheDataTypeToTheFrames) {
    for (const CompressionType::e compression : {none, zlib, gzip, bzip2}) {
        for (const bool isVectorized : {false, true}) {
            if (isVectorized && compression == bzip2)
                continue;  // its streams of so little are longer
            recordGood({compression, isVectorized});
            const QByteArray expected = movie.attribute("data_type");
            EXPECT_EQ(expected, isVectorized ? "vec" : "");
            attributes.set(QStringLiteral("data_type"),
                           isVectorized ? QStringLiteral("raw") : QStringLiteral("vec"));
            writeFile(damaged(), withoutInfo());
            salvageInPlace();
            EXPECT_EQ(soundMovie(damaged()).attribute("data_type"), isVectorized ? "vec" : "imp");
            EXPECT_EQ(salvageToOutput().framesKept, 3U);
        }
    }
}

TEST_F(SalvageGiven, TakesNoTimesOutOfTheGivenAttributes) {
    recordGood({});
    FrameTimer times;
    times.push_back(timeOfFrame(50));
    times.dumpToChunkInfo(attributes);
    attributes.set(QStringLiteral("utc_offset_seconds"), 3600);
    writeFile(damaged(), bytes.left(frameChunk(2).end()));
    salvageInPlace();
    const Movie salvaged = soundMovie(damaged());
    EXPECT_FALSE(salvaged.has("frame_timer"));
    EXPECT_FALSE(salvaged.has("frame_timer_n0_sec"));
    expectFrames(damaged(), kind, allFrames(), false);
}

TEST_F(SalvageGiven, NeedsFibersForCompressedVectorizedFrames) {
    recordGood({zlib, true});
    const QByteArray killed = bytes.left(frameChunk(2).end());
    writeFile(damaged(), killed);
    fibers.clear();
    EXPECT_THROW(salvageInPlace(), IOFileException);
    EXPECT_EQ(readFile(damaged()), killed);
    fibers = ImageUtilities::fibersOf(good());
    EXPECT_EQ(fibers, someFibers());
    EXPECT_EQ(salvageInPlace().framesKept, 3U);
    expectFrames(damaged(), kind, allFrames(), false);

    attributes.erase(QStringLiteral("width"));
    writeFile(damaged(), killed);
    try {
        salvageInPlace();
        ADD_FAILURE() << "nothing thrown";
    } catch (const IOFileException& failure) {
        EXPECT_EQ(failure.code().toStdString(), "IU_S_SIZE");
        EXPECT_EQ(failure.message().toStdString(), "Fibers need a movie with width and height.");
    }
    EXPECT_EQ(readFile(damaged()), killed);
}

TEST_F(SalvageGiven, LeavesAnOlderOutputAloneUntilItIsClearWhatToWrite) {
    recordGood({});
    attributes.erase(QStringLiteral("width"));
    const QByteArray withoutFibers = bytes.left(frameChunk(2).end());
    for (const QByteArray& content : {QByteArray("no movie"), withoutFibers}) {
        writeFile(damaged(), content);
        writeFile(output(), "older");
        EXPECT_THROW(salvageToOutput(), IOFileException);
        EXPECT_EQ(readFile(output()), "older");
    }
}

TEST_F(SalvageGiven, KeepsTheFibersThatTheFileHas) {
    recordGood({});
    fibers = {1.0F, 1.0F};
    writeFile(damaged(), withoutInfo());
    salvageInPlace();
    EXPECT_EQ(ImageUtilities::fibersOf(damaged()), someFibers());
}

}  // namespace
