// Frames of a real acquisition through the whole library. DATAIO_SAMPLES names a folder that holds
// them as brain-planes/frames.u16: 30 frames of 512 × 400 unsigned 16-bit samples, little-endian.

#include <libDataIO/imagewriter.h>

#include <cstdlib>

#include <tests/support/moviereader.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr int width = 512;
constexpr int height = 400;
constexpr int frameSize = width * height * 2;
constexpr int frameCount = 30;

class RealFrames : public MovieReader, public testing::WithParamInterface<CompressionType::e> {
protected:
    void SetUp() override {
        const char* folder = std::getenv("DATAIO_SAMPLES");
        if (folder == nullptr) GTEST_SKIP() << "DATAIO_SAMPLES names no folder of real frames";
        const QString path = QString::fromLocal8Bit(folder) + "/brain-planes/frames.u16";
        if (!QFile::exists(path)) GTEST_SKIP() << "there is no " << path.toStdString();
        frames = readFile(path);
        ASSERT_EQ(frames.size(), qsizetype{frameCount} * frameSize);
    }

    QByteArray original(int idx) const { return frames.mid(qsizetype{idx} * frameSize, frameSize); }

    void record(CompressionEffort::e effort) {
        ImageWriter writer;
        writer.create(file.path(), false);
        writer.width(width);
        writer.height(height);
        writer.pixType(MZ_USHORT);
        writer.setCompression(GetParam());
        writer.setCompressionEffort(effort);
        for (int idx = 0; idx < frameCount; ++idx)
            writer.addFrame(original(idx).constData());
        writer.close();
    }

    void expectOriginals() {
        if (GetParam() != CompressionType::None) {
            EXPECT_LT(file.size(), frames.size());
        }
        reader.open(file.path());
        ASSERT_EQ(reader.nbFrames(), static_cast<unsigned int>(frameCount));
        for (int idx = 0; idx < frameCount; ++idx)
            EXPECT_TRUE(rawFrame(static_cast<unsigned int>(idx)) == original(idx)) << idx;
        EXPECT_TRUE(frame(7, frameSize) == original(7));
    }

    QByteArray frames;
};

class QuicklyCompressed : public RealFrames {};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Types, QuicklyCompressed,
                         testing::Values(CompressionType::ZLib, CompressionType::GZip));
INSTANTIATE_TEST_SUITE_P(Types, RealFrames,
                         testing::Values(CompressionType::None, CompressionType::ZLib,
                                         CompressionType::GZip, CompressionType::BZip2));

TEST_P(RealFrames, ComeBackAsTheyWere) {
    record(CompressionEffort::Standard);
    expectOriginals();
}

TEST_P(QuicklyCompressed, ComeBackAsTheyWere) {
    record(CompressionEffort::Fast);
    expectOriginals();
}
