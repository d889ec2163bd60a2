// Fibre positions as a reader gives them, in each mode, and the box around the bundle.

#include <cmath>
#include <vector>

#include <tests/support/moviereader.h>

using namespace mz;
using namespace mz::test;

namespace {

using Mode = ImageReader::FiberFilteringMode;
using Floats = std::vector<float>;
using Indexes = std::vector<unsigned int>;

constexpr Mode allModes[] = {ImageReader::NoFiberFiltering,
                             ImageReader::ImageSizeFiberFiltering,
                             ImageReader::BundleBoundingBoxFiberFiltering,
                             ImageReader::NoFiberFilteringButSortFibers,
                             ImageReader::ImageSizeFiberFilteringAndSortFibers,
                             ImageReader::BundleBoundingBoxFiberFilteringAndSortFibers};

/// The word in the file for a coordinate of an image side.
uint32_t word(double coordinate, double side) {
    return static_cast<uint32_t>(std::llround(coordinate / side * 4294967295.0));
}

/// A movie of 100 × 50 pixels with fibres at the given x, y pairs.
MovieBytes bundle(std::initializer_list<double> positions, Order order = Order::Little) {
    QByteArray payload;
    bool isX = true;
    for (const double coordinate : positions) {
        payload += bytes32({word(coordinate, isX ? 100 : 50)}, order);
        isX = !isX;
    }
    return MovieBytes().size(100, 50).chunk(MovieBytes::FiberCenter, payload);
}

MovieBytes& withBox(MovieBytes& movie, int minX, int minY, int maxX, int maxY) {
    return movie.attribute("bbox_min_x", minX)
        .attribute("bbox_min_y", minY)
        .attribute("bbox_max_x", maxX)
        .attribute("bbox_max_y", maxY);
}

/// Calls all four queries that want the size, one after the other.
template <class Expectation>
void forEachQuery(const ImageReader& reader, Mode mode, Expectation expect) {
    Floats floats = {1};
    Indexes indexes = {1};
    expect([&] {
        reader.getRasterFiberContinuousIndexes(floats, mode);
        EXPECT_TRUE(floats.empty());
    });
    expect([&] {
        reader.getRasterFiberIndexes(indexes, mode);
        EXPECT_TRUE(indexes.empty());
    });
    indexes = {1};
    expect([&] {
        reader.getFiberOffsets(indexes, mode);
        EXPECT_TRUE(indexes.empty());
    });
    floats = {1};
    expect([&] {
        reader.getWorldFiberCenters(floats, mode);
        EXPECT_TRUE(floats.empty());
    });
    expect([&] { EXPECT_EQ(reader.nbFibers(mode), 0); });
}

class Fibers : public MovieReader {
protected:
    Floats positions(Mode mode) {
        Floats out = {99};
        reader.getRasterFiberContinuousIndexes(out, mode);
        EXPECT_EQ(reader.nbFibers(mode), static_cast<int>(out.size() / 2));
        return out;
    }

    void expectPositions(Mode mode, const Floats& expected) {
        const Floats found = positions(mode);
        ASSERT_EQ(found.size(), expected.size());
        for (size_t i = 0; i < found.size(); ++i)
            EXPECT_NEAR(found[i], expected[i], 1e-5) << i;
    }
};

const Failure noSize = {"dataio.imagereader", SOFTWARE, "IR_GRFI_NOSIZE", "Size not available."};
const Failure unknownMode = {"dataio.imagereader", SOFTWARE, "IR_GRFI_UMODE",
                             "Unknown fiber filtering mode."};

}  // namespace

// --- what is needed --------------------------------------------------------------------------

TEST_F(Fibers, WithoutTheirChunkEveryQueryIsEmpty) {
    open(MovieBytes());
    const LogCapture log;
    for (const int mode : {0, 1, 2, 3, 4, 5, 6, -1})
        forEachQuery(reader, static_cast<Mode>(mode), [](auto query) { query(); });
    EXPECT_TRUE(log.records().empty());
}

TEST_F(Fibers, WithTheirChunkTheSizeIsNeeded) {
    for (const char* only : {"width", "height", "neither"}) {
        open(MovieBytes().attribute(only, 100).fibers({1, 2}));
        forEachQuery(reader, ImageReader::NoFiberFiltering,
                     [](auto query) { expectFailure<IOFileException>(noSize, query); });
        forEachQuery(reader, static_cast<Mode>(6),
                     [](auto query) { expectFailure<IOFileException>(noSize, query); });
    }
    open(MovieBytes().fibers({}));
    expectFailure<IOFileException>(noSize, [&] { reader.nbFibers(allModes[0]); });
}

TEST_F(Fibers, OtherModesAreUnknown) {
    open(bundle({5, 5}));
    for (const int mode : {6, 7, -1}) {
        forEachQuery(reader, static_cast<Mode>(mode),
                     [](auto query) { expectFailure<IOFileException>(unknownMode, query); });
    }
}

TEST_F(Fibers, AnOddNumberOfWordsIsToldOnceACall) {
    // Whole words count: 13 bytes are three of them, 8 + 3 bytes two.
    for (const int size : {12, 13, 15}) {
        open(MovieBytes().size(100, 50).chunk(MovieBytes::FiberCenter, QByteArray(size, '\0')));
        LogCapture log;
        EXPECT_EQ(reader.nbFibers(ImageReader::NoFiberFiltering), 1);
        ASSERT_EQ(log.records().size(), 1U);
        const LogRecord& record = log.records().front();
        EXPECT_EQ(record.level, LogLevel::Info);
        EXPECT_EQ(record.loggerName, QStringLiteral("dataio.imagereader"));
        EXPECT_EQ(record.message,
                  QStringLiteral("Odd number of floats for fibers! Discarding last float."));
        EXPECT_TRUE(record.code.isEmpty());
        EXPECT_EQ(reader.nbFibers(ImageReader::BundleBoundingBoxFiberFiltering), 1);
        EXPECT_EQ(log.records().size(), 2U);
    }
    for (const int size : {0, 3, 8, 11, 16}) {
        open(MovieBytes().size(100, 50).chunk(MovieBytes::FiberCenter, QByteArray(size, '\0')));
        const LogCapture log;
        EXPECT_EQ(reader.nbFibers(ImageReader::NoFiberFiltering), size / 8);
        EXPECT_TRUE(log.records().empty()) << size;
    }
}

TEST_F(Fibers, TheOddWordIsToldAtInfoLevelOnly) {
    open(MovieBytes().size(100, 50).fibers({1, 2, 3}));
    const LogCapture log(LogLevel::Warning);
    EXPECT_EQ(reader.nbFibers(ImageReader::NoFiberFiltering), 1);
    EXPECT_TRUE(log.records().empty());
}

TEST_F(Fibers, TheOddWordIsToldBeforeTheModeIsLookedAt) {
    open(MovieBytes().size(100, 50).fibers({1, 2, 3}));
    const LogCapture log;
    EXPECT_THROW(reader.nbFibers(static_cast<Mode>(6)), IOFileException);
    ASSERT_EQ(log.records().size(), 2U);
    EXPECT_EQ(log.records().front().level, LogLevel::Info);
}

TEST_F(Fibers, ARefusedQueryLeavesTheListsAlone) {
    const auto expectUntouched = [&](const Failure& failure, Mode mode) {
        Floats floats = {1};
        Indexes indexes = {1};
        expectFailure<IOFileException>(
            failure, [&] { reader.getRasterFiberContinuousIndexes(floats, mode); });
        expectFailure<IOFileException>(failure,
                                       [&] { reader.getRasterFiberIndexes(indexes, mode); });
        expectFailure<IOFileException>(failure, [&] { reader.getFiberOffsets(indexes, mode); });
        expectFailure<IOFileException>(failure, [&] { reader.getWorldFiberCenters(floats, mode); });
        EXPECT_EQ(floats, Floats{1});
        EXPECT_EQ(indexes, Indexes{1});
    };
    open(MovieBytes().fibers({1, 2}));
    expectUntouched(noSize, ImageReader::NoFiberFiltering);
    open(bundle({5, 5}));
    expectUntouched(unknownMode, static_cast<Mode>(6));
}

// --- filters ---------------------------------------------------------------------------------

TEST_F(Fibers, WordsAreFractionsOfTheImage) {
    open(MovieBytes().size(100, 50).fibers({0, 0xffffffff, 0x80000000, 0x40000000}));
    EXPECT_EQ(positions(ImageReader::NoFiberFiltering), (Floats{0, 50, 50, 12.5F}));
}

TEST_F(Fibers, AFiberOnTheFarEdgeIsKeptMovedOrDropped) {
    open(bundle({100, 10, 20, 50, 30, 20}));
    expectPositions(ImageReader::NoFiberFiltering, {100, 10, 20, 50, 30, 20});
    expectPositions(ImageReader::ImageSizeFiberFiltering, {99, 10, 20, 49, 30, 20});
    expectPositions(ImageReader::BundleBoundingBoxFiberFiltering, {30, 20});
}

TEST_F(Fibers, TheLastColumnAndRowAreInside) {
    open(MovieBytes().size(2, 2).fibers({0x7fffffff, 0x7fffffff, 0, 0}));
    EXPECT_EQ(positions(ImageReader::BundleBoundingBoxFiberFiltering), (Floats{1, 1, 0, 0}));
}

TEST_F(Fibers, TheBoxKeepsWhatLiesInItsEllipse) {
    MovieBytes movie = bundle({50, 25, 99, 49, 0, 25, 50, 0});
    open(withBox(movie, 0, 0, 100, 50));
    expectPositions(ImageReader::BundleBoundingBoxFiberFiltering, {50, 25, 0, 25, 50, 0});
    expectPositions(ImageReader::NoFiberFiltering, {50, 25, 99, 49, 0, 25, 50, 0});
}

TEST_F(Fibers, ThePixelOfAFiberMustLieInTheEllipseToo) {
    // A circle of radius 10 around (20, 20): at 10.4 the pixel is 10 and inside, the fibre too; at
    // 29.6 the fibre is inside and its pixel, 30, on the circle; at 29.6, 22 the pixel is outside.
    MovieBytes movie = bundle({10.4, 20, 29.6, 20, 29.6, 22, 30.4, 20});
    open(withBox(movie, 10, 10, 30, 30));
    expectPositions(ImageReader::BundleBoundingBoxFiberFiltering, {10.4F, 20, 29.6F, 20});
}

TEST_F(Fibers, ABoxWithoutAnAreaKeepsNone) {
    MovieBytes movie = bundle({20, 20, 21, 20});
    open(withBox(movie, 20, 20, 20, 20));
    EXPECT_TRUE(positions(ImageReader::BundleBoundingBoxFiberFiltering).empty());
}

TEST_F(Fibers, AnIncompleteBoxIsNone) {
    open(bundle({99, 49})
             .attribute("bbox_min_x", 0)
             .attribute("bbox_min_y", 0)
             .attribute("bbox_max_x", 100));
    expectPositions(ImageReader::BundleBoundingBoxFiberFiltering, {99, 49});
    Floats box = {1};
    EXPECT_FALSE(reader.getBundleBoundingBox(box));
    EXPECT_TRUE(box.empty());
}

TEST_F(Fibers, TheBoxIsGivenAsMinimumsThenMaximums) {
    MovieBytes movie;
    open(withBox(movie, 1, 2, 3, 4));
    Floats box;
    EXPECT_TRUE(reader.getBundleBoundingBox(box));
    EXPECT_EQ(box, (Floats{1, 2, 3, 4}));
}

// --- lists -----------------------------------------------------------------------------------

TEST_F(Fibers, AreSortedByRoundedRowThenColumn) {
    open(bundle({5, 1.4, 7, 0.6, 2, 1.2, 3, 0.4}));
    const Floats sorted = {3, 0.4F, 2, 1.2F, 5, 1.4F, 7, 0.6F};
    expectPositions(ImageReader::NoFiberFilteringButSortFibers, sorted);
    expectPositions(ImageReader::ImageSizeFiberFilteringAndSortFibers, sorted);
    expectPositions(ImageReader::BundleBoundingBoxFiberFilteringAndSortFibers, sorted);
    expectPositions(ImageReader::NoFiberFiltering, {5, 1.4F, 7, 0.6F, 2, 1.2F, 3, 0.4F});
}

TEST_F(Fibers, SortedModesFilterLikeTheirUnsortedOnes) {
    open(bundle({100, 10, 30, 5, 20, 50}));
    expectPositions(ImageReader::NoFiberFilteringButSortFibers, {30, 5, 100, 10, 20, 50});
    expectPositions(ImageReader::ImageSizeFiberFilteringAndSortFibers, {30, 5, 99, 10, 20, 49});
    expectPositions(ImageReader::BundleBoundingBoxFiberFilteringAndSortFibers, {30, 5});
}

TEST_F(Fibers, RoundedPositionsAndOffsets) {
    open(bundle({1.6, 2.4, 10.2, 0.6}));
    Indexes indexes;
    reader.getRasterFiberIndexes(indexes, ImageReader::NoFiberFiltering);
    EXPECT_EQ(indexes, (Indexes{2, 2, 10, 1}));
    reader.getFiberOffsets(indexes, ImageReader::NoFiberFiltering);
    EXPECT_EQ(indexes, (Indexes{202, 110}));
    reader.getFiberOffsets(indexes, ImageReader::NoFiberFilteringButSortFibers);
    EXPECT_EQ(indexes, (Indexes{110, 202}));
}

TEST_F(Fibers, WorldPositionsAreScaledByTheLongerSide) {
    Floats world;
    open(MovieBytes().size(200, 100).fibers({0, 0, 0xffffffff, 0xffffffff}));
    reader.getWorldFiberCenters(world, ImageReader::ImageSizeFiberFiltering);
    ASSERT_EQ(world.size(), 4U);
    EXPECT_FLOAT_EQ(world[0], 0.0025F);
    EXPECT_FLOAT_EQ(world[1], 0.4975F);
    EXPECT_FLOAT_EQ(world[2], 199.5F / 200);
    EXPECT_FLOAT_EQ(world[3], 0.5F / 200);
    open(MovieBytes().size(100, 400).fibers({0, 0}));
    reader.getWorldFiberCenters(world, ImageReader::NoFiberFiltering);
    EXPECT_FLOAT_EQ(world[0], 0.5F / 400);
    EXPECT_FLOAT_EQ(world[1], 399.5F / 400);
}

TEST_F(Fibers, OfTheOtherByteOrderAreSwapped) {
    for (const int endian : {1, 3}) {
        open(bundle({25, 10}, Order::Big).attribute("endian", endian));
        expectPositions(ImageReader::NoFiberFiltering, {25, 10});
    }
    for (const int endian : {0, 2}) {
        open(bundle({25, 10}).attribute("endian", endian));
        expectPositions(ImageReader::NoFiberFiltering, {25, 10});
    }
}

TEST_F(Fibers, AtAnOddAddressAreRead) {
    MovieBytes movie;
    movie.size(100, 50).frame("x").fibers({0x80000000, 0x40000000});
    open(movie);
    EXPECT_EQ(positions(ImageReader::NoFiberFiltering), (Floats{50, 12.5F}));
}

TEST_F(Fibers, AreReadFromTheFileOnEveryCall) {
    open(bundle({25, 10}));
    expectPositions(ImageReader::NoFiberFiltering, {25, 10});
    constexpr qint64 firstPayload = 16;
    file.put(firstPayload, bytes32({word(75, 100), word(20, 50)}));
    expectPositions(ImageReader::NoFiberFiltering, {75, 20});
}

TEST_F(Fibers, FollowTheSizeThatTheHeaderHasNow) {
    open(bundle({25, 10}));
    reader.attributeChunk().set(QStringLiteral("width"), 200);
    expectPositions(ImageReader::NoFiberFiltering, {50, 10});
}

TEST_F(Fibers, SizesThatNoImageHasAreNoTrouble) {
    for (const int side : {0, -1, 2147483647, -2147483647 - 1}) {
        open(MovieBytes().size(side, side).fibers({0, 0, 0xffffffff, 0xffffffff}));
        for (const Mode mode : allModes) {
            Floats floats;
            Indexes indexes;
            reader.getRasterFiberContinuousIndexes(floats, mode);
            reader.getRasterFiberIndexes(indexes, mode);
            EXPECT_EQ(floats.size(), indexes.size());
            reader.getFiberOffsets(indexes, mode);
            EXPECT_EQ(floats.size(), 2 * indexes.size());
            reader.getWorldFiberCenters(floats, mode);
            EXPECT_EQ(floats.size(), 2 * indexes.size());
        }
    }
}
