#pragma once

// The example programs, run as a user runs them: each test in a folder of its own.

#include <QDir>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#include <cstdint>

namespace mz::test {

struct Result {
    int status;
    QString out;
    QString err;
};

class Examples : public testing::Test {
protected:
    Result run(const QString& program, const QStringList& arguments) const {
        QProcess process;
        process.setWorkingDirectory(_folder.path());
        process.start(QStringLiteral(DATAIO_EXAMPLES_DIR "/") + program, arguments);
        EXPECT_TRUE(process.waitForFinished(120000)) << program.toStdString();
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit) << program.toStdString();
        return {process.exitCode(), QString::fromLocal8Bit(process.readAllStandardOutput()),
                QString::fromLocal8Bit(process.readAllStandardError())};
    }

    QString succeed(const QString& program, const QStringList& arguments) const {
        const Result result = run(program, arguments);
        EXPECT_EQ(result.status, 0) << result.err.toStdString();
        EXPECT_EQ(result.err.toStdString(), "");
        return result.out;
    }

    // A refusal is one line that begins with the program's name and holds `part`.
    void refuse(const QString& program, const QStringList& arguments, const char* part) const {
        const Result result = run(program, arguments);
        EXPECT_EQ(result.status, 1);
        EXPECT_TRUE(result.err.startsWith(program + QStringLiteral(": ")))
            << result.err.toStdString();
        EXPECT_EQ(result.err.count(QLatin1Char('\n')), 1) << result.err.toStdString();
        EXPECT_TRUE(result.err.contains(QLatin1String(part))) << result.err.toStdString();
    }

    QString path(const char* name) const { return _folder.filePath(QLatin1String(name)); }

    void drawDeep(const char* name, int seed, int width = 40, int height = 30) const {
        QImage image(width, height, QImage::Format_Grayscale16);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                reinterpret_cast<std::uint16_t*>(image.scanLine(y))[x] =
                    static_cast<std::uint16_t>(seed * 1000 + y * 100 + x);
        ASSERT_TRUE(image.save(path(name), "png"));
    }

    void drawFlat(const char* name, int level, int width = 40, int height = 30) const {
        QImage image(width, height, QImage::Format_Grayscale8);
        image.fill(static_cast<uint>(level));
        ASSERT_TRUE(image.save(path(name), "png"));
    }

    // The line of inspect's overview that begins with `name`.
    QString fact(const char* movie, const char* name) const {
        const QString out =
            succeed(QStringLiteral("inspect"), {QStringLiteral("--digest"), QLatin1String(movie)});
        for (const QString& line : out.split(QLatin1Char('\n')))
            if (line.startsWith(QStringLiteral("  ") + QLatin1String(name) + QStringLiteral("  ")))
                return line.mid(static_cast<qsizetype>(qstrlen(name)) + 2).trimmed();
        return QString();
    }

    QStringList files() const { return QDir(_folder.path()).entryList(QDir::Files, QDir::Name); }

private:
    QTemporaryDir _folder;
};

}  // namespace mz::test
