// The family of exceptions: what each carries, what it is caught as, and the record that a failure
// leaves in the log before it is thrown.

#include <libCommon/exceptions.h>
#include <libLog/failure.h>

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include <tests/support/expectfailure.h>

using namespace mz;

namespace {

template <class Exception>
class ExceptionFamily : public testing::Test {};

using Concrete = testing::Types<RecoverableException, CriticalException, IOFileException,
                                SaveException, UserMgmtException, BufferException, ConfigException>;
TYPED_TEST_SUITE(ExceptionFamily, Concrete);

TYPED_TEST(ExceptionFamily, CarriesWhatItWasBuiltFromAlsoWhenCopied) {
    const LocationInfo location("libDataIO/x.cpp", "void mz::x()", 42);
    const TypeParam original(QStringLiteral("It broke."), FILESYSTEM, QStringLiteral("X_Y_Z"),
                             QStringLiteral("details"), location);
    const TypeParam copy(original);  // NOLINT(performance-unnecessary-copy-initialization)
    EXPECT_EQ(copy.message(), QStringLiteral("It broke."));
    EXPECT_EQ(copy.origin(), FILESYSTEM);
    EXPECT_EQ(copy.code(), QStringLiteral("X_Y_Z"));
    EXPECT_EQ(copy.techDetailsMsg(), QStringLiteral("details"));
    EXPECT_TRUE(copy.stackTrace().isEmpty());
    EXPECT_STREQ(copy.locationInfo().fileName(), "libDataIO/x.cpp");
    EXPECT_STREQ(copy.locationInfo().methodName(), "void mz::x()");
    EXPECT_EQ(copy.locationInfo().lineNumber(), 42);
    EXPECT_STREQ(copy.what(), "X_Y_Z: It broke.");
}

TYPED_TEST(ExceptionFamily, IsCaughtAsItsBases) {
    const LocationInfo& nowhere = LocationInfo::locationUnavailable;
    const auto raise = [&] { throw TypeParam(QString(), SOFTWARE, QString(), QString(), nowhere); };
    EXPECT_THROW(raise(), BaseException);
    EXPECT_THROW(raise(), std::exception);
    EXPECT_THROW(raise(), boost::exception);
}

TEST(ExceptionText, IsUtf8) {
    const IOFileException failure(QString(QChar(0x00fc)) + QChar(0x4e2d), SOFTWARE,
                                  QStringLiteral("X"), QString(),
                                  LocationInfo::locationUnavailable);
    EXPECT_STREQ(failure.what(), "X: \xc3\xbc\xe4\xb8\xad");
}

static_assert(std::is_base_of_v<RecoverableException, IOFileException>);
static_assert(std::is_base_of_v<RecoverableException, SaveException>);
static_assert(std::is_base_of_v<RecoverableException, UserMgmtException>);
static_assert(std::is_base_of_v<CriticalException, BufferException>);
static_assert(std::is_base_of_v<CriticalException, ConfigException>);
static_assert(!std::is_base_of_v<CriticalException, IOFileException>);
static_assert(SOFTWARE == 0 && LSU == 1 && COMMUNICATION == 2 && FILESYSTEM == 3 && SYSCALL == 4 &&
              CONFIG == 5 && IMPROCESS == 6 && USEREVENT == 7);

TEST(LocationInfo, UnavailableStandsForNoPlace) {
    EXPECT_STREQ(LocationInfo::locationUnavailable.fileName(), "N/A");
    EXPECT_STREQ(LocationInfo::locationUnavailable.methodName(), "N/A");
    EXPECT_EQ(LocationInfo::locationUnavailable.lineNumber(), 0);
}

int failHere(Logger* logger) {
    DATAIO_FAIL(CriticalException, logger, SYSCALL, "T_FH_CAUSE", QStringLiteral("text"));
}

TEST(Failure, LogsThenThrowsTheSameWithTheThrowingFunctionsLocation) {
    Logger* logger = Logger::logger(QStringLiteral("dataio.failuretest"));
    test::expectFailure<CriticalException>(
        {"dataio.failuretest", SYSCALL, "T_FH_CAUSE", QStringLiteral("text")},
        [&] { failHere(logger); });

    test::LogCapture log;
    try {
        failHere(logger);
    } catch (const CriticalException& thrown) {
        EXPECT_STREQ(thrown.locationInfo().fileName(), "tests/base/exceptions_test.cpp");
        // Between these two words compilers name the unnamed namespace each in its own way.
        const QByteArray method = thrown.locationInfo().methodName();
        EXPECT_TRUE(method.startsWith("int ")) << method.toStdString();
        EXPECT_TRUE(method.contains("::failHere(")) << method.toStdString();
        ASSERT_EQ(log.records().size(), 1U);
        EXPECT_EQ(log.records()[0].location.lineNumber(), thrown.locationInfo().lineNumber());
        EXPECT_STREQ(log.records()[0].location.fileName(), "tests/base/exceptions_test.cpp");
    }
}

TEST(Failure, ThrowsWithoutARecordBelowErrorLevel) {
    Logger* logger = Logger::logger(QStringLiteral("dataio.failuretest"));
    for (LogLevel::Level level : {LogLevel::Fatal, LogLevel::Off}) {
        test::LogCapture log(level);
        EXPECT_THROW(failHere(logger), CriticalException);
        EXPECT_TRUE(log.records().empty());
    }
}

struct ErrnoSpoilingStream : LogStream {
    void write(const LogRecord& /*record*/) override { errno = EDOM; }
};

TEST(Failure, SystemTextIsTheSameInRecordAndExceptionEvenIfAStreamSpoilsErrno) {
    Logger* logger = Logger::logger(QStringLiteral("dataio.failuretest"));
    const auto spoiler = boost::make_shared<ErrnoSpoilingStream>();
    logger->addLogStream(spoiler);
    test::LogCapture log;
    try {
        errno = ENOSPC;
        DATAIO_FAIL(IOFileException, logger, SYSCALL, "T_X", withSystemError("Could not: "));
    } catch (const IOFileException& thrown) {
        EXPECT_EQ(thrown.message(),
                  QStringLiteral("Could not: ") + QString::fromLocal8Bit(strerror(ENOSPC)));
        ASSERT_EQ(log.records().size(), 1U);
        EXPECT_EQ(log.records()[0].message, thrown.message());
    }
    logger->removeLogStream(spoiler);
}

TEST(Failure, TheMessageIsMadeOnce) {
    Logger* logger = Logger::logger(QStringLiteral("dataio.failuretest"));
    int made = 0;
    const auto message = [&] { return QString::number(++made); };
    test::expectFailure<IOFileException>(
        {"dataio.failuretest", SOFTWARE, "T_ONCE", QStringLiteral("1")},
        [&] { DATAIO_FAIL(IOFileException, logger, SOFTWARE, "T_ONCE", message()); });
    EXPECT_EQ(made, 1);
}

TEST(Failure, WhatIsOnlyLoggedIsNotMadeWhenNobodyListens) {
    Logger* logger = Logger::logger(QStringLiteral("dataio.failuretest"));
    int made = 0;
    const auto message = [&] { return QString::number(++made); };
    const test::LogCapture log(LogLevel::Error);
    DATAIO_LOG_WARNING(logger, SOFTWARE, "W", message());
    DATAIO_LOG_INFO(logger, SOFTWARE, "", message());
    EXPECT_EQ(made, 0);
}

TEST(Failure, SystemTextOfAGivenNumber) {
    errno = EDOM;
    EXPECT_EQ(withSystemError(QStringLiteral("Could not: "), ENOSPC),
              QStringLiteral("Could not: ") + QString::fromLocal8Bit(strerror(ENOSPC)));
}

TEST(Failure, WarningAndInfoFollowTheThreshold) {
    Logger* logger = Logger::logger(QStringLiteral("dataio.failuretest"));
    const auto records = [&](LogLevel::Level level) {
        test::LogCapture log(level);
        DATAIO_LOG_WARNING(logger, SOFTWARE, "W", QStringLiteral("w"));
        DATAIO_LOG_INFO(logger, SOFTWARE, "", QStringLiteral("i"));
        return log.records();
    };
    EXPECT_EQ(records(LogLevel::Error).size(), 0U);
    ASSERT_EQ(records(LogLevel::Warning).size(), 1U);
    EXPECT_EQ(records(LogLevel::Warning)[0].level, LogLevel::Warning);
    ASSERT_EQ(records(LogLevel::Info).size(), 2U);
    EXPECT_EQ(records(LogLevel::Info)[1].level, LogLevel::Info);
}

}  // namespace
