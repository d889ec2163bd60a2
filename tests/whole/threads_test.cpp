// Several readers and writers at work, each with its own file in its own thread, while others
// change the logging. Under the thread sanitizer this shows that they share nothing.

#include <libCommon/exceptions.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/imageutilities.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/payloads/compressions.h>
#include <libDataIO/rsqcompressutil.h>
#include <libLog/logger.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include <tests/support/logcapture.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr int threadCount = 4;
constexpr int rounds = 12;
constexpr int frameCount = 8;
constexpr int width = 16;
constexpr int height = 8;

/// Runs `work` with the numbers 0 to count - 1 at the same time, and waits for all.
void runTogether(int count, const std::function<void(int)>& work) {
    std::atomic<int> waiting{count};
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            --waiting;
            while (waiting > 0)
                std::this_thread::yield();
            try {
                work(i);
            } catch (const std::exception& failure) {
                ADD_FAILURE() << "thread " << i << ": " << failure.what();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

QByteArray frameOf(int thread, int number) {
    return frame16(width * height, static_cast<uint32_t>(thread * 1000 + number));
}

void recordMovie(const QString& path, int thread, CompressionType::e compression) {
    ImageWriter writer;
    writer.create(path, true);
    setSize(writer, width, height);
    writer.setCompression(compression);
    writer.setComment(QString::number(thread));
    for (int i = 0; i < frameCount; ++i)
        add(writer, frameOf(thread, i), 0.5F);
    writer.addRasterFiberContinuousIndexes({1.0F, 1.0F, 2.0F, 2.0F});
    writer.close();
}

void expectMovie(const QString& path, int thread) {
    ImageReader reader(path);
    EXPECT_EQ(reader.getComment(), QString::number(thread));
    ASSERT_EQ(reader.nbFrames(), static_cast<unsigned int>(frameCount));
    for (unsigned int i = 0; i < reader.nbFrames(); ++i) {
        const void* data = nullptr;
        const auto size = reader.getRawFrame(data, i);
        ASSERT_TRUE(size);
        EXPECT_EQ(QByteArray(static_cast<const char*>(data), *size),
                  frameOf(thread, static_cast<int>(i)));
        EXPECT_TRUE(reader.getFrameTiming(i));
    }
    std::vector<float> fibers;
    reader.getRasterFiberContinuousIndexes(fibers, ImageReader::NoFiberFiltering);
    EXPECT_EQ(fibers.size(), 4U);
}

TEST(Threads, WritersAndReadersOfDifferentFilesDoNotMeet) {
    const LogCapture quiet(LogLevel::Error);
    runTogether(threadCount, [](int thread) {
        const ScratchFile file;
        for (int round = 0; round < rounds; ++round) {
            const auto row = static_cast<size_t>(round) % compressions.size();
            recordMovie(file.path(), thread, compressions[row].type);
            expectMovie(file.path(), thread);
        }
    });
}

TEST(Threads, MoviesAreModifiedCopiedAndSalvagedAtTheSameTime) {
    const LogCapture quiet(LogLevel::Error);
    runTogether(threadCount, [](int thread) {
        const ScratchFile file;
        const QString copy = file.sibling("copy");
        for (int round = 0; round < rounds; ++round) {
            recordMovie(file.path(), thread, CompressionType::None);
            const AttributeChunk attributes = ImageUtilities::attributesOf(file.path());
            RSQCompress::compressFile(_inputFilename = file.path(), _outputFilename = copy,
                                      _compression = CompressionType::GZip);
            expectMovie(copy, thread);

            ImageWriter writer;
            writer.modify(file.path());
            writer.replaceFrame(frameOf(thread, 0).constData(), 0);
            writer.close();
            expectMovie(file.path(), thread);

            file.resize(file.size() - 10);
            const SalvageReport report = ImageUtilities::salvage(file.path(), attributes);
            EXPECT_EQ(report.framesKept, static_cast<unsigned int>(frameCount));
        }
    });
}

TEST(Threads, OneMovieIsReadByManyReaders) {
    const LogCapture quiet(LogLevel::Error);
    const ScratchFile file;
    recordMovie(file.path(), 7, CompressionType::ZLib);
    runTogether(threadCount, [&](int) {
        for (int round = 0; round < rounds; ++round)
            expectMovie(file.path(), 7);
    });
}

TEST(Threads, FailuresOfAllThreadsAreLoggedOnce) {
    const LogCapture listening(LogLevel::Error);
    runTogether(threadCount, [](int) {
        const ScratchFile file(chunk(2, "a frame alone"));
        for (int round = 0; round < rounds; ++round)
            EXPECT_THROW(ImageReader(file.path()), IOFileException);
    });
    ASSERT_EQ(listening.records().size(), size_t{threadCount} * rounds);
    for (const LogRecord& record : listening.records())
        EXPECT_EQ(record.code, u"IR_MISSINFO");
}

struct SilentStream : LogStream {
    void write(const LogRecord& /*record*/) override {}
};

TEST(Threads, LoggingMayChangeWhileOthersFail) {
    const LogCapture quiet(LogLevel::Error);
    runTogether(threadCount, [](int thread) {
        Logger* const parent = Logger::logger(QStringLiteral("dataio"));
        Logger* const logger = Logger::logger(QStringLiteral("dataio.imagereader"));
        const ScratchFile file(chunk(2, "a frame alone"));
        for (int round = 0; round < 20 * rounds; ++round) {
            if (thread % 2 == 0) {
                EXPECT_THROW(ImageReader(file.path()), IOFileException);
                continue;
            }
            const auto stream = boost::make_shared<SilentStream>();
            logger->addLogStream(stream);
            parent->setLevel(round % 2 == 0 ? LogLevel::Error : LogLevel::Off);
            logger->setLevel(LogLevel::Fatal);
            logger->inheritLogStreams(round % 3 == 0);
            logger->inheritLevel(true);
            logger->level();
            Logger::logger(QStringLiteral("dataio.threads.%1_%2").arg(thread).arg(round))->level();
            logger->removeLogStream(stream);
        }
    });
    Logger::logger(QStringLiteral("dataio.imagereader"))->inheritLogStreams(true);
    Logger::logger(QStringLiteral("dataio.imagereader"))->inheritLevel(true);
}

}  // namespace
