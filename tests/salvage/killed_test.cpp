// Recorders that are killed at any moment: every frame that was complete before is on the disk.

#include <libCommon/exceptions.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/imageutilities.h>
#include <libDataIO/imagewriter.h>

#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <random>

#include <tests/support/killedrecorder.h>
#include <tests/support/logcapture.h>
#include <tests/support/movieparser.h>
#include <tests/support/writerscenarios.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr int kills = 300;
constexpr auto longestLife = std::chrono::microseconds(8000);

/// Sizes that lie within a page and across many.
int samplesOf(int number) {
    constexpr int sizes[] = {16, 2000, 30000, 100000};
    return sizes[number % 4];
}

QByteArray recordedFrame(int number) {
    return scenarioFrame(number, samplesOf(number));
}

/// Now and then it closes the movie and opens it again.
void recordForEver(const QString& path, const KilledRecorder::Report& reportComplete) {
    ImageWriter writer;
    writer.create(path, true);
    writer.width(4);
    writer.height(4);
    writer.pixType(MZ_USHORT);
    for (int number = 0;; ++number) {
        const QByteArray frame = recordedFrame(number);
        writer.addFrame(frame.constData(), static_cast<int>(frame.size()));
        reportComplete(number + 1);
        if (number % 7 == 6) {
            writer.close();
            writer.modify(path);
        }
    }
}

bool holds(const QByteArray& payload, int number) {
    return payload == recordedFrame(number);
}

std::vector<QByteArray> framesIn(const Movie& movie) {
    std::vector<QByteArray> frames;
    for (const MovieChunk& chunk : movie.chunks)
        if (chunk.type == MZ_CT_FRAME) frames.push_back(chunk.payload);
    return frames;
}

/// What is behind the whole chunks is the beginning of one more.
void expectTornChunkAtMost(const QByteArray& bytes, const Movie& movie) {
    qint64 end = 0;
    if (!movie.chunks.empty())
        end = static_cast<qint64>(movie.chunks.back().offset) + movie.chunks.back().size + 32;
    const QByteArray torn = bytes.mid(end);
    EXPECT_TRUE(torn.isEmpty() || torn.left(6) == QByteArray("\n<CSTA").left(torn.size()));
}

AttributeChunk attributesForSalvage() {
    AttributeChunk attributes;
    attributes.set(QStringLiteral("width"), 4);
    attributes.set(QStringLiteral("height"), 4);
    attributes.set(QStringLiteral("pixtype"), static_cast<int>(MZ_USHORT));
    attributes.set(QStringLiteral("pixbits"), 16);
    return attributes;
}

void expectSalvaged(const QString& path, size_t frames) {
    const SalvageReport report = ImageUtilities::salvage(path, attributesForSalvage());
    EXPECT_EQ(report.framesKept, frames);
    ImageReader reader(path);
    ASSERT_EQ(reader.nbFrames(), frames);
    for (unsigned int i = 0; i < frames; ++i) {
        const void* data = nullptr;
        const auto size = reader.getRawFrame(data, i);
        ASSERT_TRUE(size);
        EXPECT_TRUE(holds(QByteArray(static_cast<const char*>(data), static_cast<int>(*size)),
                          static_cast<int>(i)));
    }
}

TEST(KilledRecorder, LosesNoFrameThatWasComplete) {
    const LogCapture silent(LogLevel::Error);
    const unsigned seed = std::random_device()();
    std::printf("seed %u\n", seed);
    std::mt19937 random(seed);
    std::uniform_int_distribution<std::chrono::microseconds::rep> life(0, longestLife.count());
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("movie"));
    int framesSurvived = 0;
    int torn = 0;
    for (int round = 0; round < kills; ++round) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", kill " + std::to_string(round));
        KilledRecorder recorder(
            [&](const KilledRecorder::Report& report) { recordForEver(path, report); });
        const int complete = recorder.killAfter(std::chrono::microseconds(life(random)));
        const QByteArray bytes = readFile(path);
        const Movie movie = parseMovie(bytes);
        const std::vector<QByteArray> frames = framesIn(movie);
        ASSERT_GE(frames.size(), static_cast<size_t>(complete));
        // One more may have been written, but not been reported any more.
        ASSERT_LE(frames.size(), static_cast<size_t>(complete) + 1);
        for (size_t i = 0; i < frames.size(); ++i)
            ASSERT_TRUE(holds(frames[i], static_cast<int>(i))) << "frame " << i;
        expectTornChunkAtMost(bytes, movie);
        torn += movie.problems.empty() ? 0 : 1;
        framesSurvived += complete;
        ASSERT_NO_FATAL_FAILURE(expectSalvaged(path, frames.size()));
    }
    std::printf("%d kills, %d frames, %d files that do not open\n", kills, framesSurvived, torn);
    RecordProperty("seed", std::to_string(seed));
    RecordProperty("frames", framesSurvived);
}

// --- rings ---

constexpr unsigned int ringSize = 4;
constexpr int ringFrameSamples = 1 << 20;

QByteArray uniformFrame(int number) {
    QByteArray frame(2 * ringFrameSamples, Qt::Uninitialized);
    std::fill_n(reinterpret_cast<uint16_t*>(frame.data()), ringFrameSamples,
                static_cast<uint16_t>(number));
    return frame;
}

/// Reports how many frames were complete, those of the first round and those that replaced them.
void replaceForEver(const QString& path, const KilledRecorder::Report& reportComplete) {
    ImageWriter writer;
    writer.create(path, true);
    for (int number = 0;; ++number) {
        const QByteArray frame = uniformFrame(number);
        const auto place = static_cast<unsigned int>(number) % ringSize;
        if (number < static_cast<int>(ringSize))
            writer.addFrame(frame.constData(), static_cast<int>(frame.size()));
        else
            writer.replaceFrame(frame.constData(), place);
        reportComplete(number + 1);
    }
}

/// What the salvaged frames show. A frame of two is none of them.
std::vector<int> numbersIn(ImageReader& reader) {
    std::vector<int> numbers;
    for (unsigned int i = 0; i < reader.nbFrames(); ++i) {
        const void* data = nullptr;
        EXPECT_EQ(reader.getRawFrame(data, i).get(), 2U * ringFrameSamples);
        const auto* samples = static_cast<const uint16_t*>(data);
        const auto isOther = [&](uint16_t sample) { return sample != samples[0]; };
        EXPECT_TRUE(std::none_of(samples, samples + ringFrameSamples, isOther)) << "frame " << i;
        numbers.push_back(samples[0]);
    }
    return numbers;
}

TEST(KilledRecorder, FrameThatIsBeingReplacedIsTheOldOneTheNewOneOrADamagedPlace) {
    const LogCapture silent(LogLevel::Error);
    const unsigned seed = std::random_device()();
    std::printf("seed %u\n", seed);
    std::mt19937 random(seed);
    std::uniform_int_distribution<std::chrono::microseconds::rep> life(3000, 9000);
    AttributeChunk attributes = attributesForSalvage();
    attributes.set(QStringLiteral("width"), 1024);
    attributes.set(QStringLiteral("height"), ringFrameSamples / 1024);
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("movie"));
    int damaged = 0;
    for (int round = 0; round < 60 || (damaged == 0 && round < 600); ++round) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", kill " + std::to_string(round));
        KilledRecorder recorder(
            [&](const KilledRecorder::Report& report) { replaceForEver(path, report); });
        const int complete = recorder.killAfter(std::chrono::microseconds(life(random)));
        ImageUtilities::salvage(path, attributes);
        ImageReader reader(path);
        const std::vector<int> numbers = numbersIn(reader);
        // All but the oldest frame, whose place is the next one to be written, must be there.
        for (int number = std::max(0, complete - static_cast<int>(ringSize) + 1); number < complete;
             ++number)
            ASSERT_EQ(std::count(numbers.begin(), numbers.end(), number), 1) << "frame " << number;
        if (complete >= static_cast<int>(ringSize) && numbers.size() < ringSize) ++damaged;
    }
    std::printf("%d kills left a damaged place\n", damaged);
    EXPECT_GT(damaged, 0) << "no kill came while a frame was being replaced";
}

}  // namespace
