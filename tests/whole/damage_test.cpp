// Movies of every kind with every kind of damage: each is read and changed in every way, and gives
// a documented exception, nothing, or a right answer, in little time and little memory.

#include <libDataIO/imagewriter.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <string>

#include <tests/support/childprocess.h>
#include <tests/support/damages.h>
#include <tests/support/limits.h>
#include <tests/support/logcapture.h>
#include <tests/support/processmemory.h>
#include <tests/support/scratchfile.h>
#include <tests/support/thoroughreading.h>

using namespace mz;
using namespace mz::test;

namespace {

constexpr double mostSeconds = 2;

class Damage : public testing::TestWithParam<GoodMovie> {
protected:
    void SetUp() override {
        good = GetParam().bytes();
        writeFile(file.path(), good);
        const Findings findings = readThoroughly(file.path());
        ASSERT_TRUE(findings.opened);
        ASSERT_EQ(findings.rawFrames.size(), GetParam().frames);
        goodFrames = findings.rawFrames;
    }

    /// Opens, reads and changes a damaged file.
    Findings meet(const QByteArray& damaged) {
        // A new file each time: some file systems write one that is emptied to the disk at once.
        QFile::remove(file.path());
        writeFile(file.path(), damaged);
        const std::clock_t begin = std::clock();
        Findings findings = readThoroughly(file.path());
        EXPECT_EQ(readFile(file.path()), damaged) << "reading has changed the file";
        change(damaged);
        EXPECT_LT(static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC, mostSeconds);
        return findings;
    }

    void change(const QByteArray& damaged) {
        const QByteArray frame(1 << 16, 'x');
        ImageWriter writer;
        if (!succeeds([&] { writer.modify(file.path()); })) {
            EXPECT_FALSE(writer.isOpen());
            EXPECT_EQ(readFile(file.path()), damaged) << "what failed has changed the file";
            return;
        }
        succeeds([&] { writer.replaceFrame(frame.constData(), 0, 0.5F); });
        succeeds([&] { writer.addFrameAtEnd(frame.constData(), 24); });
        succeeds([&] { writer.setFirstFrame(1); });
        if (!succeeds([&] { writer.close(); })) {
            // Fibres without the size of an image: the caller can set one, or do without fibres.
            writer.addRasterFiberContinuousIndexes({});
            writer.close();
        }
        ImageReader reader;
        const bool opens = succeeds([&] { reader.open(file.path()); });
        EXPECT_TRUE(opens ||
                    writer.attributeChunk().attributes().count(QStringLiteral("data_type")) == 1);
    }

    /// A frame that is read is one that was recorded: nothing but the framing and the index is
    /// damaged.
    void expectRecordedFrames(const Findings& findings) const {
        for (const QByteArray& frame : findings.rawFrames) {
            EXPECT_NE(std::find(goodFrames.begin(), goodFrames.end(), frame), goodFrames.end());
        }
    }

    void meetAll(const std::vector<Flip>& flips) {
        for (const Flip& flip : flips) {
            SCOPED_TRACE(flip);
            const Findings findings = meet(flip.of(good));
            if (flip.framesStay) expectRecordedFrames(findings);
        }
    }

    LogCapture silent{LogLevel::Error};
    ScratchFile file;
    QByteArray good;
    std::vector<QByteArray> goodFrames;
};

TEST_P(Damage, AMovieThatIsCutAnywhereDoesNotOpen) {
    for (qsizetype length = 0; length < good.size(); ++length) {
        SCOPED_TRACE(length);
        EXPECT_FALSE(meet(good.left(length)).opened);
    }
}

TEST_P(Damage, BytesBehindTheMovieHideIt) {
    for (int count : {1, 15, 16, 31, 32, 100})
        EXPECT_FALSE(meet(good + QByteArray(count, '\n')).opened);
}

TEST_P(Damage, EveryByteOfTheFramingMayBeFlipped) {
    meetAll(framingFlips(good));
}

TEST_P(Damage, EveryByteOfTheIndexMayBeFlipped) {
    meetAll(indexFlips(good));
}

TEST_P(Damage, EveryByteOfTheAttributesMayBeFlipped) {
    meetAll(attributeFlips(good));
}

TEST_P(Damage, EveryByteOfThePayloadsMayBeFlipped) {
    for (const Flip& flip : payloadFlips(good)) {
        SCOPED_TRACE(flip);
        EXPECT_TRUE(meet(flip.of(good)).opened);
    }
}

TEST_P(Damage, SizesInTheFramingMayBeAnything) {
    for (const FramingSize& row : framingSizes(good)) {
        SCOPED_TRACE(row);
        meet(row.of(good));
    }
}

TEST_P(Damage, CountAndOffsetsOfTheIndexMayBeAnything) {
    for (const IndexNumber& row : indexNumbers(good)) {
        SCOPED_TRACE(row);
        const Findings findings = meet(row.of(good));
        if (row.field == IndexNumber::Offset) expectRecordedFrames(findings);
    }
}

TEST_P(Damage, AttributesMaySayAnything) {
    for (const AttributeValue& row : attributeValues(GetParam())) {
        SCOPED_TRACE(row);
        meet(GetParam().with(row.key, row.value));
    }
}

TEST_P(Damage, AnImageMayBeAsLargeAsItLikes) {
    for (const LargeImage& image : largeImages()) {
        SCOPED_TRACE(testing::Message()
                     << image.width.constData() << " x " << image.height.constData());
        meet(sized(GetParam(), image.width, image.height));
    }
}

/// A reader believes frame sizes up to 16 MiB and keeps at most four buffers of that size: decoded,
/// on the way there, swapped or reconstructed, and what the fibres are copied to. Everything else
/// is in proportion to the file.
constexpr int64_t mostMemory = int64_t{4} * (16 << 20);

TEST_P(Damage, MemoryIsBounded) {
    DATAIO_SKIP_IF_SANITIZED();
    inChild([&] {
        // What is mapped and free before counts as well: begin at the peak.
        const int64_t before = processMemory("VmPeak");
        for (const char* size : {"2896", "4096", "30000", "2147483647"}) {
            for (const char* key : {"width", "height"}) {
                meet(GetParam().with(key, size));
            }
            meet(sized(GetParam(), size, size));
        }
        for (uint32_t number : {0x7fffffffU, 0x55555556U}) {
            meet(IndexNumber{IndexNumber::Count, 0, number}.of(good));
        }
        EXPECT_LE(processMemory("VmPeak") - before, mostMemory);
    });
}

TEST_P(Damage, AFrameOfTheSizeThatIsBelievedIsReadInThatMemory) {
    DATAIO_SKIP_IF_SANITIZED();
    inChild([&] {
        const AddressSpaceLimit limit(static_cast<rlim_t>(mostMemory));
        const Findings findings = meet(sized(GetParam(), "2896", "2896"));
        EXPECT_TRUE(findings.opened);
        EXPECT_EQ(findings.readableFrames, GetParam().frames);
    });
}

INSTANTIATE_TEST_SUITE_P(Movies, Damage, testing::ValuesIn(goodMovies()),
                         [](const auto& movie) { return movie.param.name; });

}  // namespace
