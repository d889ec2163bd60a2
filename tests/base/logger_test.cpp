// Loggers by name: levels and streams inherited along the names, each test with a tree of its own.

#include <libLog/logger.h>

#include <QDateTime>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

#include <tests/support/cancelled.h>
#include <tests/support/logcapture.h>
#include <tests/support/timezone.h>

using namespace mz;

namespace {

struct Collector : LogStream {
    void write(const LogRecord& record) override { records.push_back(record); }
    std::vector<LogRecord> records;
};

struct Thrower : LogStream {
    void write(const LogRecord& /*record*/) override { throw std::runtime_error("full"); }
};

/// A logger tree of its own for each test; loggers are never destroyed.
class LoggerTest : public testing::Test {
protected:
    Logger* at(const char* suffix) {
        const auto* info = testing::UnitTest::GetInstance()->current_test_info();
        return Logger::logger(QString::fromLatin1("test%1%2")
                                  .arg(QLatin1String(info->name()), QLatin1String(suffix)));
    }
    static bool log(Logger* logger, const char* message) {
        return logger->forceLog(LogLevel::getError(), SOFTWARE, QStringLiteral("CODE"),
                                QString::fromLatin1(message), LocationInfo::locationUnavailable);
    }
    void SetUp() override { at("")->inheritLogStreams(false); }
};

TEST_F(LoggerTest, SameNameGivesTheSameLogger) {
    EXPECT_EQ(at(".a.b"), at(".a.b"));
    EXPECT_NE(at(".a.b"), at(".a"));
    EXPECT_EQ(at(".a")->name(), QStringLiteral("testSameNameGivesTheSameLogger.a"));
}

TEST_F(LoggerTest, RootWarnsAndNewLoggersInheritThat) {
    EXPECT_EQ(Logger::logger(QString())->level(), LogLevel::Warning);
    EXPECT_EQ(at(".x.y")->level(), LogLevel::Warning);
}

TEST_F(LoggerTest, LevelFollowsTheNearestAncestorThatHasItsOwn) {
    Logger* leaf = at(".a.b");
    at("")->setLevel(LogLevel::Debug);
    EXPECT_EQ(leaf->level(), LogLevel::Debug);
    at(".a")->setLevel(LogLevel::Fatal);
    EXPECT_EQ(leaf->level(), LogLevel::Fatal);
    at("")->setLevel(LogLevel::Trace);
    EXPECT_EQ(leaf->level(), LogLevel::Fatal);
}

TEST_F(LoggerTest, SetLevelEndsInheritanceAndInheritLevelResumesIt) {
    Logger* leaf = at(".a");
    leaf->setLevel(LogLevel::Info);
    at("")->setLevel(LogLevel::Error);
    EXPECT_EQ(leaf->level(), LogLevel::Info);
    leaf->inheritLevel(true);
    EXPECT_EQ(leaf->level(), LogLevel::Error);
    at("")->setLevel(LogLevel::All);
    EXPECT_EQ(leaf->level(), LogLevel::All);
    leaf->inheritLevel(false);
    at("")->setLevel(LogLevel::Off);
    EXPECT_EQ(leaf->level(), LogLevel::All);
}

TEST_F(LoggerTest, InheritLevelOnTheRootChangesNothing) {
    Logger* root = Logger::logger(QString());
    root->inheritLevel(true);
    EXPECT_EQ(root->level(), LogLevel::Warning);
    root->inheritLevel(false);
    EXPECT_EQ(root->level(), LogLevel::Warning);
}

TEST_F(LoggerTest, RecordCarriesEverything) {
    const auto stream = boost::make_shared<Collector>();
    at(".a")->addLogStream(stream);
    const LocationInfo location("f.cpp", "void f()", 7);
    EXPECT_TRUE(at(".a")->forceLog(LogLevel::getWarning(), FILESYSTEM, QStringLiteral("C"),
                                   QStringLiteral("m"), location));
    ASSERT_EQ(stream->records.size(), 1U);
    const LogRecord& record = stream->records[0];
    EXPECT_EQ(record.level, LogLevel::Warning);
    EXPECT_EQ(record.origin, FILESYSTEM);
    EXPECT_EQ(record.loggerName, at(".a")->name());
    EXPECT_EQ(record.code, QStringLiteral("C"));
    EXPECT_EQ(record.message, QStringLiteral("m"));
    EXPECT_STREQ(record.location.fileName(), "f.cpp");
    EXPECT_EQ(record.location.lineNumber(), 7);
}

TEST_F(LoggerTest, ForceLogWritesWhateverTheThreshold) {
    const auto stream = boost::make_shared<Collector>();
    at("")->addLogStream(stream);
    at("")->setLevel(LogLevel::Off);
    log(at(""), "m");
    EXPECT_EQ(stream->records.size(), 1U);
}

TEST_F(LoggerTest, StreamGetsRecordsOfItsLoggerAndDescendantsExactlyOnce) {
    const auto stream = boost::make_shared<Collector>();
    at("")->addLogStream(stream);
    at(".a")->addLogStream(stream);
    at(".a")->addLogStream(stream);
    log(at(".a.b"), "descendant");
    log(at(".a"), "own");
    log(at(".c"), "sibling");
    ASSERT_EQ(stream->records.size(), 3U);
    at(".a")->removeLogStream(stream);
    at("")->removeLogStream(stream);
    log(at(".a"), "gone");
    EXPECT_EQ(stream->records.size(), 3U);
}

TEST_F(LoggerTest, StreamDoesNotGetRecordsOfAncestors) {
    const auto stream = boost::make_shared<Collector>();
    at(".a")->addLogStream(stream);
    log(at(""), "above");
    EXPECT_TRUE(stream->records.empty());
}

TEST_F(LoggerTest, RecordsStopWhereStreamsAreNotInherited) {
    const auto stream = boost::make_shared<Collector>();
    at("")->addLogStream(stream);
    at(".a")->inheritLogStreams(false);
    log(at(".a.b"), "m");
    EXPECT_TRUE(stream->records.empty());
}

TEST_F(LoggerTest, StreamThatThrowsGivesFalseAndHidesNothingFromTheOthers) {
    const auto stream = boost::make_shared<Collector>();
    at("")->addLogStream(boost::make_shared<Thrower>());
    at("")->addLogStream(stream);
    EXPECT_FALSE(log(at(""), "m"));
    EXPECT_EQ(stream->records.size(), 1U);
}

TEST_F(LoggerTest, NullStreamIsIgnored) {
    at("")->addLogStream(boost::shared_ptr<LogStream>());
    EXPECT_TRUE(log(at(""), "m"));
}

struct Relogger : LogStream {
    explicit Relogger(Logger* target) : other(target) {}
    void write(const LogRecord& /*record*/) override {
        if (depth++ == 0) {
            other->forceLog(LogLevel::getInfo(), SOFTWARE, QString(), QStringLiteral("again"),
                            LocationInfo::locationUnavailable);
        }
    }
    Logger* other;
    int depth = 0;
};

TEST_F(LoggerTest, StreamMayLogItself) {
    const auto stream = boost::make_shared<Relogger>(at(".b"));
    at("")->addLogStream(stream);
    EXPECT_TRUE(log(at(".a"), "m"));
    EXPECT_EQ(stream->depth, 2);
}

/// Takes long enough over a record for every other thread to arrive meanwhile.
struct SlowStream : LogStream {
    void write(const LogRecord& /*record*/) override {
        if (++inside > 1) overlaps = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ++records;
        --inside;
    }
    std::atomic<int> inside = 0;
    std::atomic<int> records = 0;
    std::atomic<bool> overlaps = false;
};

/// Runs action(thread) in four threads that begin together.
template <class Action>
void inThreads(Action action) {
    constexpr int count = 4;
    std::atomic<int> waiting = count;
    std::vector<std::thread> threads;
    for (int t = 0; t < count; ++t) {
        threads.emplace_back([&, t] {
            --waiting;
            while (waiting > 0)
                std::this_thread::yield();
            action(t);
        });
    }
    for (auto& thread : threads)
        thread.join();
}

TEST_F(LoggerTest, WritesOfSeveralThreadsNeverOverlap) {
    const auto stream = boost::make_shared<SlowStream>();
    at("")->addLogStream(stream);
    Logger* logger = at(".a");
    inThreads([&](int) {
        for (int i = 0; i < 10; ++i)
            log(logger, "m");
    });
    EXPECT_FALSE(stream->overlaps);
    EXPECT_EQ(stream->records, 40);
}

TEST_F(LoggerTest, ThreadsGetTheSameNewLoggers) {
    constexpr int names = 2000;
    const QString prefix = at("")->name() + QStringLiteral(".n");
    std::array<std::vector<Logger*>, 4> found;
    inThreads([&](int thread) {
        for (int i = 0; i < names; ++i)
            found[static_cast<size_t>(thread)].push_back(
                Logger::logger(prefix + QString::number(i)));
    });
    for (const auto& loggers : found)
        EXPECT_EQ(loggers, found[0]);
    for (int i = 0; i < names; ++i) {
        const QString name = prefix + QString::number(i);
        ASSERT_EQ(found[0][static_cast<size_t>(i)]->name(), name);
        ASSERT_EQ(found[0][static_cast<size_t>(i)], Logger::logger(name));
    }
}

TEST(LogLevel, ValuesAndNamesOfTheSharedInstances) {
    struct Case {
        const LogLevel& shared;
        LogLevel::Level level;
        int number;
        const char* name;
    };
    for (const Case& c : {Case{LogLevel::getOff(), LogLevel::Off, -2147483647 - 1, "OFF"},
                          Case{LogLevel::getFatal(), LogLevel::Fatal, 0, "FATAL"},
                          Case{LogLevel::getError(), LogLevel::Error, 1, "ERROR"},
                          Case{LogLevel::getWarning(), LogLevel::Warning, 2, "WARNING"},
                          Case{LogLevel::getInfo(), LogLevel::Info, 3, "INFO"},
                          Case{LogLevel::getDebug(), LogLevel::Debug, 4, "DEBUG"},
                          Case{LogLevel::getTrace(), LogLevel::Trace, 5, "TRACE"},
                          Case{LogLevel::getAll(), LogLevel::All, 2147483647, "ALL"}}) {
        EXPECT_EQ(c.shared.level(), c.level) << c.name;
        EXPECT_EQ(static_cast<int>(c.level), c.number) << c.name;
        EXPECT_EQ(c.shared.name(), QString::fromLatin1(c.name));
        EXPECT_EQ(&LogLevel::get(c.level), &c.shared) << c.name;
    }
}

TEST(LogLevel, NumbersBetweenTheLevelsStandForAll) {
    for (const int number : {-1, 6, 2147483646})
        EXPECT_EQ(&LogLevel::get(static_cast<LogLevel::Level>(number)), &LogLevel::getAll())
            << number;
}

TEST(StandardErrorStream, WritesOneLineARecord) {
    testing::internal::CaptureStderr();
    StandardErrorStream().write({LogLevel::Error, SYSCALL, QStringLiteral("dataio.x"),
                                 QStringLiteral("C_O_D"), QStringLiteral("went wrong"),
                                 LocationInfo("a/b.cpp", "void f()", 12)});
    StandardErrorStream().write({LogLevel::Info, SOFTWARE, QStringLiteral("dataio.x"), QString(),
                                 QStringLiteral("note"), LocationInfo("a/b.cpp", "void f()", 13)});
    const std::string out = testing::internal::GetCapturedStderr();
    EXPECT_NE(out.find(" ERROR dataio.x C_O_D went wrong (a/b.cpp:12)\n"), std::string::npos)
        << out;
    EXPECT_NE(out.find(" INFO dataio.x note (a/b.cpp:13)\n"), std::string::npos) << out;
}

TEST(StandardErrorStream, TellsTheTimeInUtc) {
    const test::TimeZone elsewhere("TEST-5:30");
    const QDateTime before = QDateTime::currentDateTimeUtc();
    testing::internal::CaptureStderr();
    StandardErrorStream().write({LogLevel::Error, SYSCALL, QString(), QString(), QString(),
                                 LocationInfo::locationUnavailable});
    const QString line = QString::fromStdString(testing::internal::GetCapturedStderr());
    const QString time = line.section(u' ', 0, 0);
    EXPECT_TRUE(time.endsWith(u'Z')) << time.toStdString();
    const QDateTime told = QDateTime::fromString(time, Qt::ISODateWithMs);
    ASSERT_TRUE(told.isValid()) << time.toStdString();
    EXPECT_GE(told.toMSecsSinceEpoch(), before.toMSecsSinceEpoch());
    EXPECT_LE(told.toMSecsSinceEpoch(), QDateTime::currentMSecsSinceEpoch());
}

/// As a stream that writes to a file does on its way.
struct CancellationPoint : LogStream {
    void write(const LogRecord& /*record*/) override { pthread_testcancel(); }
};

TEST_F(LoggerTest, AThreadMayBeCancelledWhileItLogs) {
    DATAIO_SKIP_CANCELLATION_IF_SANITIZED();
    Logger* logger = at("");
    const auto point = boost::make_shared<CancellationPoint>();
    const auto collector = boost::make_shared<Collector>();
    logger->addLogStream(point);
    bool hasReturned = false;
    EXPECT_TRUE(test::isCancelled([&] {
        pthread_cancel(pthread_self());
        log(logger, "the last one");
        hasReturned = true;
    }));
    EXPECT_FALSE(hasReturned);

    // The one lock of all loggers is free again.
    logger->removeLogStream(point);
    logger->addLogStream(collector);
    EXPECT_TRUE(log(logger, "after it"));
    EXPECT_EQ(collector->records.size(), 1U);
}

}  // namespace
