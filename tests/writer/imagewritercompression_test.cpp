// Compressed frames: their bytes are those of the compression libraries called directly.

#include <libDataIO/imagewriter.h>

#include <gtest/gtest.h>

#include <ios>
#include <vector>

#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>
#include <tests/support/streams.h>

using namespace mz;
using namespace mz::test;

namespace {

struct Codec {
    CompressionType::e type;
    const char* name;
};

std::ostream& operator<<(std::ostream& out, const Codec& codec) {
    return out << codec.name;
}

class CompressedFrames : public testing::TestWithParam<Codec> {
protected:
    CompressedFrames() {
        _writer.create(_file.path(), false);
        _writer.setCompression(GetParam().type);
    }

    void expectExhausted(const QByteArray& frame) {
        const QByteArray before = _file.bytes();
        try {
            add(_writer, frame, timeOf(1), 0.5F);
            ADD_FAILURE() << "a frame of " << frame.size() << " bytes was taken";
        } catch (const std::ios_base::failure& failure) {
            EXPECT_NE(std::string(failure.what()).find("write area exhausted"), std::string::npos)
                << failure.what();
        }
        EXPECT_EQ(_file.bytes(), before);
    }

    /// The stream of the compression library; a gzip stream of an unknown system.
    static QByteArray reference(const QByteArray& frame) {
        QByteArray stream = compressed(GetParam().type, frame);
        if (GetParam().type == CompressionType::GZip) stream[9] = '\xff';
        return stream;
    }

    const ScratchFile _file;
    ImageWriter _writer;
};

/// A frame as the instrument makes them: smooth, with noise in its lower bits.
QByteArray smoothFrame(int samples) {
    QByteArray frame = frame16(samples);
    for (int i = 0; i < samples; ++i) {
        const int value = 800 + 3 * (i % 640) / 4 + (static_cast<unsigned char>(frame[2 * i]) & 15);
        frame[2 * i] = static_cast<char>(value & 0xff);
        frame[2 * i + 1] = static_cast<char>(value >> 8);
    }
    return frame;
}

TEST_P(CompressedFrames, AreTheStreamsOfTheLibrary) {
    const std::vector<QByteArray> frames = {smoothFrame(640 * 480), smoothFrame(2000),
                                            frame16(50000), QByteArray(300000, '\0'),
                                            smoothFrame(640 * 480)};
    for (const QByteArray& frame : frames)
        add(_writer, frame, timeOf(1), 0.5F);
    _writer.close();
    const Movie movie = soundMovie(_file.path());
    ASSERT_EQ(movie.frames.size(), frames.size());
    for (size_t i = 0; i < frames.size(); ++i)
        EXPECT_TRUE(movie.frames[i] == reference(frames[i])) << i;
    EXPECT_EQ(movie.attribute("compression_type"), GetParam().name);
    EXPECT_EQ(movie.powers, std::vector<int>(5, 127));
}

TEST_P(CompressedFrames, OnlyFramesAreCompressed) {
    setSize(_writer, 10, 10);
    _writer.addRasterFiberContinuousIndexes(std::vector<float>(200, 0.0F));
    add(_writer, smoothFrame(100), timeOf(1), 0.0F);
    _writer.close();
    const Movie movie = soundMovie(_file.path());
    EXPECT_EQ(movie.fiberWords, std::vector<uint32_t>(200, 0));
    EXPECT_EQ(movie.times, (std::vector<MovieTime>{{1, 0}}));
    EXPECT_EQ(movie.powers, (std::vector<int>{0}));
}

TEST_P(CompressedFrames, DataTypeFollowsTheUncompressedSize) {
    setSize(_writer, 20, 10);
    add(_writer, smoothFrame(200));
    _writer.close();
    EXPECT_FALSE(soundMovie(_file.path()).has("data_type"));
}

TEST_P(CompressedFrames, EachAddOperationCompresses) {
    setSize(_writer, 20, 10);
    const QByteArray frame = smoothFrame(200);
    const int size = static_cast<int>(frame.size());
    _writer.addFrame(frame.constData());
    _writer.addFrame(frame.constData(), timeOf(1));
    _writer.addFrame(frame.constData(), size, timeOf(1));
    _writer.addFrameAtEnd(frame.constData(), size);
    _writer.addFrameAtEnd(frame.constData(), size, timeOf(1));
    _writer.close();
    EXPECT_EQ(soundMovie(_file.path()).frames, std::vector<QByteArray>(5, reference(frame)));
}

TEST_P(CompressedFrames, TinyFirstFrameExhaustsTheWriteArea) {
    expectExhausted("a");
    expectExhausted("");
    _writer.close();
    EXPECT_EQ(soundMovie(_file.path()).types(), (std::vector<uint32_t>{5}));
}

TEST_P(CompressedFrames, TinyFrameFitsBehindALargeOne) {
    expectExhausted("a");
    const QByteArray large = frame16(100);
    add(_writer, large, timeOf(1), 0.5F);
    add(_writer, "a", timeOf(2), 0.5F);
    add(_writer, "", timeOf(3), 0.5F);
    _writer.close();
    const Movie movie = soundMovie(_file.path());
    EXPECT_EQ(movie.frames,
              (std::vector<QByteArray>{reference(large), reference("a"), reference("")}));
    EXPECT_EQ(movie.times.size(), 3U);
    EXPECT_EQ(movie.powers, (std::vector<int>{127, 127, 127}));
}

TEST_P(CompressedFrames, WriteAreaOutlivesTheMovie) {
    add(_writer, frame16(100));
    _writer.create(_file.path(), false);
    _writer.setCompression(GetParam().type);
    add(_writer, "a");
    _writer.close();
    EXPECT_EQ(soundMovie(_file.path()).frames, (std::vector<QByteArray>{reference("a")}));
}

TEST_P(CompressedFrames, SizeOfARefusedFrameDecidesNothing) {
    setSize(_writer, 20, 10);
    expectExhausted("a");
    _writer.close();
    EXPECT_FALSE(soundMovie(_file.path()).has("data_type"));
}

INSTANTIATE_TEST_SUITE_P(ImageWriter, CompressedFrames,
                         testing::Values(Codec{CompressionType::ZLib, "z"},
                                         Codec{CompressionType::GZip, "gz"},
                                         Codec{CompressionType::BZip2, "bz2"}),
                         testing::PrintToStringParamName());

TEST(CompressedFrameBytes, GZipHeaderTellsNothingOfTheMachine) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    writer.setCompression(CompressionType::GZip);
    add(writer, frame16(100));
    const QByteArray header("\x1f\x8b\x08\0\0\0\0\0\0\xff", 10);
    EXPECT_EQ(file.bytes().mid(16, 10), header);
}

/// One and a half times the frame, rounded down: of 22 bytes that cannot be compressed the stream
/// takes all 33, of 21 it takes one more than there are.
TEST(CompressedFrameBytes, WriteAreaIsOneAndAHalfTimesTheFrame) {
    QByteArray noise;
    for (int i = 0; i < 22; ++i)
        noise.append(static_cast<char>(0x90 + 5 * i));
    ASSERT_EQ(deflated(noise, zlibFormat).size(), 33);
    ASSERT_EQ(deflated(noise.left(21), zlibFormat).size(), 32);

    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    writer.setCompression(CompressionType::ZLib);
    EXPECT_THROW(add(writer, noise.left(21)), std::ios_base::failure);
    EXPECT_EQ(file.bytes(), "");
    add(writer, noise);
    add(writer, noise.left(21));
    EXPECT_EQ(file.bytes(), chunk(2, deflated(noise, zlibFormat)) +
                                chunk(2, deflated(noise.left(21), zlibFormat)));
}

// --- effort ---

TEST(CompressionEffortFast, GivesStreamsThatAnyReaderReads) {
    const std::vector<QByteArray> frames = {smoothFrame(640 * 480), frame16(5000),
                                            QByteArray(100000, '\0'), "a", ""};
    for (const auto type : {CompressionType::ZLib, CompressionType::GZip}) {
        const ScratchFile file;
        ImageWriter writer;
        writer.create(file.path(), false);
        writer.setCompression(type);
        writer.setCompressionEffort(CompressionEffort::Fast);
        for (const QByteArray& frame : frames)
            add(writer, frame);
        writer.close();
        const Movie movie = soundMovie(file.path());
        ASSERT_EQ(movie.frames.size(), frames.size());
        for (size_t i = 0; i < frames.size(); ++i)
            EXPECT_TRUE(decompressed(type, movie.frames[i], frames[i].size() + 1) == frames[i])
                << i;
    }
}

TEST(CompressionEffortFast, ChangesNothingOfBZip2) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    writer.setCompression(CompressionType::BZip2);
    writer.setCompressionEffort(CompressionEffort::Fast);
    add(writer, smoothFrame(5000));
    EXPECT_TRUE(file.bytes() == chunk(2, bzipped(smoothFrame(5000))));
}

TEST(CompressionEffortFast, EndsWithTheNextMovie) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    writer.setCompressionEffort(CompressionEffort::Fast);
    writer.create(file.path(), false);
    writer.setCompression(CompressionType::ZLib);
    add(writer, smoothFrame(5000));
    EXPECT_TRUE(file.bytes() == chunk(2, deflated(smoothFrame(5000), zlibFormat)));
}

TEST(CompressionEffortFast, TinyFirstFrameExhaustsTheWriteAreaAsWell) {
    for (const auto type : {CompressionType::ZLib, CompressionType::GZip}) {
        const ScratchFile file;
        ImageWriter writer;
        writer.create(file.path(), false);
        writer.setCompression(type);
        writer.setCompressionEffort(CompressionEffort::Fast);
        EXPECT_THROW(add(writer, "a"), std::ios_base::failure);
        EXPECT_EQ(file.bytes(), "");
    }
}

}  // namespace
