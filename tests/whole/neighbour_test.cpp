// Another process changes a movie, or records it anew, while it is read: readers fail now and then,
// and none dies of it.

#include <libCommon/exceptions.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/imageutilities.h>
#include <libDataIO/rsqcompressutil.h>

#include <QImage>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <functional>

#include <tests/support/childprocess.h>
#include <tests/support/logcapture.h>
#include <tests/support/recordings.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr auto timeOfReading = std::chrono::milliseconds(300);

/// Does the same again and again until it is destroyed.
class Neighbour {
public:
    explicit Neighbour(const std::function<void()>& action) {
        std::fflush(nullptr);
        _child = ::fork();
        EXPECT_NE(_child, -1);
        if (_child != 0) return;
        const LogCapture quiet(LogLevel::Off);
        for (;;) {
            try {
                action();
            } catch (const std::exception&) {
                // A reader that salvages may have the file.
            }
        }
    }
    Neighbour(const Neighbour&) = delete;
    Neighbour& operator=(const Neighbour&) = delete;
    ~Neighbour() {
        ::kill(_child, SIGKILL);
        int status = 0;
        EXPECT_EQ(::waitpid(_child, &status, 0), _child);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "status " << status;
    }

private:
    pid_t _child = -1;
};

struct Reading {
    const char* name;
    std::function<void(const QString& path, const QString& output)> run;
};

/// All that looks at a movie, but for raw frames that are handed out in place.
std::vector<Reading> readings() {
    return {{"open, fibres, times",
             [](const QString& path, const QString&) {
                 ImageReader reader(path);
                 std::vector<float> fibers;
                 reader.getRasterFiberContinuousIndexes(fibers, ImageReader::NoFiberFiltering);
                 reader.getFrameTiming(0);
                 reader.reloadHeader();
             }},
            {"thumbnail",
             [](const QString& path, const QString&) {
                 ImageReader reader(path);
                 QImage image;
                 for (int i = 0; i < 20; ++i)
                     reader.thumbnail(image, 16, 16, i);
             }},
            {"copy",
             [](const QString& path, const QString& output) {
                 RSQCompress::compressFile(_inputFilename = path, _outputFilename = output);
             }},
            {"copy as samples",
             [](const QString& path, const QString& output) {
                 RSQCompress::compressFile(_inputFilename = path, _outputFilename = output,
                                           _vectorization = RSQCompress::VectorizeIfPossible);
             }},
            {"salvage", [](const QString& path, const QString& output) {
                 ImageUtilities::salvageTo(path, output, AttributeChunk());
             }}};
}

class Neighbours : public testing::TestWithParam<CompressionType::e> {
protected:
    void SetUp() override {
        kind.compression = GetParam();
        kind.frames = 400;
        kind.width = 64;
        kind.height = 32;
        path = dir.filePath(QStringLiteral("movie"));
        record(path, kind);
    }

    /// Each way of reading in a process of its own.
    void expectThatNobodyDies(const std::function<void()>& action) {
        const Neighbour neighbour(action);
        for (const Reading& reading : readings()) {
            SCOPED_TRACE(reading.name);
            inChild([&] {
                const LogCapture quiet(LogLevel::Off);
                const QString output = dir.filePath(QStringLiteral("output"));
                const auto end = std::chrono::steady_clock::now() + timeOfReading;
                while (std::chrono::steady_clock::now() < end) {
                    try {
                        reading.run(path, output);
                    } catch (const std::exception&) {
                        // The movie has no end at the moment, or a frame is cut.
                    }
                }
            });
        }
    }

    QTemporaryDir dir;
    RecordingKind kind;
    QString path;
};

TEST_P(Neighbours, MayModifyAMovieWhileItIsRead) {
    expectThatNobodyDies([&] {
        ImageWriter writer;
        writer.modify(path);
        writer.close();
    });
}

TEST_P(Neighbours, MayRecordAMovieAnewWhileItIsRead) {
    expectThatNobodyDies([&] { record(path, kind); });
}

INSTANTIATE_TEST_SUITE_P(Compressions, Neighbours, testing::Values(none, zlib));

}  // namespace
