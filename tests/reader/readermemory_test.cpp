// Every allocation that a reader makes fails once. The request says so with std::bad_alloc and is
// good for the same answer the next time; a thumbnail alone is silently not made.

#include <libDataIO/imagereader.h>

#include <QImage>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include <tests/support/allocationlayer.h>
#include <tests/support/expectfailure.h>
#include <tests/support/goodmovies.h>
#include <tests/support/limits.h>
#include <tests/support/repeatingservice.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

/// What a request answers, as bytes.
using Request = std::function<std::string(ImageReader&)>;

std::string bytesAt(const void* data, size_t size) {
    return {static_cast<const char*>(data), size};
}

std::string rawFrame(ImageReader& reader, unsigned int number) {
    const void* data = nullptr;
    const auto size = reader.getRawFrame(data, number);
    return size ? bytesAt(data, *size) : "none";
}

std::string image(ImageReader& reader, unsigned int number) {
    const void* data = nullptr;
    return reader.getFrame(data, number) ? bytesAt(data, goodWidth * goodHeight) : "none";
}

template <class Value>
std::string listed(const std::vector<Value>& values) {
    return bytesAt(values.data(), values.size() * sizeof(Value));
}

std::string fibers(const ImageReader& reader) {
    std::string answer;
    for (int number = 0; number < 6; ++number) {
        const auto mode = static_cast<ImageReader::FiberFilteringMode>(number);
        std::vector<float> positions;
        std::vector<unsigned int> pixels;
        reader.getRasterFiberContinuousIndexes(positions, mode);
        answer += listed(positions);
        reader.getWorldFiberCenters(positions, mode);
        answer += listed(positions);
        reader.getRasterFiberIndexes(pixels, mode);
        answer += listed(pixels);
        reader.getFiberOffsets(pixels, mode);
        answer += listed(pixels);
        answer += std::to_string(reader.nbFibers(mode));
    }
    return answer;
}

std::string header(const ImageReader& reader) {
    MzPalette palette;
    QString text;
    std::vector<float> box;
    std::string answer = std::to_string(reader.palette(palette)) + palette._name.toStdString();
    answer += reader.getComment().toStdString() + reader.dataType().toStdString();
    answer += std::to_string(reader.attribute(QStringLiteral("width"), text)) + text.toStdString();
    return answer + std::to_string(reader.getBundleBoundingBox(box)) + listed(box);
}

std::string timesAndPowers(const ImageReader& reader) {
    std::string answer;
    for (unsigned int i = 0; i < reader.nbFrames(); ++i) {
        timeval time{};
        float power = 0;
        answer += std::to_string(reader.getFrameTiming(i, time)) + std::to_string(time.tv_sec);
        answer += std::to_string(reader.getLaserPower(i, power)) + std::to_string(power);
    }
    return answer;
}

QByteArray pixels(const QImage& image) {
    return {reinterpret_cast<const char*>(image.constBits()), image.sizeInBytes()};
}

/// The frames forwards and again, so that they meet each other's buffers.
std::vector<Request> requests(const QString& path) {
    std::vector<Request> all;
    all.emplace_back([path](ImageReader& reader) {
        reader.open(path);
        return std::to_string(reader.nbFrames());
    });
    for (const unsigned int number : {0U, 1U, 0U}) {
        all.emplace_back([number](ImageReader& reader) { return rawFrame(reader, number); });
        all.emplace_back([number](ImageReader& reader) { return image(reader, number); });
    }
    all.emplace_back(fibers);
    all.emplace_back(header);
    all.emplace_back(timesAndPowers);
    all.emplace_back([](ImageReader& reader) {
        reader.reloadHeader();
        return header(reader);
    });
    all.emplace_back([](ImageReader& reader) {
        const ImageReader other = ImageReader::withoutService(reader.getFilename());
        return std::to_string(other.nbFrames());
    });
    return all;
}

class ReaderMemory : public testing::TestWithParam<GoodMovie> {
protected:
    ReaderMemory() : file(GetParam().bytes()) {}

    ScratchFile file;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Movies, ReaderMemory, testing::ValuesIn(goodMovies()),
                         [](const auto& movie) { return movie.param.name; });

TEST_P(ReaderMemory, TheSameRequestAgainIsAnswered) {
    const std::vector<Request> all = requests(file.path());
    std::vector<std::string> expected;
    ImageReader undisturbed(repeatingService());
    for (const Request& request : all)
        expected.push_back(request(undisturbed));
    const int failed = forEachLack([&](FailingAllocation& failing) {
        ImageReader reader(repeatingService());
        for (size_t i = 0; i < all.size(); ++i) {
            std::string answer;
            runAgainIfNeeded(failing, [&] { answer = all[i](reader); });
            EXPECT_EQ(answer, expected[i]) << "request " << i;
        }
        reader.close();
    });
    EXPECT_GT(failed, 20);
}

TEST_P(ReaderMemory, AFailedOpeningLeavesAnEmptyMovie) {
    forEachLack([&](FailingAllocation& failing) {
        ImageReader reader(repeatingService());
        if (!runsOutOfMemory(failing, [&] { reader.open(file.path()); })) return;
        EXPECT_EQ(reader.nbFrames(), 0U);
        EXPECT_TRUE(reader.attributeChunk().attributes().empty());
        EXPECT_EQ(rawFrame(reader, 0), "none");
    });
}

TEST_P(ReaderMemory, AThumbnailIsMadeTheNextTime) {
    const auto open = [&] {
        auto reader = std::make_unique<ImageReader>(repeatingService());
        reader->open(file.path());
        return reader;
    };
    QImage expected;
    const bool isMade = open()->thumbnail(expected, 40, 30, 0);
    forEachLack([&](FailingAllocation& failing) {
        const auto reader = open();
        QImage image;
        bool isDone = false;
        failing.during([&] { isDone = reader->thumbnail(image, 40, 30, 0); });
        if (!isDone) {
            EXPECT_TRUE(image.isNull());
            isDone = reader->thumbnail(image, 40, 30, 0);
        }
        EXPECT_EQ(isDone, isMade);
        EXPECT_EQ(pixels(image), pixels(expected));
    });
}

// --- frames by their size ------------------------------------------------------------------------

namespace {

constexpr size_t ordinary = 16 << 20;

/// Frames of one value of so many bytes.
QByteArray uniformMovie(CompressionType::e type, int width, int height) {
    const QByteArray frame = compressed(type, QByteArray(2 * width * height, '\1'));
    return MovieBytes()
        .size(width, height)
        .attribute("compression_type", attributeOf(type))
        .frame(frame)
        .frame(frame)
        .bytes();
}

class FrameMemory : public testing::TestWithParam<CompressionType::e> {};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Types, FrameMemory, testing::ValuesIn(streamTypes()),
                         [](const auto& type) { return attributeOf(type.param); });

TEST_P(FrameMemory, ThatLacksForAnOrdinaryFrameIsNoFaultOfTheFile) {
    DATAIO_SKIP_IF_SANITIZED();
    const ScratchFile file(uniformMovie(GetParam(), 2048, 4096));
    FailingAllocation failing(1, {ordinary});
    ImageReader reader(file.path());
    EXPECT_TRUE(runsOutOfMemory(failing, [&] { rawFrame(reader, 0); }));
    EXPECT_EQ(rawFrame(reader, 0).size(), ordinary);
}

TEST_P(FrameMemory, ThatLacksForALargeFrameMakesItsSizeInvalid) {
    DATAIO_SKIP_IF_SANITIZED();
    const ScratchFile file(uniformMovie(GetParam(), 2049, 4096));
    FailingAllocation failing(1, {ordinary});
    ImageReader reader(file.path());
    const Failure invalidSize{"dataio.imagereader", SOFTWARE, "IR_GRF_SIZE",
                              QStringLiteral("Frame size is invalid, file may be corrupted.")};
    expectFailure<IOFileException>(invalidSize,
                                   [&] { failing.during([&] { rawFrame(reader, 0); }); });
    EXPECT_TRUE(failing.happened());
    EXPECT_GT(rawFrame(reader, 0).size(), ordinary);
}

TEST_P(FrameMemory, ForASecondBufferIsNotNeeded) {
    DATAIO_SKIP_IF_SANITIZED();
    const ScratchFile file(uniformMovie(GetParam(), 2049, 4096));
    ImageReader reader(file.path());
    const std::string expected = rawFrame(reader, 0);
    FailingAllocation failing(1, {ordinary});
    std::string second(expected.size(), 'x');
    failing.during([&] {
        const void* data = nullptr;
        const auto size = reader.getRawFrame(data, 1);
        second.assign(static_cast<const char*>(data), *size);
    });
    EXPECT_EQ(second, expected);
}
