// Movies that somebody else is writing: no other writer touches them, in this process or another,
// and a process that was forked off leaves them to the one that records.

#include <libDataIO/imagereader.h>
#include <libDataIO/imagewriter.h>
#include <libDataIO/rsqcompressutil.h>

#include <gtest/gtest.h>

#include <memory>

#include <tests/support/childprocess.h>
#include <tests/support/expectfailure.h>
#include <tests/support/movieparser.h>
#include <tests/support/recording.h>
#include <tests/support/scratchfile.h>

using namespace mz;
using namespace mz::test;

namespace {

class MovieInUse : public testing::Test {
protected:
    MovieInUse() {
        recorder->create(file.path(), false);
        setSize(*recorder, 2, 2);
        recorder->addRasterFiberContinuousIndexes({1, 1});
        test::add(*recorder, frame16(4, 1), timeOf(1), 0.5F);
        soFar = file.bytes();
    }

    /// Whatever was tried meanwhile, the recording goes on to its end.
    void expectGoesOn() {
        EXPECT_EQ(file.bytes(), soFar);
        test::add(*recorder, frame16(4, 2), timeOf(2), 0.5F);
        recorder->close();
        const Movie movie = soundMovie(file.path());
        EXPECT_EQ(movie.frames, (std::vector<QByteArray>{frame16(4, 1), frame16(4, 2)}));
        EXPECT_EQ(movie.types(), (std::vector<uint32_t>{2, 2, 6, 7, 8, 5}));
    }

    template <class Action>
    void expectBusy(Action action) const {
        expectFailure<IOFileException>(
            {"dataio.filewriter", FILESYSTEM, "FW_OF_BUSY",
             "File " + file.path() + " is being written by another writer."},
            action);
    }

    void expectRefused() const {
        ImageWriter other;
        expectBusy([&] { other.create(file.path(), true); });
        expectBusy([&] { other.modify(file.path()); });
        expectBusy([&] { other.modifyAttribute(file.path(), AttributeChunk()); });
        EXPECT_FALSE(other.isOpen());
    }

    const ScratchFile file;
    std::unique_ptr<ImageWriter> recorder = std::make_unique<ImageWriter>();
    QByteArray soFar;
};

TEST_F(MovieInUse, IsLeftAloneByOtherWriters) {
    expectRefused();
    expectGoesOn();
}

TEST_F(MovieInUse, IsLeftAloneByOtherProcesses) {
    inChild([&] { expectRefused(); });
    expectGoesOn();
}

TEST_F(MovieInUse, IsFreeOnceItIsFinished) {
    expectGoesOn();
    ImageWriter other;
    other.modify(file.path());
    expectBusy([&] { recorder->modify(file.path()); });
    other.close();
    recorder->modify(file.path());
    recorder->close();
    soundMovie(file.path());
}

TEST_F(MovieInUse, CanBeRecordedAnewByTheSameWriter) {
    recorder->create(file.path(), false);
    EXPECT_EQ(file.size(), 0);
}

TEST_F(MovieInUse, IsNotWhatAnotherIsCopiedOnto) {
    const QString input = file.sibling("input");
    {
        ImageWriter writer;
        writer.create(input, false);
        setSize(writer, 2, 2);
        test::add(writer, frame16(4, 7));
        writer.close();
    }
    expectBusy([&] {
        RSQCompress::compressFile(_inputFilename = input, _outputFilename = file.path(),
                                  _compression = CompressionType::GZip);
    });
    expectGoesOn();
}

TEST_F(MovieInUse, IsReadByWhoeverLikes) {
    recorder->close();
    recorder->modify(file.path());
    recorder->close();
    recorder->modify(file.path());
    // Frames are there, but no header: for readers it is an unfinished movie and not a busy one.
    const LogCapture quiet;
    try {
        const ImageReader reader(file.path());
        ADD_FAILURE() << "opened";
    } catch (const IOFileException& failure) {
        EXPECT_EQ(failure.code(), "IR_MISSINFO");
    }
}

TEST_F(MovieInUse, IsLeftByAProcessThatClosesIt) {
    inChild([&] {
        const LogCapture log;
        recorder->close();
        EXPECT_FALSE(recorder->isOpen());
        recorder->close();
        EXPECT_TRUE(log.records().empty());
    });
    expectRefused();
    expectGoesOn();
}

TEST_F(MovieInUse, IsLeftByAProcessThatEnds) {
    inChild([&] {
        const LogCapture log;
        recorder.reset();
        EXPECT_TRUE(log.records().empty());
    });
    expectRefused();
    expectGoesOn();
}

TEST_F(MovieInUse, IsLeftByAProcessThatRecordsAnother) {
    const QString own = file.sibling("own");
    inChild([&] {
        recorder->create(own, false);
        test::add(*recorder, "abc");
        recorder->close();
    });
    EXPECT_EQ(soundMovie(own).frames, (std::vector<QByteArray>{"abc"}));
    expectGoesOn();
}

}  // namespace
