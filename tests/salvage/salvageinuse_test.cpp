// Salvaging beside others: files that are being written, names that are links or change hands, and
// a program without standard error.

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include <tests/support/childprocess.h>
#include <tests/support/damagedfiles.h>
#include <tests/support/faultlayer.h>

using namespace mz;
using namespace mz::test;

namespace {

class SalvageInUse : public DamagedFiles {
protected:
    SalvageInUse() { recordGood({}); }

    template <class Action>
    static void expectRefused(const char* code, Action action) {
        try {
            action();
            ADD_FAILURE() << "nothing thrown, expected " << code;
        } catch (const IOFileException& failure) {
            EXPECT_EQ(failure.code().toStdString(), code);
        }
    }

    /// Begins a recording where the damaged file would be.
    std::unique_ptr<ImageWriter> recorder(const QString& path) const {
        auto writer = std::make_unique<ImageWriter>();
        writer->create(path, false);
        setHeader(*writer, kind);
        addFrames(*writer, kind, 0, 1);
        return writer;
    }

    void finish(ImageWriter& writer) const {
        addFrames(writer, kind, 2, 2);
        writer.close();
    }

    static bool isLink(const QString& path) { return QFileInfo(path).isSymLink(); }

    /// A damaged file none of whose frames can be read with the attributes given.
    void placeUnreadable() {
        writeFile(damaged(), withoutInfo());
        attributes.set(QStringLiteral("compression_type"), QStringLiteral("gz"));
    }
};

TEST_F(SalvageInUse, ARecordingIsLeftAlone) {
    const auto recording = recorder(damaged());
    const QByteArray soFar = readFile(damaged());
    const auto expectBusy = [&] {
        expectRefused("FW_OF_BUSY", [&] { salvageInPlace(); });
        EXPECT_EQ(readFile(damaged()), soFar);
    };
    expectBusy();
    inChild(expectBusy);
    finish(*recording);
    expectFrames(damaged(), kind, {0, 1, 2}, true);
    EXPECT_TRUE(salvageInPlace().wasSound);
}

TEST_F(SalvageInUse, ARecordingIsNotWrittenOver) {
    const auto recording = recorder(output());
    const QByteArray soFar = readFile(output());
    for (const QByteArray& content : {bytes, withoutInfo()}) {
        writeFile(damaged(), content);
        expectRefused("FW_OF_BUSY", [&] { salvageToOutput(); });
        EXPECT_EQ(readFile(output()), soFar);
    }
    finish(*recording);
    expectFrames(output(), kind, {0, 1, 2}, true);
}

TEST_F(SalvageInUse, ARecordingThatEndsMeanwhileIsSound) {
    const auto recording = recorder(damaged());
    const Meanwhile finished(Call::Lock, 1, [&] { finish(*recording); });
    EXPECT_TRUE(salvageInPlace().wasSound);
    EXPECT_TRUE(finished.hasHappened());
    expectFrames(damaged(), kind, {0, 1, 2}, true);
}

TEST_F(SalvageInUse, NobodyElseWritesWhatIsBeingSalvaged) {
    for (const Call call : {Call::Write, Call::Truncate}) {
        writeFile(damaged(), withoutInfo() + startHeader(2, 1000) + "torn");
        bool wasRefused = false;
        const Meanwhile other(call, 1, [&] {
            ImageWriter writer;
            expectRefused("FW_OF_BUSY", [&] { writer.modify(damaged()); });
            wasRefused = true;
        });
        salvageInPlace();
        EXPECT_TRUE(wasRefused) << nameOf(call);
        expectFrames(damaged(), kind, allFrames(), true);
    }
}

TEST_F(SalvageInUse, AFileThatGoesAwayMeanwhileIsNotMadeAnew) {
    writeFile(damaged(), withoutInfo());
    const Meanwhile removed(Call::Lock, 1, [&] { QFile::remove(damaged()); });
    expectRefused("IU_S_BUSY", [&] { salvageInPlace(); });
    EXPECT_FALSE(QFile::exists(damaged()));
}

TEST_F(SalvageInUse, LinksAreWrittenThrough) {
    for (const QByteArray& content : {bytes, withoutInfo()}) {
        for (const bool isDangling : {false, true}) {
            SCOPED_TRACE(isDangling);
            const QString target = path("target");
            QFile::remove(target);
            QFile::remove(output());
            if (!isDangling) writeFile(target, "older");
            ASSERT_TRUE(QFile::link(target, output()));
            writeFile(damaged(), content);
            salvageToOutput();
            EXPECT_TRUE(isLink(output()));
            expectFrames(target, kind, allFrames(), true);
        }
    }
    const QString link = path("link");
    ASSERT_TRUE(QFile::link(damaged(), link));
    writeFile(damaged(), withoutInfo());
    const LogCapture quiet;
    ImageUtilities::salvage(link, attributes, fibers);
    EXPECT_TRUE(isLink(link));
    expectFrames(damaged(), kind, allFrames(), true);
}

TEST_F(SalvageInUse, WhatTheCallHasNotMadeIsNotRemovedWhenItFails) {
    placeUnreadable();
    const QString target = path("target");
    writeFile(target, "older");
    ASSERT_TRUE(QFile::link(target, output()));
    expectRefused("IU_S_FRAMES", [&] { salvageToOutput(); });
    EXPECT_TRUE(isLink(output()));
    EXPECT_EQ(readFile(target), "");

    QFile::remove(target);
    expectRefused("IU_S_FRAMES", [&] { salvageToOutput(); });
    EXPECT_TRUE(isLink(output()));
    EXPECT_FALSE(QFile::exists(target));
}

TEST_F(SalvageInUse, ACopyThatFailsIsGoneAndWhatWasThereIsEmpty) {
    writeFile(damaged(), bytes);
    int reads = 0;  // the last two are those of the copy
    {
        FaultLayer layer(damaged());
        layer.during([&] { salvageToOutput(); });
        reads = layer.calls(Call::Read);
    }
    for (const Fault& fault :
         {Fault{Call::Read, reads - 1, {EIO, 0}}, Fault{Call::Write, 1, {0, Effect::half, ENOSPC}},
          Fault{Call::Close, 1, {EIO, 0}}}) {
        for (const bool isThere : {false, true}) {
            SCOPED_TRACE(fault.text());
            QFile::remove(output());
            if (isThere) writeFile(output(), "older");
            FaultLayer layer(fault.call == Call::Read ? damaged() : output(), {fault});
            expectRefused("IU_S_COPY", [&] { layer.during([&] { salvageToOutput(); }); });
            EXPECT_EQ(layer.hits(), 1);
            const QByteArray left = fault.call == Call::Close ? bytes : QByteArray("");
            EXPECT_EQ(readFileIfAny(output()), isThere ? left : QByteArray());
            EXPECT_EQ(QFile::exists(output()), isThere);
        }
    }
}

TEST_F(SalvageInUse, ASalvagedCopyThatCannotBeClosedIsGone) {
    writeFile(damaged(), withoutInfo());
    FaultLayer layer(output(), {{Call::Close, 2, {EIO, 0}, Fault::always}});
    expectRefused("FDCW_CF_CLOSE", [&] { layer.during([&] { salvageToOutput(); }); });
    EXPECT_FALSE(QFile::exists(output()));
}

TEST_F(SalvageInUse, NamesAreNotTakenForThoseOfResources) {
    const QString before = QDir::currentPath();
    QDir::setCurrent(QFileInfo(good()).path());
    EXPECT_EQ(::mkdir(":", 0700), 0);
    const QString input = QStringLiteral(":/damaged");
    const QString copy = QStringLiteral(":/copy");
    const auto real = [&](const QString& name) { return QDir::currentPath() + u'/' + name; };
    const LogCapture quiet;
    for (const QByteArray& content : {bytes, withoutInfo()}) {
        writeFile(real(input), content);
        EXPECT_EQ(ImageUtilities::salvageTo(input, copy, attributes, fibers).framesKept, 3U);
        expectFrames(real(copy), kind, allFrames(), true);
        EXPECT_EQ(ImageUtilities::salvage(input, attributes, fibers).framesKept, 3U);
    }
    EXPECT_EQ(ImageUtilities::salvage(input, attributes, fibers).bytesKept,
              readFile(real(input)).size());
    QFile::remove(real(copy));
    writeFile(real(input), withoutInfo());
    attributes.set(QStringLiteral("compression_type"), QStringLiteral("gz"));
    expectRefused("IU_S_FRAMES",
                  [&] { ImageUtilities::salvageTo(input, copy, attributes, fibers); });
    EXPECT_FALSE(QFile::exists(real(copy)));
    QDir::setCurrent(before);
}

/// What is logged goes to standard error, whose number must not be a movie's.
TEST_F(SalvageInUse, NoRecordIsWrittenIntoAMovieWithoutStandardError) {
    const QByteArray torn = withoutInfo() + startHeader(2, 1000) + "torn";
    for (const char* const name : {"with", "without"})
        writeFile(path(name), torn);
    {
        const LogCapture quiet;
        ImageUtilities::salvage(path("with"), attributes, fibers);
        ImageUtilities::salvageTo(path("with"), path("copied with"), attributes, fibers);
    }
    inChild([&] {
        for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            ::close(fd);
        ImageUtilities::salvage(path("without"), attributes, fibers);
        ImageUtilities::salvageTo(path("without"), path("copied without"), attributes, fibers);
        ImageWriter writer;
        writer.create(path("recorded without"), false);
        setHeader(writer, kind);
        EXPECT_THROW(writer.replaceFrame("", 0), IOFileException);
        addFrames(writer, kind, 0, kind.frames - 1);
        writer.close();
    });
    EXPECT_EQ(readFile(path("without")), readFile(path("with")));
    EXPECT_EQ(readFile(path("copied without")), readFile(path("copied with")));
    EXPECT_EQ(readFile(path("recorded without")), bytes);
}

}  // namespace
