// Keeps what makes the library fast from being lost unnoticed. Each test compares with a plain way
// of the same work within this process and would fail if the technique that it names were taken
// out; the bounds lie half way, so that another machine or a busy one does not matter.
// scripts/bench measures.

#include <libDataIO/chunkindex.h>
#include <libDataIO/frametimer.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/paldatagenerator.h>
#include <libDataIO/payloads/fastdeflate.h>
#include <libDataIO/payloads/framecodec.h>
#include <libDataIO/payloads/laserpower.h>

#include <QImage>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <zlib.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>

#include <tests/support/speed.h>

namespace mz::test {
namespace {

constexpr int width = 256;
constexpr int height = 200;
constexpr size_t pixels = size_t{width} * height;

/// Like tissue under a detector: smooth, with noise in the lower bits.
std::vector<uint16_t> tissue() {
    std::vector<uint16_t> frame(pixels);
    std::mt19937 random(1);
    for (size_t i = 0; i < pixels; ++i) {
        const double smooth = 2000 + 900 * std::sin(static_cast<double>(i % width) / 30.0);
        frame[i] = static_cast<uint16_t>(smooth + static_cast<double>(random() % 64));
    }
    return frame;
}

class SpeedGuard : public testing::Test {
protected:
    QString path(const char* name) const { return dir.filePath(QString::fromLatin1(name)); }

    /// A movie of frames of side × side samples, all of them the first ones of `frame`.
    void record(const QString& movie, int frames, int side, int attributes = 0) const {
        ImageWriter writer;
        writer.create(movie, false);
        writer.width(side);
        writer.height(side);
        writer.pixType(MZ_USHORT);
        for (int i = 0; i < attributes; ++i)
            writer.attribute(QStringLiteral("setting_%1").arg(i), i);
        for (int i = 0; i < frames; ++i)
            writer.addFrame(frame.data(), timeval{1000 + i, 0}, 0.5F);
        writer.close();
    }

    const std::vector<uint16_t> frame = tissue();
    QTemporaryDir dir;
};

unsigned int touched(const void* data) {
    return *static_cast<const volatile unsigned char*>(data);
}

unsigned int touchFrames(ImageReader& reader, unsigned int frames) {
    unsigned int sum = 0;
    for (unsigned int i = 0; i < frames; ++i) {
        const void* data = nullptr;
        reader.getRawFrame(data, i);
        sum += touched(data);
    }
    return sum;
}

TEST_F(SpeedGuard, AFramesAccessDoesNotDependOnHowMuchElseThereIs) {
    const QString small = path("small");
    const QString large = path("large");
    record(small, 1000, 16, 10);
    record(large, 100'000, 16, 10'000);
    ImageReader one(small);
    ImageReader other(large);
    EXPECT_GT(speedAbove(
                  0.6, [&] { touchFrames(one, 1000); }, [&] { touchFrames(other, 1000); }, 3),
              0.6);
}

// --- compressed frames

/// `frame` as a stream of gzip.
std::vector<char> gzipStream(const std::vector<uint16_t>& frame) {
    FrameEncoder encoder;
    const size_t length = encoder.encode(CompressionType::GZip, CompressionEffort::Standard,
                                         frame.data(), frame.size() * 2);
    return {encoder.stream(), encoder.stream() + length};
}

Work bareInflate(std::vector<char>& stream, std::vector<uint16_t>& samples) {
    return [&] {
        z_stream z{};
        ASSERT_EQ(inflateInit2(&z, 15 + 16), Z_OK);
        z.next_in = reinterpret_cast<Bytef*>(stream.data());
        z.avail_in = static_cast<uInt>(stream.size());
        z.next_out = reinterpret_cast<Bytef*>(samples.data());
        z.avail_out = static_cast<uInt>(samples.size() * 2);
        ASSERT_EQ(inflate(&z, Z_FINISH), Z_STREAM_END);
        inflateEnd(&z);
    };
}

TEST_F(SpeedGuard, CompressedFramesAreDecodedTheFastWay) {
    std::vector<char> stream = gzipStream(frame);
    std::vector<uint16_t> samples(pixels);
    SampleBuffer decoded(pixels);
    FrameDecoder decoder;
    const Work decode = [&] {
        decoder.decode(CompressionType::GZip, stream.data(), stream.size(), decoded);
    };
    // Without libdeflate the given chain is what there is.
    const double bound = isFastDeflateBuiltIn ? 1.4 : 0.7;
    EXPECT_GT(speedAbove(bound, bareInflate(stream, samples), decode, 10), bound);
    EXPECT_EQ(std::memcmp(decoded.data(), frame.data(), pixels * 2), 0);
}

TEST_F(SpeedGuard, TheGivenChainIsNotHeldUpBySmallBuffers) {
    std::vector<char> stream = gzipStream(frame);
    std::vector<uint16_t> samples(pixels);
    const Work decode = [&] {
        decodedSize(CompressionType::GZip, stream.data(), stream.size(), pixels * 2);
    };
    EXPECT_GT(speedAbove(0.74, bareInflate(stream, samples), decode, 10), 0.74);
}

TEST_F(SpeedGuard, TheFastEffortIsFast) {
    FrameEncoder encoder;
    const auto encode = [&](CompressionEffort::e effort) -> Work {
        return [&, effort] {
            encoder.encode(CompressionType::GZip, effort, frame.data(), pixels * 2);
        };
    };
    const double bound = isFastDeflateBuiltIn ? 3.5 : 1.5;
    EXPECT_GT(
        speedAbove(bound, encode(CompressionEffort::Standard), encode(CompressionEffort::Fast), 3),
        bound);
}

// --- opening

TEST_F(SpeedGuard, AnIndexIsLoadedRunByRun) {
    ChunkIndex index;
    index[MZ_CT_FRAME].resize(100'000, {68, 100});
    int size = 0;
    const std::unique_ptr<char[]> stored(index.save(size));
    const auto pushEach = [&] {
        std::map<unsigned int, std::vector<ChunkRecord>> records;
        for (const char* at = stored.get() + 4; at != stored.get() + size; at += 12) {
            uint32_t fields[3];
            std::memcpy(fields, at, sizeof fields);
            records[fields[0]].push_back({fields[1], fields[2]});
        }
    };
    const auto load = [&] {
        ChunkIndex loaded;
        loaded.load(stored.get(), static_cast<unsigned int>(size));
    };
    EXPECT_GT(speedAbove(2.0, pushEach, load, 10), 2.0);
}

TEST_F(SpeedGuard, TimesAreTakenAllAtOnce) {
    const std::vector<char> stored(100'000 * FrameTimer::rawRecordSize, 1);
    const auto pushEach = [&] {
        std::vector<timeval> times;
        for (size_t at = 0; at < stored.size(); at += FrameTimer::rawRecordSize) {
            int32_t fields[2];
            std::memcpy(fields, stored.data() + at, sizeof fields);
            times.push_back({fields[0], fields[1]});
        }
    };
    const auto read = [&] {
        FrameTimer fresh;
        fresh.readFromRawBuffer(stored.data(), static_cast<unsigned int>(stored.size()));
    };
    EXPECT_GT(speedAbove(1.5, pushEach, read, 10), 1.5);
}

TEST_F(SpeedGuard, PowersAreLookedUpNotComputed) {
    const std::vector<unsigned char> stored(100'000, 17);
    std::vector<float> powers;
    const auto divideEach = [&] {
        powers.assign(stored.size(), 0);
        for (size_t i = 0; i < stored.size(); ++i)
            powers[i] = stored[i] == 255 ? -1.0F : static_cast<float>(stored[i] / 254.0);
    };
    const auto decode = [&] { powers = decodeLaserPowers(stored.data(), stored.size()); };
    EXPECT_GT(speedAbove(1.2, divideEach, decode, 10), 1.2);
}

// --- showing

TEST_F(SpeedGuard, AColorTableIsMadeSegmentBySegment) {
    MzPalette palette;
    palette.initDefault();
    std::vector<QRgb> table;
    const auto entryByEntry = [&] {
        table.resize(65536);
        for (int sample = -32768; sample <= 32767; ++sample) {
            const double at = (sample + 32768) / 65535.0;
            auto to = std::next(palette._nodes.begin());
            while (double{to->_val} < at)
                ++to;
            const PalNode& from = *std::prev(to);
            const double t = (at - from._val) / (to->_val - from._val);
            const auto channel = [t](float a, float b) {
                return static_cast<int>(std::floor(255 * (a + (b - a) * t) + 0.5));
            };
            table[static_cast<uint16_t>(sample)] =
                qRgb(channel(from._col._r, to->_col._r), channel(from._col._g, to->_col._g),
                     channel(from._col._b, to->_col._b));
        }
    };
    const auto generate = [&] {
        PalDataGenerator<LerpQRGB<IdxSigned16>>()(palette, table, Default, 0);
    };
    EXPECT_GT(speedAbove(3.0, entryByEntry, generate, 3), 3.0);
}

TEST_F(SpeedGuard, AThumbnailLooksAtItsOwnPixelsOnly) {
    const QString movie = path("movie");
    record(movie, 1, width < height ? width : height);
    ImageReader reader(movie);
    QImage image;
    const auto wholeFrame = [&] {
        const QImage grey(reinterpret_cast<const uchar*>(frame.data()), height, height, height * 2,
                          QImage::Format_Grayscale16);
        image = grey.convertToFormat(QImage::Format_RGB32)
                    .scaled(80, 80, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    };
    const auto thumbnail = [&] { ASSERT_TRUE(reader.thumbnail(image, 80, 80, 0)); };
    EXPECT_GT(speedAbove(1.5, wholeFrame, thumbnail, 20), 1.5);
}

}  // namespace
}  // namespace mz::test
