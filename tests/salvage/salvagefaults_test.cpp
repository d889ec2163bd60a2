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
        {
            const FailingCalls faults(GetParam(), EIO, skip);
            try {
                salvageInPlace();
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
            expectFrames(damaged(), kind, {0, 2, 3}, true);
            EXPECT_EQ(ImageReader(damaged()).getComment().toStdString(), "torn\nof a comment");
        }
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
                                         Call::Stat, Call::Map));

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
