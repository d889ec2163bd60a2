// The system fails at every step of a salvage in turn: no whole chunk may suffer from it.

#include <gtest/gtest.h>

#include <tests/support/damagedfiles.h>
#include <tests/support/faultlayer.h>

using namespace mz;
using namespace mz::test;

namespace {

class FailingSystem : public DamagedFiles, public testing::WithParamInterface<Call> {
protected:
    /// A damaged frame, trailing chunks that must be made anew, and a torn end.
    void SetUp() override {
        kind.frames = 4;
        recordGood(kind);
        const QByteArray index = bytes.mid(static_cast<qsizetype>(infoChunk().offset) + 16,
                                           4 + 12 * static_cast<qsizetype>(movie.index.size()));
        content = withoutInfo() + startHeader(5, 5000) + index +
                  "comment=torn\x07"
                  "of a comment\nwid";
        content[static_cast<qsizetype>(frameChunk(1).offset)] = 'x';
        sound = withoutInfo().size();
    }

    /// What the report does not speak of is there, with its time and power.
    void expectAllButWhatCannotBeRead(const SalvageReport& report) {
        std::vector<int> kept = {0, 2, 3};
        bool hasLists = true;
        for (const SalvageGap& gap : report.gaps) {
            if (gap.why != systemError("bytes that cannot be read: ", EIO)) continue;
            const auto isOf = [&](const MovieChunk& chunk) {
                return static_cast<qint64>(chunk.offset) == gap.offset;
            };
            const auto chunk = std::find_if(movie.chunks.begin(), movie.chunks.end(), isOf);
            ASSERT_NE(chunk, movie.chunks.end());
            const auto number = static_cast<int>(chunk - movie.chunks.begin());
            hasLists = hasLists && (chunk->type == 2 || chunk->type == 6);
            kept.erase(std::remove(kept.begin(), kept.end(), number), kept.end());
        }
        EXPECT_GE(kept.size(), 2U);
        if (hasLists) {
            expectFrames(damaged(), kind, kept, true);
        } else {
            ImageReader reader(damaged());
            EXPECT_EQ(reader.nbFrames(), 3U);
            EXPECT_NE(reader.getFrameTiming(0).has_value(), reader.getLaserPower(0).has_value());
        }
    }

    QByteArray content;
    qsizetype sound = 0;  ///< length without the torn chunk
};

TEST_P(FailingSystem, LeavesEveryWholeChunkWhereItWas) {
    SCOPED_TRACE(nameOf(GetParam()));
    for (int skip = 0;; ++skip) {
        ASSERT_LT(skip, 5000);
        SCOPED_TRACE(skip);
        writeAnew(damaged(), content);
        bool hasFailed = false;
        SalvageReport report;
        {
            const FailingCalls faults(GetParam(), EIO, skip);
            try {
                report = salvageInPlace();
            } catch (const std::exception&) {
                hasFailed = true;
            }
            if (faults.hits() == 0) {
                EXPECT_GT(skip, 0) << "the call is never made";
                break;
            }
        }
        if (hasFailed) {
            ASSERT_EQ(readFile(damaged()), content);
        } else {
            ASSERT_TRUE(readFile(damaged()).startsWith(content.left(sound)));
            EXPECT_EQ(ImageReader(damaged()).getComment().toStdString(), "torn\nof a comment");
            expectAllButWhatCannotBeRead(report);
        }
        if (HasFatalFailure()) return;
        if (!hasFailed) continue;
        // Once the fault is gone, the same call succeeds.
        salvageInPlace();
        expectFrames(damaged(), kind, {0, 2, 3}, true);
        if (HasFatalFailure()) return;
    }
}

TEST_P(FailingSystem, NeverTouchesTheDamagedFileOfACopy) {
    SCOPED_TRACE(nameOf(GetParam()));
    writeAnew(damaged(), content);
    for (int skip = 0;; ++skip) {
        ASSERT_LT(skip, 5000);
        SCOPED_TRACE(skip);
        QFile::remove(output());
        bool hasFailed = false;
        SalvageReport report;
        {
            const FailingCalls faults(GetParam(), EIO, skip);
            try {
                report = salvageToOutput();
            } catch (const std::exception&) {
                hasFailed = true;
            }
            if (faults.hits() == 0) {
                EXPECT_GT(skip, 0) << "the call is never made";
                break;
            }
        }
        ASSERT_EQ(readFile(damaged()), content);
        EXPECT_EQ(QFile::exists(output()), !hasFailed);
        if (!hasFailed) {
            // What could not be read may be missing, but what is there is right.
            const Movie movieMade = soundMovie(output());
            EXPECT_EQ(movieMade.frames.size(), report.framesKept);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Calls, FailingSystem,
                         testing::Values(Call::Read, Call::Write, Call::Seek, Call::Truncate,
                                         Call::Stat));

class FailingDisk : public FailingSystem {};

TEST_P(FailingDisk, CostsTheFrameThatItDoesNotGiveAndSaysWhy) {
    // The first byte of the payload, one in its middle, and the last.
    const MovieChunk& frame = frameChunk(2);
    const auto begin = static_cast<qint64>(frame.offset) + 16;
    for (const qint64 bad : {begin, begin + 100, begin + frame.size - 1}) {
        for (const bool inPlace : {false, true}) {
            writeAnew(damaged(), content);
            FaultLayer layer(damaged());
            layer.spoil(bad, bad + 1);
            SalvageReport report;
            layer.during([&] { report = inPlace ? salvageInPlace() : salvageToOutput(); });
            expectFrames(inPlace ? damaged() : output(), kind, {0, 3}, true);
            expectEachByteOnce(report, content.size());
            EXPECT_EQ(report.framesKept, 2U);
            const auto isOfFrame = [&](const SalvageGap& gap) {
                return gap.offset == static_cast<qint64>(frame.offset);
            };
            const auto gap = std::find_if(report.gaps.begin(), report.gaps.end(), isOfFrame);
            ASSERT_NE(gap, report.gaps.end());
            EXPECT_EQ(gap->length, frame.size + 32);
            EXPECT_EQ(gap->why, systemError("bytes that cannot be read: ", EIO));
        }
    }
}

TEST_P(FailingDisk, CostsNothingWhenItGivesTheRestLater) {
    writeAnew(damaged(), content);
    salvageInPlace();
    const QByteArray undisturbed = readFile(damaged());
    int disturbedRuns = 0;
    for (int position = 1;; ++position) {
        SCOPED_TRACE(position);
        writeAnew(damaged(), content);
        FaultLayer layer(damaged(), {{Call::Read, position, {0, Effect::half}}});
        layer.during([&] { salvageInPlace(); });
        ASSERT_EQ(readFile(damaged()), undisturbed);
        if (layer.hits() == 0) break;
        ++disturbedRuns;
    }
    EXPECT_GT(disturbedRuns, 10);
}

TEST_P(FailingDisk, LeavesOutAllFramesThatItDoesNotGive) {
    // A sector that takes the end of one frame and the beginning of another, both whole before.
    content[static_cast<qsizetype>(frameChunk(1).offset)] = '\n';
    writeAnew(damaged(), content);
    FaultLayer layer(damaged());
    layer.spoil(static_cast<qint64>(frameChunk(0).offset) + 16, 512);
    const QString path = damaged();
    SalvageReport report;
    layer.during([&] {
        report = salvageToOutput();
        // In place nothing is decided while headers are missing.
        EXPECT_THROW(salvageInPlace(), IOFileException);
    });
    EXPECT_EQ(readFile(path), content);
    ImageReader reader(output());
    ASSERT_EQ(reader.nbFrames(), 2U);
    for (unsigned int i = 0; i < 2; ++i) {
        const void* data = nullptr;
        const auto size = reader.getRawFrame(data, i);
        EXPECT_EQ(QByteArray(static_cast<const char*>(data), *size),
                  frameOf(kind, static_cast<int>(i) + 2));
    }
    ASSERT_FALSE(report.gaps.empty());
    EXPECT_EQ(report.gaps[0].why, systemError("bytes that cannot be read: ", EIO));
}

INSTANTIATE_TEST_SUITE_P(Disk, FailingDisk, testing::Values(Call::Read));

TEST_P(FailingDisk, IsNeverLookedAtThroughMemory) {
    for (const bool inPlace : {false, true}) {
        writeAnew(damaged(), content);
        for (const QString& watched : {damaged(), output()}) {
            FaultLayer layer(watched);
            layer.during([&] { inPlace ? salvageInPlace() : salvageToOutput(); });
            EXPECT_EQ(layer.calls(Call::Map), 0);
        }
    }
}

TEST_F(DamagedFiles, ThatGrowMeanwhileAreLeftAlone) {
    recordGood({});
    const QByteArray content = withoutInfo() + startHeader(2, 256) + "torn";
    const QByteArray more(300, 'm');
    int busy = 0;
    for (int position = 1;; ++position) {
        ASSERT_LT(position, 100);
        writeAnew(damaged(), content);
        const Meanwhile growing(Call::Stat, position, [&] {
            QFile file(damaged());
            ASSERT_TRUE(file.open(QIODevice::Append));
            file.write(more);
        });
        try {
            salvageInPlace();
        } catch (const IOFileException& failure) {
            if (failure.code() != QLatin1String("IU_S_BUSY")) continue;
            ++busy;
            EXPECT_EQ(readFile(damaged()), content + more);
        }
        if (!growing.hasHappened()) break;
    }
    EXPECT_GT(busy, 0);
}

TEST_F(DamagedFiles, GetTheirTornBytesBackInHoweverManyWrites) {
    recordGood({});
    const QByteArray content = bytes.left(static_cast<qsizetype>(frameChunk(2).offset)) +
                               startHeader(2, 9000) + QByteArray(5000, 't');
    const auto torn = static_cast<qint64>(frameChunk(2).offset);
    writeAnew(damaged(), content);
    int position = 0;
    {
        FaultLayer layer(damaged());
        layer.noteChanges();
        layer.during([&] { salvageInPlace(); });
        for (const Change& change : layer.changes()) {
            if (change.call != Call::Write) continue;
            ++position;
            if (change.offset == torn) break;
        }
    }
    ASSERT_GT(position, 1);
    writeAnew(damaged(), content);
    // Half of a chunk is written over them, then the disk fails; and it takes them back in pieces.
    FaultLayer layer(damaged(), {{Call::Write, position, {0, Effect::half, ENOSPC}},
                                 {Call::Write, position + 2, {0, Effect::half}, 3}});
    layer.during([&] { EXPECT_THROW(salvageInPlace(), IOFileException); });
    EXPECT_EQ(layer.hits(), 4);
    EXPECT_EQ(readFile(damaged()), content);
}

TEST_F(DamagedFiles, AreNotSalvagedIntoACopyThatCannotBeClosed) {
    recordGood({});
    int failures = 0;
    for (int position = 1;; ++position) {
        SCOPED_TRACE(position);
        writeAnew(damaged(), withoutInfo());
        QFile::remove(output());
        FaultLayer layer(output(), {{Call::Close, position, {EIO, 0}}});
        try {
            layer.during([&] { salvageToOutput(); });
            EXPECT_TRUE(QFile::exists(output()));
        } catch (const IOFileException& failure) {
            ++failures;
            EXPECT_EQ(failure.code().toStdString(), "FDCW_CF_CLOSE");
            EXPECT_FALSE(QFile::exists(output()));
        }
        if (layer.hits() == 0) break;
    }
    EXPECT_EQ(failures, 1);
}

TEST_F(DamagedFiles, ThatCannotBeReadIsNotTakenForAnEmptyOne) {
    recordGood({});
    writeAnew(damaged(), withoutInfo());
    // The reader's own looks at the end of the file come first.
    int failures = 0;
    for (int skip = 0; skip < 12; ++skip) {
        const FailingCalls faults(Call::Stat, EIO, skip);
        try {
            salvageInPlace();
        } catch (const IOFileException& failure) {
            if (failure.code() == QLatin1String("IU_S_READ")) {
                ++failures;
                EXPECT_EQ(failure.origin(), SYSCALL);
                EXPECT_EQ(failure.message(), systemError("Could not read file: ", EIO));
            }
        }
        writeAnew(damaged(), withoutInfo());
    }
    EXPECT_GT(failures, 0);
}

}  // namespace
