// The warnings that come with a thumbnail, and its pixels then.

#include <utility>
#include <vector>

#include <tests/support/palettes.h>
#include <tests/support/thumbnails.h>

using namespace mz;
using namespace mz::test;

namespace {

class ThumbnailWarnings : public Thumbnail {
protected:
    /// The records of a thumbnail of samples from 100 to 1,249 through a palette.
    void expectWarnings(int cropMin, int cropMax, const std::vector<QString>& messages) {
        open(withPalette(withHeader(MZ_USHORT), grey(cropMin, cropMax)).frame(picture16()));
        const LogCapture log;
        ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
        ASSERT_EQ(log.records().size(), messages.size());
        for (size_t i = 0; i < messages.size(); ++i) {
            const LogRecord& record = log.records()[i];
            EXPECT_EQ(record.level, LogLevel::Warning);
            EXPECT_EQ(record.loggerName.toStdString(), "dataio.imagereader");
            EXPECT_EQ(record.code.toStdString(), "PIXOUTOFRANGE");
            EXPECT_EQ(record.message.toStdString(), messages[i].toStdString());
        }
    }

    QString minOutside(const char* range) const {
        return QStringLiteral("Min value ouside crop range. min=[%1],%2,fileName=[%3]")
            .arg(naive.window().first)
            .arg(QString::fromLatin1(range), file.path());
    }
    QString maxOutside(const char* range) const {
        return QStringLiteral("Max value outside crop range. max=[%1],%2,fileName=[%3]")
            .arg(naive.window().second)
            .arg(QString::fromLatin1(range), file.path());
    }

    const Naive naive{picture16(), width, height, 10, 10};
};

TEST_F(ThumbnailWarnings, SayWhenTheSamplesLeaveTheCropRange) {
    expectWarnings(0, 2000, {});
    expectWarnings(500, 2000, {minOutside("cropMin=[500],cropMax=[2000]")});
    expectThrough(grey(500, 2000), 0, static_cast<float>(naive.window().second - 500) / 1500.0F,
                  0x8000, naive);
    expectWarnings(0, 600, {maxOutside("cropMin=[0],cropMax=[600]")});
    expectThrough(grey(0, 600), static_cast<float>(naive.window().first) / 600.0F, 1, 0x8000,
                  naive);
    expectWarnings(
        500, 600,
        {minOutside("cropMin=[500],cropMax=[600]"), maxOutside("cropMin=[500],cropMax=[600]")});
    expectThrough(grey(500, 600), 0, 1, 0x8000, naive);
    // Both ends beyond the same end of it.
    expectWarnings(
        -500, -400,
        {minOutside("cropMin=[-500],cropMax=[-400]"), maxOutside("cropMin=[-500],cropMax=[-400]")});
    expectWarnings(
        5000, 6000,
        {minOutside("cropMin=[5000],cropMax=[6000]"), maxOutside("cropMin=[5000],cropMax=[6000]")});
}

TEST_F(ThumbnailWarnings, SayThatTheCropRangeIsEmpty) {
    for (const auto& [cropMin, cropMax] : {std::pair(7, 7), std::pair(8, 7)}) {
        expectWarnings(cropMin, cropMax,
                       {QStringLiteral("Bad pelette range. cropMin=[%1],cropMax=[%2],fileName=[%3]")
                            .arg(cropMin)
                            .arg(cropMax)
                            .arg(file.path())});
        expectThrough(grey(cropMin, cropMax), 0, 1, 0x8000, naive);
    }
}

TEST_F(ThumbnailWarnings, AreNotGivenWhereNobodyWantsThem) {
    open(withPalette(withHeader(MZ_USHORT), grey(7, 7)).frame(picture16()));
    const LogCapture log(LogLevel::Error);
    ASSERT_TRUE(reader.thumbnail(image, 10, 10, 0));
    EXPECT_TRUE(log.records().empty());
}

}  // namespace
