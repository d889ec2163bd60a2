// Recorders that are killed at any moment: every frame that was complete before is on the disk.

#include <libCommon/exceptions.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/imageutilities.h>
#include <libDataIO/imagewriter.h>

#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstring>
#include <random>
#include <thread>

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

/// Records until it is killed, and tells through the pipe how many frames are complete. Now and
/// then it closes the movie and opens it again.
[[noreturn]] void recordForEver(const QString& path, int pipe) {
    ImageWriter writer;
    writer.create(path, true);
    writer.width(4);
    writer.height(4);
    writer.pixType(MZ_USHORT);
    for (int number = 0;; ++number) {
        const QByteArray frame = recordedFrame(number);
        writer.addFrame(frame.constData(), static_cast<int>(frame.size()));
        const int complete = number + 1;
        if (::write(pipe, &complete, sizeof complete) != sizeof complete) _exit(1);
        if (number % 7 == 6) {
            writer.close();
            writer.modify(path);
        }
    }
}

/// A child of this process rather than a program of its own: it lives for a few milliseconds, in
/// which a program would not even have started under a sanitizer.
class Recorder {
public:
    explicit Recorder(const QString& path) {
        int ends[2];
        EXPECT_EQ(::pipe(ends), 0);
        _reports = ends[0];
        _child = ::fork();
        if (_child == 0) {
            ::close(ends[0]);
            recordForEver(path, ends[1]);
        }
        ::close(ends[1]);
    }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;
    ~Recorder() { ::close(_reports); }

    /// @return the number of frames that it had reported
    int killAfter(std::chrono::microseconds life) {
        int complete = readReport();
        std::this_thread::sleep_for(life);
        ::kill(_child, SIGKILL);
        int status = 0;
        EXPECT_EQ(::waitpid(_child, &status, 0), _child);
        EXPECT_TRUE(WIFSIGNALED(status)) << "the recorder ended by itself";
        while (const int report = readReport())
            complete = report;
        return complete;
    }

private:
    /// 0 when there are no more.
    int readReport() const {
        int report = 0;
        return ::read(_reports, &report, sizeof report) == sizeof report ? report : 0;
    }

    int _reports = -1;
    pid_t _child = -1;
};

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
        const int complete = Recorder(path).killAfter(std::chrono::microseconds(life(random)));
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

}  // namespace
