// Opening, reopening and closing movies that are built by hand, and what is said of files that are
// none.

#include <tests/support/failures.h>
#include <tests/support/moviereader.h>

using namespace mz;
using namespace mz::test;

namespace {

Failure missingInfo(const QString& fileName) {
    return readerFailure("IR_MISSINFO", "File " + fileName + ": missing info, bad file format.");
}

}  // namespace

// --- opening ---------------------------------------------------------------------------------

TEST_F(MovieReader, IsEmptyBeforeItIsOpened) {
    const void* data = nullptr;
    EXPECT_TRUE(reader.getFilename().isNull());
    EXPECT_EQ(reader.nbFrames(), 0U);
    EXPECT_EQ(reader.currFrameIdx(), 0U);
    EXPECT_TRUE(reader.attributeChunk().attributes().empty());
    EXPECT_FALSE(reader.getFrame(data, 0));
    EXPECT_FALSE(reader.getRawFrame(data, 0));
    EXPECT_FALSE(reader.nextFrame(data));
    EXPECT_EQ(reader.nbFibers(ImageReader::NoFiberFiltering), 0);
    expectFailure<IOFileException>(missingInfo(QString()), [&] { reader.reloadHeader(); });
}

TEST_F(MovieReader, OpensAMovie) {
    open(twoFrames());
    EXPECT_EQ(reader.getFilename(), file.path());
    EXPECT_EQ(reader.nbFrames(), 2U);
    EXPECT_EQ(reader.currFrameIdx(), 0U);
    EXPECT_EQ(rawFrame(1), QByteArray("cd"));
}

TEST_F(MovieReader, TheConstructorOpens) {
    put(twoFrames());
    EXPECT_EQ(ImageReader(file.path()).nbFrames(), 2U);
    const QString missing = file.sibling("missing");
    const LogCapture quiet;
    EXPECT_THROW(ImageReader{missing}, IOFileException);
}

TEST_F(MovieReader, AMovieWithoutFramesOpens) {
    open(MovieBytes().size(2, 1));
    EXPECT_EQ(reader.nbFrames(), 0U);
}

TEST_F(MovieReader, TheLastInfoChunkCounts) {
    const MovieBytes earlier = MovieBytes().attribute("comment", "earlier");
    open(MovieBytes().raw(earlier.bytes()).frame("ab").attribute("comment", "last"));
    EXPECT_EQ(reader.getComment(), QStringLiteral("last"));
    EXPECT_EQ(reader.nbFrames(), 1U);
}

TEST_F(MovieReader, OpeningForgetsTheMovieBefore) {
    open(twoFrames().times({1, 2, 3, 4}).laserPowers(QByteArray("\x01\x02")));
    const void* data = nullptr;
    ASSERT_TRUE(reader.getFrame(data, 1));
    open(MovieBytes().attribute("comment", "new"));
    EXPECT_EQ(reader.nbFrames(), 0U);
    EXPECT_EQ(reader.currFrameIdx(), 0U);
    EXPECT_FALSE(reader.getLaserPower(0));
    EXPECT_FALSE(reader.getFrameTiming(0));
    int width = 0;
    EXPECT_FALSE(reader.width(width));
    EXPECT_EQ(reader.getComment(), QStringLiteral("new"));
}

TEST_F(MovieReader, OpeningCanBeRepeatedWithItsOwnName) {
    open(twoFrames());
    reader.open(reader.getFilename());
    EXPECT_EQ(reader.nbFrames(), 2U);
    EXPECT_EQ(reader.getFilename(), file.path());
}

// --- what cannot be opened -------------------------------------------------------------------

TEST_F(MovieReader, FailuresToOpenTheFilePassUnchanged) {
    const QString missing = file.sibling("missing");
    expectFailure<IOFileException>({"dataio.filereader", FILESYSTEM, "FR_OF_STAT",
                                    "File " + missing + " : No such file or directory"},
                                   [&] { reader.open(missing); });
    EXPECT_EQ(reader.getFilename(), missing);
    const QString folder = file.sibling("");
    expectFailure<IOFileException>({"dataio.filereader", FILESYSTEM, "FR_OF_REGFILE",
                                    "File " + folder + " is not a regular file."},
                                   [&] { reader.open(folder); });
}

TEST_F(MovieReader, AFileThatDoesNotEndInAnInfoChunkIsNone) {
    const QByteArray frame = chunk(MovieBytes::Frame, "ab");
    for (const QByteArray& bytes : {QByteArray(), frame, twoFrames().bytes() + frame}) {
        writeFile(file.path(), bytes);
        expectFailure<IOFileException>(missingInfo(file.path()), [&] { reader.open(file.path()); });
    }
}

TEST_F(MovieReader, ADamagedEndPassesUnchanged) {
    writeFile(file.path(), twoFrames().bytes().chopped(1));
    expectFailure<IOFileException>(damagedHeader(), [&] { reader.open(file.path()); });
    writeFile(file.path(), chunk(MovieBytes::Info, le32(1)));
    expectFailure<IOFileException>(indexTooSmall(), [&] { reader.open(file.path()); });
}

TEST_F(MovieReader, AFailedOpenLeavesTheNameAndAnEmptyHeader) {
    open(twoFrames());
    writeFile(file.path(), chunk(MovieBytes::Frame, "ab"));
    expectFailure<IOFileException>(missingInfo(file.path()), [&] { reader.open(file.path()); });
    EXPECT_EQ(reader.getFilename(), file.path());
    EXPECT_EQ(reader.nbFrames(), 0U);
    EXPECT_TRUE(reader.attributeChunk().attributes().empty());

    put(twoFrames());
    reader.reloadHeader();  // the file is open
    EXPECT_FALSE(reader.attributeChunk().attributes().empty());
    reader.open(file.path());
    EXPECT_EQ(reader.nbFrames(), 2U);
}

TEST_F(MovieReader, AFailureBehindTheHeaderLeavesTheSame) {
    put(MovieBytes()
            .attribute("data_type", "vec")
            .frame("ab")
            .fibers({0, 0})
            .times({1, 2})
            .laserPowers(QByteArray("\x01")));
    expectFailure<IOFileException>(
        readerFailure("IR_GRFI_NOSIZE", QStringLiteral("Size not available.")),
        [&] { reader.open(file.path()); });
    EXPECT_EQ(reader.getFilename(), file.path());
    EXPECT_EQ(reader.nbFrames(), 0U);
    EXPECT_TRUE(reader.attributeChunk().attributes().empty());
    EXPECT_FALSE(reader.getLaserPower(0));
    EXPECT_FALSE(reader.getFrameTiming(0));
}

TEST_F(MovieReader, AFileThatCannotBeOpenedEndsTheMovieBefore) {
    open(twoFrames().times({1, 2, 3, 4}).laserPowers(QByteArray("\x01\x02")));
    const QString missing = file.sibling("missing");
    {
        const LogCapture quiet;
        EXPECT_THROW(reader.open(missing), IOFileException);
    }
    EXPECT_EQ(reader.nbFrames(), 0U);
    EXPECT_TRUE(reader.attributeChunk().attributes().empty());
    EXPECT_FALSE(reader.getLaserPower(0));
    EXPECT_FALSE(reader.getFrameTiming(0));
    EXPECT_EQ(rawFrame(0), boost::none);
    expectFailure<IOFileException>(missingInfo(missing), [&] { reader.reloadHeader(); });
}

// --- reloading and closing -------------------------------------------------------------------

TEST_F(MovieReader, ReloadingRefreshesIndexAndAttributesOnly) {
    open(twoFrames()
             .attribute("comment", "old")
             .times({1, 2, 3, 4})
             .laserPowers(QByteArray("\x00\xfe", 2)));
    reader.setAttribute(QStringLiteral("mine"), 1);
    put(MovieBytes()
            .frame("xyz")
            .attribute("comment", "new")
            .attribute("compression_type", "gz")
            .attribute("data_type", "vec"));
    reader.reloadHeader();
    EXPECT_EQ(reader.getComment(), QStringLiteral("new"));
    int value = 0;
    EXPECT_FALSE(reader.attribute(QStringLiteral("plug_mine"), value));
    EXPECT_FALSE(reader.width(value));
    EXPECT_EQ(reader.dataType(), QStringLiteral("vec"));

    EXPECT_EQ(reader.nbFrames(), 2U);
    EXPECT_EQ(frame(0, 3), QByteArray("xyz")) << "neither compressed nor vectorized";
    EXPECT_EQ(reader.getLaserPower(1), 1.0F);
    ASSERT_TRUE(reader.getFrameTiming(1));
    EXPECT_EQ(reader.getFrameTiming(1)->tv_sec, 3);
}

TEST_F(MovieReader, ReloadingAFileWithoutInfoKeepsTheHeader) {
    open(twoFrames());
    writeFile(file.path(), chunk(MovieBytes::Frame, "ab"));
    expectFailure<IOFileException>(missingInfo(file.path()), [&] { reader.reloadHeader(); });
    int width = 0;
    EXPECT_TRUE(reader.width(width));
}

TEST_F(MovieReader, ReloadingADamagedInfoChunkLeavesAnEmptyHeader) {
    open(twoFrames());
    writeFile(file.path(), chunk(MovieBytes::Frame, "ab") + chunk(MovieBytes::Info, le32(1)));
    expectFailure<IOFileException>(indexTooSmall(), [&] { reader.reloadHeader(); });
    EXPECT_TRUE(reader.attributeChunk().attributes().empty());
    EXPECT_EQ(reader.nbFrames(), 2U);
    EXPECT_EQ(rawFrame(0), boost::none);
}

TEST_F(MovieReader, AfterReloadingAShorterIndexItsBoundsCount) {
    open(twoFrames().frame("ef").frame("gh"));
    put(twoFrames());
    reader.reloadHeader();
    EXPECT_EQ(reader.nbFrames(), 4U);
    EXPECT_EQ(rawFrame(1), QByteArray("cd"));
    EXPECT_EQ(rawFrame(2), boost::none) << "one behind the last is nothing";
    EXPECT_EQ(reader.currFrameIdx(), 1U);
    expectFailure<IOFileException>(
        readerFailure("IR_RC_BOUND", QStringLiteral("Chunk number out of bounds.")),
        [&] { rawFrame(3); });
    EXPECT_EQ(reader.currFrameIdx(), 1U);
}

TEST_F(MovieReader, ClosingKeepsWhatWasLoaded) {
    open(twoFrames()
             .attribute("comment", "here")
             .fibers({0, 0})
             .times({1, 2, 3, 4})
             .laserPowers(QByteArray("\xfe\xfe")));
    reader.close();
    EXPECT_TRUE(reader.getFilename().isNull());
    EXPECT_EQ(reader.nbFrames(), 2U);
    EXPECT_EQ(reader.getComment(), QStringLiteral("here"));
    EXPECT_EQ(reader.getLaserPower(0), 1.0F);
    EXPECT_TRUE(reader.getFrameTiming(0));
    EXPECT_NO_THROW(reader.close());
}

TEST_F(MovieReader, AClosedReaderFindsNoFramesAndNoFibers) {
    open(twoFrames().fibers({0, 0}));
    reader.close();
    int untouched = 0;
    const void* data = &untouched;
    EXPECT_FALSE(reader.getFrame(data, 0));
    EXPECT_FALSE(reader.getRawFrame(data, 1));
    EXPECT_FALSE(reader.nextFrame(data));
    EXPECT_EQ(data, &untouched);
    EXPECT_EQ(reader.nbFibers(ImageReader::NoFiberFiltering), 0);
    expectFailure<IOFileException>(missingInfo(QString()), [&] { reader.reloadHeader(); });
}
