// Real disks that are full: nothing is simulated here but the length to which a file may grow.

#include <libCommon/exceptions.h>
#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>
#include <libLog/logger.h>

#include <QFile>
#include <QTemporaryDir>
#include <boost/smart_ptr/make_shared.hpp>
#include <gtest/gtest.h>

#include <sys/mount.h>
#include <unistd.h>

#include <cstring>

#include <tests/support/expectfailure.h>
#include <tests/support/failures.h>
#include <tests/support/limits.h>
#include <tests/support/movieparser.h>
#include <tests/support/writerscenarios.h>

using namespace mz;
using namespace mz::test;

namespace {

/// A file system of the test's own with room for a few pages.
class SmallDisk {
public:
    SmallDisk() {
        _mounted = ::mount("tmpfs", name(), "tmpfs", 0, "size=64k") == 0;
        _error = errno;
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    ~SmallDisk() {
        if (_mounted) ::umount2(name(), MNT_DETACH);
    }

    bool mounted() const { return _mounted; }
    const char* error() const { return std::strerror(_error); }
    QString path(const char* file) const { return _dir.filePath(QString::fromLatin1(file)); }

    /// Takes all the room but `left` bytes.
    void fill(int left) const {
        QFile filler(path("filler"));
        ASSERT_TRUE(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        while (filler.write(QByteArray(4096, 'f')) == 4096) {
        }
        ASSERT_TRUE(filler.resize(filler.size() - left));
    }
    void free() const { ASSERT_TRUE(QFile::remove(path("filler"))); }

private:
    const char* name() {
        _name = _dir.path().toLocal8Bit();
        return _name.constData();
    }
    QTemporaryDir _dir;
    QByteArray _name;
    bool _mounted = false;
    int _error = 0;
};

/// The steps of a scenario on a file that may grow to a limit; a step that fails is made again
/// without it.
void recordAcrossLimit(const std::vector<Step>& steps, const QString& path, rlim_t limit) {
    auto writer = std::make_unique<ImageWriter>();
    int failures = 0;
    for (const Step& s : steps) {
        const QByteArray before = readFileIfAny(path);
        try {
            const FileSizeLimit full(failures == 0 ? limit : RLIM_INFINITY);
            s.run(writer, path);
            continue;
        } catch (const IOFileException& failure) {
            ++failures;
            EXPECT_EQ(failure.origin(), SYSCALL);
        }
        EXPECT_EQ(readFile(path), before) << s.name;
        s.run(writer, path);
    }
    EXPECT_EQ(failures, 1);
}

// At every byte of a recording the disk is full once.
TEST(FullDisk, ARecordingGoesOnFromWhereTheDiskWasFull) {
    const LogCapture silent(LogLevel::Error);
    Recording recording;
    recording.fibers = true;
    for (CompressionType::e compression : {CompressionType::None, CompressionType::GZip}) {
        recording.compression = compression;
        const std::vector<Step> steps = recordingSteps(recording) + std::vector<Step>{closeStep()};
        const QByteArray expected = movieOf(recording);
        const QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("movie"));
        for (qint64 limit = 0; limit < expected.size(); ++limit) {
            recordAcrossLimit(steps, path, static_cast<rlim_t>(limit));
            ASSERT_EQ(readFile(path), expected) << limit;
        }
    }
}

TEST(FullDisk, AttributesThatDoNotFitLeaveTheMovieAsItWas) {
    const LogCapture silent(LogLevel::Error);
    const QByteArray movie = movieOf({});
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("movie"));
    AttributeChunk attributes;
    attributes.set(QStringLiteral("comment"), QString(1000, QLatin1Char('x')));
    for (qint64 room = 0; room < 700; room += 7) {
        writeFile(path, movie);
        {
            const FileSizeLimit full(static_cast<rlim_t>(movie.size() + room));
            ImageWriter writer;
            EXPECT_THROW(writer.modifyAttribute(path, attributes), IOFileException);
            EXPECT_FALSE(writer.isOpen());
        }
        ASSERT_EQ(readFile(path), movie) << room;
    }
}

/// Writes its records to the disk of the movie, as long as there is room.
struct LogOnTheSameDisk : LogStream {
    explicit LogOnTheSameDisk(const QString& path) : file(path) {
        EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    }
    void write(const LogRecord& /*record*/) override {
        while (file.write(QByteArray(4096, 'l')) == 4096)
            ++pages;
        ++records;
    }
    QFile file;
    int pages = 0;
    int records = 0;
};

/// The place of the old attributes is never given away: who else writes to the disk would take it
/// before it is needed again.
TEST(FullDisk, AttributesThatDoNotFitKeepThePlaceOfTheOldOnes) {
    const SmallDisk disk;
    if (!disk.mounted()) GTEST_SKIP() << "cannot mount a small file system: " << disk.error();

    const QString path = disk.path("movie");
    AttributeChunk attributes;
    attributes.set(QStringLiteral("comment"), QString(12000, QLatin1Char('o')));
    {
        ImageWriter writer;
        writer.create(path, false);
        writer.attributeChunk().merge(attributes);
        writer.addFrame("frame", 5);
        writer.close();
    }
    const QByteArray movie = readFile(path);
    const auto stream = boost::make_shared<LogOnTheSameDisk>(disk.path("log"));
    disk.fill(0);
    Logger* const logger = Logger::logger(QStringLiteral("dataio"));
    logger->inheritLogStreams(false);
    logger->addLogStream(stream);
    attributes.set(QStringLiteral("comment"), QString(20000, QLatin1Char('n')));
    ImageWriter writer;
    EXPECT_THROW(writer.modifyAttribute(path, attributes), IOFileException);
    logger->removeLogStream(stream);
    logger->inheritLogStreams(true);
    EXPECT_GT(stream->records, 0);
    EXPECT_EQ(stream->pages, 0);
    EXPECT_EQ(readFile(path), movie);
}

TEST(FullDisk, AFileSystemThatFillsUpWhileCompressingIsFreedAndGoneOnWith) {
    const LogCapture silent(LogLevel::Error);
    const SmallDisk disk;
    if (!disk.mounted()) GTEST_SKIP() << "cannot mount a small file system: " << disk.error();

    constexpr int samples = 4000;
    ImageWriter writer;
    const QString path = disk.path("movie");
    writer.create(path, true);
    writer.width(samples);
    writer.height(1);
    writer.pixType(MZ_USHORT);
    writer.setCompression(CompressionType::GZip);
    disk.fill(20000);
    int recorded = 0;
    const auto record = [&] {
        writer.addFrame(scenarioFrame(recorded, samples).constData(), 0.5F);
        ++recorded;
    };
    EXPECT_THROW(for (;;) record(), IOFileException);
    ASSERT_GT(recorded, 0);
    EXPECT_THROW(record(), IOFileException);
    EXPECT_EQ(parseMovieFile(path).chunks.size(), static_cast<size_t>(recorded));

    disk.free();
    record();
    writer.close();
    soundMovie(path);
    ImageReader reader(path);
    ASSERT_EQ(reader.nbFrames(), static_cast<unsigned int>(recorded));
    for (int i = 0; i < recorded; ++i) {
        const void* data = nullptr;
        ASSERT_TRUE(reader.getFrame(data, static_cast<unsigned int>(i)));
        const QByteArray expected = scenarioFrame(i, samples);
        EXPECT_EQ(std::memcmp(data, expected.constData(), static_cast<size_t>(expected.size())), 0)
            << i;
    }
}

TEST(FullDisk, ClosingOnAFullFileSystemIsToldAndPossibleAfterwards) {
    const LogCapture silent(LogLevel::Error);
    const SmallDisk disk;
    if (!disk.mounted()) GTEST_SKIP() << "cannot mount a small file system: " << disk.error();

    // The frame fills its pages to the last byte.
    constexpr int samples = (4096 - 32) / 2;
    ImageWriter writer;
    const QString path = disk.path("movie");
    writer.create(path, true);
    writer.addFrame(scenarioFrame(1, samples).constData(), samples * 2);
    disk.fill(0);
    EXPECT_THROW(writer.close(), IOFileException);
    EXPECT_THROW(writer.close(), IOFileException);
    EXPECT_TRUE(writer.isOpen());
    EXPECT_EQ(QFile(path).size(), 4096);
    disk.free();
    writer.close();
    EXPECT_EQ(soundMovie(path).types(), (std::vector<uint32_t>{2, 7, 8, 5}));
}

TEST(FullDisk, ADeviceThatIsAlwaysFullTakesNothing) {
    const QTemporaryDir dir;
    const QString link = dir.filePath(QStringLiteral("movie"));
    ASSERT_EQ(::symlink("/dev/full", link.toLocal8Bit().constData()), 0);
    for (const QString& path : {QStringLiteral("/dev/full"), link}) {
        ImageWriter writer;
        writer.create(path, false);
        const QByteArray frame = scenarioFrame(0);
        expectFailure<IOFileException>(
            headerWrite(ENOSPC), [&] { writer.addFrame(frame.constData(), scenarioFrameBytes); });
        expectFailure<IOFileException>(headerWrite(ENOSPC), [&] { writer.close(); });
        EXPECT_TRUE(writer.isOpen());
    }
    ImageReader reader;
    expectFailure<IOFileException>({"dataio.filereader", FILESYSTEM, "FR_OF_REGFILE",
                                    QStringLiteral("File /dev/full is not a regular file.")},
                                   [&] { reader.open(QStringLiteral("/dev/full")); });
}

}  // namespace
