#pragma once

// One statement for one row of a failure table: class, code, message, origin and log record at
// once.

#include <libCommon/exceptions.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <typeinfo>

#include <tests/support/logcapture.h>

namespace mz::test {

struct Failure {
    const char* logger;
    LogOrigin origin;
    const char* code;
    QString message;
};

/// A fixed text followed by the system's for an error number.
inline QString systemError(const char* prefix, int error) {
    return QString::fromUtf8(prefix) + QString::fromLocal8Bit(std::strerror(error));
}

/// Runs `action` and expects that it throws exactly `Exception` as described, after exactly one
/// record at Error level which says the same.
template <class Exception, class Action>
void expectFailure(const Failure& expected, Action&& action) {
    LogCapture log(LogLevel::Error);
    try {
        action();
        ADD_FAILURE() << "nothing thrown, expected " << expected.code;
        return;
    } catch (const BaseException& thrown) {
        EXPECT_EQ(typeid(thrown), typeid(Exception));
        EXPECT_EQ(thrown.code().toStdString(), expected.code);
        EXPECT_EQ(thrown.message().toStdString(), expected.message.toStdString());
        EXPECT_EQ(thrown.origin(), expected.origin);
        EXPECT_TRUE(thrown.techDetailsMsg().isEmpty());
    }
    ASSERT_EQ(log.records().size(), 1U);
    const LogRecord& record = log.records().front();
    EXPECT_EQ(record.level, LogLevel::Error);
    EXPECT_EQ(record.loggerName.toStdString(), expected.logger);
    EXPECT_EQ(record.code.toStdString(), expected.code);
    EXPECT_EQ(record.message.toStdString(), expected.message.toStdString());
    EXPECT_EQ(record.origin, expected.origin);
}

}  // namespace mz::test
