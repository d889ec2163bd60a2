// Recordings that lost their end, files that are no recordings, and what salvaging refuses.

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <tests/support/damagedfiles.h>
#include <tests/support/limits.h>
#include <tests/support/moviebytes.h>
#include <tests/support/scratchfile.h>
#include <tests/support/watchedservice.h>

using namespace mz;
using namespace mz::test;

namespace {

class CutRecording : public DamagedFiles, public testing::WithParamInterface<RecordingKind> {
protected:
    void expectSalvaged(const QString& salvaged, const SalvageReport& report, qint64 cut) {
        std::vector<int> whole;
        bool hasTimes = false;
        bool hasPowers = false;
        qint64 end = 0;
        for (const MovieChunk& chunk : movie.chunks) {
            if (chunk.end() > cut) break;
            end = chunk.end();
            if (chunk.type == 2) whole.push_back(static_cast<int>(whole.size()));
            hasTimes = hasTimes || chunk.type == 7;
            hasPowers = hasPowers || chunk.type == 8;
        }
        const Movie found = soundMovie(salvaged);
        ASSERT_EQ(found.frames.size(), whole.size());
        for (size_t i = 0; i < whole.size(); ++i)
            EXPECT_EQ(found.frames[i], movie.frames[i]);
        EXPECT_EQ(found.fiberWords, movie.fiberWords);
        EXPECT_EQ(found.times, hasTimes ? movie.times : std::vector<MovieTime>());
        EXPECT_EQ(found.powers, hasPowers ? movie.powers : std::vector<int>());
        if (!whole.empty()) {
            EXPECT_EQ(found.text, movie.text);
        }
        ImageReader reader(salvaged);
        EXPECT_EQ(reader.nbFrames(), whole.size());
        if (hasPowers) expectFrames(salvaged, kind, whole, true);

        EXPECT_FALSE(report.wasSound);
        EXPECT_EQ(report.framesKept, whole.size());
        EXPECT_EQ(report.bytesKept, end);
        EXPECT_EQ(report.bytesCut, cut - end);
        ASSERT_EQ(report.gaps.size(), cut > end ? 1U : 0U);
        if (cut > end) {
            EXPECT_EQ(report.gaps[0].offset, end);
            EXPECT_EQ(report.gaps[0].length, cut - end);
            EXPECT_EQ(report.gaps[0].why.toStdString(), "torn chunk at the end of the file");
        }
    }
};

TEST_P(CutRecording, IsSalvagedInPlaceAtEveryCut) {
    recordGood(GetParam());
    for (qsizetype cut = 0; cut < bytes.size(); ++cut) {
        SCOPED_TRACE(cut);
        writeAnew(damaged(), bytes.left(cut));
        if (cut > 0 && cut < 6) {
            EXPECT_THROW(salvageInPlace(), IOFileException);
            EXPECT_EQ(readFile(damaged()), bytes.left(cut));
            continue;
        }
        const SalvageReport report = salvageInPlace();
        expectSalvaged(damaged(), report, cut);
        if (HasFailure()) return;
    }
}

TEST_P(CutRecording, IsSalvagedIntoACopyAtEveryCut) {
    recordGood(GetParam());
    for (qsizetype cut = 6; cut < bytes.size(); ++cut) {
        SCOPED_TRACE(cut);
        writeAnew(damaged(), bytes.left(cut));
        QFile::remove(output());
        const SalvageReport report = salvageToOutput();
        EXPECT_EQ(readFile(damaged()), bytes.left(cut));
        expectSalvaged(output(), report, cut);
        if (HasFailure()) return;
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, CutRecording,
                         testing::Values(RecordingKind{none, false}, RecordingKind{zlib, false},
                                         RecordingKind{gzip, false}, RecordingKind{bzip2, false},
                                         RecordingKind{none, true}, RecordingKind{zlib, true}));

class Salvage : public DamagedFiles {};

TEST_F(Salvage, LeavesASoundFileAlone) {
    recordGood({});
    writeFile(damaged(), bytes);
    struct stat before {};
    ASSERT_EQ(::stat(damaged().toLocal8Bit().constData(), &before), 0);
    ASSERT_EQ(::chmod(damaged().toLocal8Bit().constData(), S_IRUSR), 0);
    const SalvageReport report = ImageUtilities::salvage(damaged(), AttributeChunk());
    EXPECT_TRUE(report.wasSound);
    EXPECT_EQ(report.framesKept, 3U);
    EXPECT_EQ(report.bytesKept, bytes.size());
    EXPECT_EQ(report.bytesCut, 0);
    EXPECT_TRUE(report.gaps.empty());
    EXPECT_EQ(readFile(damaged()), bytes);
    struct stat after {};
    ASSERT_EQ(::stat(damaged().toLocal8Bit().constData(), &after), 0);
    EXPECT_EQ(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
    EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
}

TEST_F(Salvage, CopiesASoundFileAsItIs) {
    recordGood({});
    writeFile(damaged(), bytes);
    writeFile(output(), "something older");
    EXPECT_TRUE(ImageUtilities::salvageTo(damaged(), output(), AttributeChunk()).wasSound);
    EXPECT_EQ(readFile(output()), bytes);
}

/// More bytes than are copied at once, of which the last are fewer, as many, or a few.
TEST_F(Salvage, CopiesLargeSoundFilesToTheirEnd) {
    constexpr qsizetype mebibyte = 1 << 20;
    const qsizetype others = MovieBytes().size(1024, 1024).frame({}).bytes().size();
    for (const qsizetype length : {3 * mebibyte - 100, 3 * mebibyte, 3 * mebibyte + 100}) {
        QByteArray frame(length - others, '\0');
        for (qsizetype i = 0; i < frame.size(); ++i)
            frame[i] = static_cast<char>(i % 251);
        const QByteArray sound = MovieBytes().size(1024, 1024).frame(frame).bytes();
        ASSERT_EQ(sound.size(), length);
        writeFile(damaged(), sound);
        EXPECT_TRUE(salvageToOutput().wasSound);
        EXPECT_TRUE(readFile(output()) == sound) << length;
    }
}

TEST_F(Salvage, TwiceChangesNothing) {
    recordGood({});
    writeFile(damaged(), withoutInfo());
    salvageInPlace();
    const QByteArray salvaged = readFile(damaged());
    EXPECT_TRUE(salvageInPlace().wasSound);
    EXPECT_EQ(readFile(damaged()), salvaged);
}

TEST_F(Salvage, GivesAFileThatCanBeModified) {
    recordGood({});
    writeFile(damaged(), withoutInfo() + startHeader(5, 1000));
    salvageInPlace();
    ImageWriter writer;
    writer.modify(damaged());
    addFrames(writer, kind, 3, 3);
    writer.close();
    soundMovie(damaged());
    kind.frames = 4;
    expectFrames(damaged(), kind, allFrames(), true);
}

TEST_F(Salvage, OfARecordingWithoutAFrameGivesAMovieWithoutOne) {
    recordGood({});
    for (const QByteArray& torn : {QByteArray(), startHeader(2, 100), QByteArray("\n<CSTA")}) {
        writeFile(damaged(), torn);
        const SalvageReport report = salvageInPlace();
        EXPECT_EQ(report.framesKept, 0U);
        EXPECT_EQ(report.bytesCut, torn.size());
        EXPECT_EQ(soundMovie(damaged()).types(), (std::vector<uint32_t>{6, 5}));
        EXPECT_EQ(ImageReader(damaged()).nbFrames(), 0U);
    }
}

TEST_F(Salvage, NeedsNoReconstructionService) {
    recordGood({zlib, true});
    const WatchedService service;
    for (const QByteArray& content : {bytes, withoutInfo()}) {
        writeAnew(damaged(), content);
        EXPECT_EQ(salvageToOutput().framesKept, 3U);
        EXPECT_EQ(service.uses(), 0);
        EXPECT_EQ(salvageInPlace().framesKept, 3U);
        EXPECT_EQ(service.uses(), 0);
    }
    const ImageReader reader(damaged());
    EXPECT_EQ(service.uses(), 2) << "any other reader has a clone, which it prepares";
}

TEST_F(Salvage, RefusesWhatIsNoMovie) {
    recordGood({});
    for (const QByteArray& other :
         {QByteArray("\xff\xd8\xff\xe0") + QByteArray("JFIF and so on, for more than a header"),
          QByteArray("\n"), QByteArray("\n<CST"), QByteArray(100000, '\0'),
          QByteArray("\n<CEND") + QByteArray(100, '\n')}) {
        writeFile(damaged(), other);
        const Failure failure = salvageFailure(
            "IU_S_FORMAT", "File " + damaged() + ": no chunk found, bad file format.");
        const auto onlyTheLast = [&](auto action) {
            // What does not open has one record more, by the reader.
            LogCapture log(LogLevel::Error);
            try {
                action();
                ADD_FAILURE() << "nothing thrown";
            } catch (const IOFileException& thrown) {
                EXPECT_EQ(thrown.code().toStdString(), failure.code);
                EXPECT_EQ(thrown.message(), failure.message);
                EXPECT_EQ(thrown.origin(), failure.origin);
            }
            ASSERT_EQ(log.records().size(), 2U);
            EXPECT_EQ(log.records()[1].code.toStdString(), failure.code);
            EXPECT_EQ(log.records()[1].loggerName.toStdString(), failure.logger);
        };
        onlyTheLast([&] { ImageUtilities::salvage(damaged(), attributes); });
        onlyTheLast([&] { ImageUtilities::salvageTo(damaged(), output(), attributes); });
        EXPECT_EQ(readFile(damaged()), other);
        EXPECT_FALSE(QFile::exists(output()));
    }
}

TEST_F(Salvage, RefusesWhatIsNoFile) {
    const auto salvage = [](const QString& name) {
        ImageUtilities::salvage(name, AttributeChunk());
    };
    expectFailure<IOFileException>(
        {"dataio.filereader", FILESYSTEM, "FR_OF_STAT",
         systemError(("File " + damaged() + " : ").toUtf8().constData(), ENOENT)},
        [&] { salvage(damaged()); });
    EXPECT_FALSE(QFile::exists(damaged()));
    ASSERT_TRUE(QDir().mkdir(damaged()));
    expectFailure<IOFileException>({"dataio.filereader", FILESYSTEM, "FR_OF_REGFILE",
                                    "File " + damaged() + " is not a regular file."},
                                   [&] { salvage(damaged()); });
}

TEST_F(Salvage, RefusesToWriteOverTheDamagedFile) {
    recordGood({});
    const QByteArray torn = withoutInfo();
    writeFile(damaged(), torn);
    ASSERT_TRUE(QFile::link(damaged(), path("symbolic")));
    ASSERT_EQ(::link(damaged().toLocal8Bit().constData(), path("hard").toLocal8Bit().constData()),
              0);
    const QString indirect = QFileInfo(damaged()).path() + "/../" +
                             QFileInfo(QFileInfo(damaged()).path()).fileName() + "/damaged";
    for (const QString& name : {damaged(), path("symbolic"), path("hard"), indirect}) {
        expectFailure<IOFileException>(
            salvageFailure("IU_S_SAME", QStringLiteral("Damaged and salvaged file are the same.")),
            [&] { ImageUtilities::salvageTo(damaged(), name, attributes); });
        EXPECT_EQ(readFile(damaged()), torn);
    }
}

TEST_F(Salvage, RefusesAnOutputThatIsNoFile) {
    recordGood({});
    ASSERT_EQ(::mkfifo(path("pipe").toLocal8Bit().constData(), 0600), 0);
    ASSERT_TRUE(QDir().mkdir(path("folder")));
    for (const QByteArray& content : {bytes, withoutInfo()}) {
        writeFile(damaged(), content);
        for (const char* name : {"pipe", "folder"}) {
            expectFailure<IOFileException>(
                salvageFailure("IU_S_OUTPUT", "File " + path(name) + " is not a regular file.",
                               FILESYSTEM),
                [&] { ImageUtilities::salvageTo(damaged(), path(name), attributes); });
            EXPECT_TRUE(QFile::exists(path(name)));
        }
    }
}

TEST_F(Salvage, ReportsAnOutputThatCannotBeWritten) {
    recordGood({});
    const QString nowhere = path("no/folder");
    try {
        ImageUtilities::salvageTo(good(), nowhere, attributes);
        ADD_FAILURE() << "nothing thrown";
    } catch (const IOFileException& failure) {
        EXPECT_EQ(failure.code().toStdString(), "IU_S_COPY");
        EXPECT_EQ(failure.origin(), FILESYSTEM);
        EXPECT_TRUE(failure.message().startsWith(QStringLiteral("Could not copy file: ")));
    }
    writeFile(damaged(), withoutInfo());
    EXPECT_THROW(ImageUtilities::salvageTo(damaged(), nowhere, attributes), IOFileException);
    EXPECT_EQ(readFile(damaged()), withoutInfo());
}

TEST_F(Salvage, OnAFullDiskLeavesTheFileAsItWas) {
    recordGood({});
    const QByteArray torn = withoutInfo() + startHeader(5, 1000);
    writeFile(damaged(), torn);
    {
        const FileSizeLimit limit(static_cast<rlim_t>(torn.size() + 40));
        EXPECT_THROW(salvageInPlace(), IOFileException);
        EXPECT_EQ(readFile(damaged()), torn);
        const FileSizeLimit smaller(500);
        EXPECT_THROW(salvageToOutput(), IOFileException);
        EXPECT_FALSE(QFile::exists(output()));
    }
    EXPECT_EQ(salvageInPlace().framesKept, 3U);
}

TEST_F(Salvage, ServesFilesUpToFourGibibytes) {
    recordGood({});
    attributes.set(QStringLiteral("compression_type"), QStringLiteral("none"));
    const ScratchFile file;
    const qint64 second = putSparseChunk(file, 0, 2, 0xe0000000U);
    file.put(second, chunk(2, frameOf(kind, 1)) + startHeader(2, 256) + "torn");
    const LogCapture quiet;
    const SalvageReport report = ImageUtilities::salvage(file.path(), attributes);
    EXPECT_EQ(report.framesKept, 2U);
    EXPECT_EQ(report.bytesCut, 20);
    const Movie salvaged = soundMovie(file.path());
    EXPECT_EQ(salvaged.frameOffsets, (std::vector<uint64_t>{0, static_cast<uint64_t>(second)}));
    EXPECT_EQ(salvaged.frames[1], frameOf(kind, 1));
}

TEST_F(Salvage, RefusesFilesThatNoIndexCanAddress) {
    recordGood({});
    const ScratchFile file;
    const qint64 second = putSparseChunk(file, 0, 2, 0xe0000000U);
    const qint64 end = putSparseChunk(file, second, 2, 0xe0000000U);
    {
        const LogCapture quiet;
        try {
            ImageUtilities::salvage(file.path(), attributes);
            ADD_FAILURE() << "nothing thrown";
        } catch (const IOFileException& failure) {
            EXPECT_EQ(failure.code().toStdString(), "IU_S_FULL");
            EXPECT_EQ(failure.origin(), SOFTWARE);
            EXPECT_EQ(failure.message().toStdString(),
                      "File would exceed the size that its index can address.");
        }
    }
    EXPECT_EQ(file.size(), end);
}

TEST_F(Salvage, TakesAnIndexThatLeadsIntoTheLastBytesForDamage) {
    // The header that is looked for there is cut short by the end of the file.
    recordGood({});
    for (const int left : {1, 8, 15}) {
        SCOPED_TRACE(left);
        MovieBytes lost;
        lost.frame(frameOf(kind, 0)).frame(frameOf(kind, 1));
        const auto size = lost.record(7, 0, 8).bytes().size();
        MovieBytes leading;
        leading.frame(frameOf(kind, 0)).frame(frameOf(kind, 1));
        writeAnew(damaged(), leading.record(7, static_cast<uint32_t>(size - left), 8).bytes());
        const SalvageReport report = salvageToOutput();
        EXPECT_FALSE(report.wasSound);
        EXPECT_EQ(report.framesKept, 2U);
        EXPECT_EQ(salvageInPlace().framesKept, 2U);
        expectFrames(damaged(), kind, {0, 1}, false);
    }
}

}  // namespace
