// A movie on its whole way: recorded, judged by an independent parser, and read back bit for bit by
// another process.

#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <vector>

#include <tests/support/childprocess.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

/// The check returns what is wrong.
void expectInAnotherProcess(const std::function<const char*()>& check) {
    inChild([&] { EXPECT_STREQ(check(), nullptr); });
}

bool isFrame(ImageReader& reader, unsigned int index, const QByteArray& expected) {
    const void* data = nullptr;
    const boost::optional<unsigned int> size = reader.getRawFrame(data, index);
    return size && *size == static_cast<unsigned int>(expected.size()) &&
           std::memcmp(data, expected.constData(), *size) == 0;
}

// --- every way of storing 16-bit samples ---

struct Way {
    const char* name;
    CompressionType::e compression;
    CompressionEffort::e effort;
    bool vectorized;
};

std::ostream& operator<<(std::ostream& out, const Way& way) {
    return out << way.name;
}

class Recording : public testing::TestWithParam<Way> {
protected:
    static constexpr int width = 61;
    static constexpr int height = 47;
    static constexpr int fibers = 501;
    static constexpr unsigned int count = 12;

    Recording() {
        const int samples = GetParam().vectorized ? fibers : width * height;
        for (unsigned int i = 0; i < count; ++i)
            _frames.push_back(frame16(samples, i));
        for (int i = 0; i < fibers; ++i) {
            _positions.push_back(static_cast<float>(i % width));
            _positions.push_back(static_cast<float>(i / width) + 0.5F);
        }
    }

    void record() const {
        ImageWriter writer;
        writer.create(_file.path(), false);
        setSize(writer, width, height);
        writer.frameDelay(83);
        writer.setComment(QStringLiteral("first line\nsecond line"));
        writer.setCompression(GetParam().compression);
        writer.setCompressionEffort(GetParam().effort);
        writer.addRasterFiberContinuousIndexes(_positions);
        writer.addBundleBoundingBoxCoords(0, 0, 60, 46);
        for (unsigned int i = 0; i < count; ++i)
            add(writer, _frames[i], timeOf(1700000000 + i, 83000 * i), powerOf(i));
        writer.close();
    }

    static float powerOf(unsigned int i) {
        return i % 3 == 2 ? -1.0F : static_cast<float>(i) / 254.0F;
    }

    const char* readBack() const {
        ImageReader reader(_file.path());
        int number = 0;
        if (reader.nbFrames() != count) return "number of frames";
        if (!reader.width(number) || number != width) return "width";
        if (!reader.height(number) || number != height) return "height";
        if (!reader.frameDelay(number) || number != 83) return "delay";
        if (reader.getComment() != QLatin1String("first line\nsecond line")) return "comment";
        if ((reader.dataType() == QLatin1String("vec")) != GetParam().vectorized)
            return "data type";
        for (unsigned int i = 0; i < count; ++i) {
            const unsigned int index = i * 5 % count;  // every frame, not in their order
            if (!isFrame(reader, index, _frames[index])) return "frame";
        }
        return readBackTheRest(reader);
    }

    const char* readBackTheRest(ImageReader& reader) const {
        for (unsigned int i = 0; i < count; ++i) {
            timeval time{};
            if (!reader.getFrameTiming(i, time) || time.tv_sec != 1700000000 + i ||
                time.tv_usec != 83000 * i)
                return "time";
            const boost::optional<float> power = reader.getLaserPower(i);
            if (i % 3 == 2 ? bool(power) : !power || *power != powerOf(i)) return "power";
        }
        std::vector<float> positions;
        reader.getRasterFiberContinuousIndexes(positions, ImageReader::NoFiberFiltering);
        if (positions.size() != _positions.size()) return "number of fibres";
        for (size_t i = 0; i < positions.size(); ++i)
            if (std::abs(positions[i] - _positions[i]) > 1e-5F) return "fibre";
        std::vector<float> box;
        if (!reader.getBundleBoundingBox(box) || box != std::vector<float>{0, 0, 60, 46})
            return "bounding box";
        return nullptr;
    }

    const ScratchFile _file;
    std::vector<QByteArray> _frames;
    std::vector<float> _positions;
};

TEST_P(Recording, IsWholeAndReadBackBitForBit) {
    record();
    const Movie movie = soundMovie(_file.path());
    std::vector<uint32_t> types(count, 2);
    types.insert(types.end(), {6, 7, 8, 5});
    EXPECT_EQ(movie.types(), types);
    EXPECT_EQ(movie.times.size(), count);
    EXPECT_EQ(movie.powers.size(), count);
    EXPECT_EQ(movie.fiberWords.size(), 2U * fibers);
    EXPECT_EQ(movie.attribute("comment"), "first line\asecond line");
    EXPECT_EQ(movie.attribute("data_type"), GetParam().vectorized ? "vec" : "");
    if (GetParam().compression == CompressionType::None) {
        EXPECT_EQ(movie.frames, _frames);
    }

    expectInAnotherProcess([this] { return readBack(); });
}

TEST_P(Recording, GoesOnAfterModification) {
    record();
    const Movie before = soundMovie(_file.path());
    {
        ImageWriter writer;
        writer.modify(_file.path());
        writer.setCompression(GetParam().compression);
        add(writer, _frames[3], timeOf(1800000000), 0.5F);
        writer.close();
    }
    const Movie after = soundMovie(_file.path());
    ASSERT_EQ(after.frames.size(), count + 1);
    EXPECT_EQ(std::vector<QByteArray>(after.frames.begin(), after.frames.end() - 1), before.frames);
    EXPECT_EQ(after.fiberWords, before.fiberWords);
    EXPECT_EQ(after.text, before.text);
    expectInAnotherProcess([this]() -> const char* {
        ImageReader reader(_file.path());
        for (unsigned int i = 0; i < count; ++i)
            if (!isFrame(reader, i, _frames[i])) return "old frame";
        if (!isFrame(reader, count, _frames[3])) return "new frame";
        return readBackTheRest(reader);
    });
}

INSTANTIATE_TEST_SUITE_P(
    Ways, Recording,
    testing::Values(Way{"raw", CompressionType::None, CompressionEffort::Standard, false},
                    Way{"z", CompressionType::ZLib, CompressionEffort::Standard, false},
                    Way{"gz", CompressionType::GZip, CompressionEffort::Standard, false},
                    Way{"bz2", CompressionType::BZip2, CompressionEffort::Standard, false},
                    Way{"z_fast", CompressionType::ZLib, CompressionEffort::Fast, false},
                    Way{"gz_fast", CompressionType::GZip, CompressionEffort::Fast, false},
                    Way{"vec", CompressionType::None, CompressionEffort::Standard, true},
                    Way{"vec_z", CompressionType::ZLib, CompressionEffort::Standard, true},
                    Way{"vec_gz_fast", CompressionType::GZip, CompressionEffort::Fast, true},
                    Way{"vec_bz2", CompressionType::BZip2, CompressionEffort::Standard, true}),
    testing::PrintToStringParamName());

// --- raw frames of every pixel type ---

TEST(RawRecording, KeepsEveryPixelType) {
    for (int number = MZ_FLOAT; number <= MZ_RGBA; ++number) {
        const auto type = static_cast<MZImagePixelType>(number);
        const ScratchFile file;
        const QByteArray frame =
            frame16(5 * 3 * GetPixBits(type) / 16 + 1).left(15 * GetPixBits(type) / 8);
        ImageWriter writer;
        writer.create(file.path(), true);
        setSize(writer, 5, 3, type);
        writer.addFrame(frame.constData());
        writer.close();
        EXPECT_EQ(soundMovie(file.path()).frames, (std::vector<QByteArray>{frame}));
        expectInAnotherProcess([&]() -> const char* {
            ImageReader reader(file.path());
            MZImagePixelType read = MZ_UNKNOWN;
            if (!reader.pixType(read) || read != type) return "pixel type";
            return isFrame(reader, 0, frame) ? nullptr : "frame";
        });
    }
}

TEST(RawRecording, PaletteComesBack) {
    const ScratchFile file;
    MzPalette palette;
    palette._name = QStringLiteral("hot iron");
    palette._cropMinInt = -5;
    palette._cropMaxInt = 4000;
    palette._nodes = {PalNode(0, PalColor(0, 0.25F, 1)), PalNode(1, PalColor(1, 1, 0.5F))};
    ImageWriter writer;
    writer.create(file.path(), true);
    writer.setPalette(palette);
    writer.close();
    soundMovie(file.path());
    expectInAnotherProcess([&]() -> const char* {
        ImageReader reader(file.path());
        MzPalette read;
        return reader.palette(read) && read == palette ? nullptr : "palette";
    });
}

// --- one file through everything that a writer can do ---

TEST(LifeOfAMovie, IsSoundAfterEveryStep) {
    const ScratchFile file;
    ImageWriter writer;
    writer.create(file.path(), false);
    setSize(writer, 4, 1, MZ_UCHAR);
    for (int i = 0; i < 6; ++i)
        add(writer, QByteArray(4, static_cast<char>('a' + i)), timeOf(10 + i), 0.5F);
    writer.organizeIndex(2, 4);
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).frames,
              (std::vector<QByteArray>{"cccc", "dddd", "aaaa", "bbbb", "eeee", "ffff"}));

    writer.modify(file.path());
    writer.replaceFrame("CCCC", 0, timeOf(9), 1.0F);
    writer.addFrameAtEnd("gggg", 4, timeOf(20), 0.0F);
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).powers, (std::vector<int>{254, 127, 127, 127, 127, 127, 0}));

    writer.modify(file.path());
    writer.setFirstFrame(6);
    writer.close();
    EXPECT_EQ(soundMovie(file.path()).frames,
              (std::vector<QByteArray>{"gggg", "CCCC", "dddd", "aaaa", "bbbb", "eeee", "ffff"}));

    AttributeChunk attributes;
    attributes.set(QStringLiteral("endian"), 2);
    attributes.set(QStringLiteral("operator"), QStringLiteral("somebody"));
    writer.modifyAttribute(file.path(), attributes);
    const Movie movie = soundMovie(file.path());
    EXPECT_EQ(movie.types(), (std::vector<uint32_t>{2, 2, 2, 2, 2, 2, 2, 7, 8, 5}));
    EXPECT_EQ(movie.text.size(), 2U);
    expectInAnotherProcess([&]() -> const char* {
        ImageReader reader(file.path());
        return isFrame(reader, 0, "gggg") && isFrame(reader, 6, "ffff") ? nullptr : "frame";
    });
}

}  // namespace
