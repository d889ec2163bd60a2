// Colour tables, entry by entry against a naive rendering, for palettes by hand and at random.

#include <libDataIO/paldatagenerator.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <random>
#include <vector>

#include <tests/support/naivepalette.h>
#include <tests/support/palettes.h>
#include <tests/support/speed.h>

using namespace mz;
using namespace mz::test;

namespace {

static_assert(IdxSigned8 == 0 && IdxUnsigned8 == 1 && IdxSigned16 == 2 && IdxUnsigned16 == 3);
static_assert(Default == 0 && MakeMinValueTransparent == 1 && MakeMinValueBlack == 2 &&
              MakeSpecificValueTransparent == 4 && MakeSpecificValueBlack == 8);
static_assert(IndexTypeInfo<IdxSigned16>::minLookupIdx == -32768 &&
              IndexTypeInfo<IdxSigned16>::maxLookupIdx == 32767 &&
              IndexTypeInfo<IdxSigned16>::maxVectorIdx == 65535);

template <PalIndexType type>
void generate(const MzPalette& palette, std::vector<QRgb>& table, int flags = Default,
              int special = 0) {
    using Special = typename IndexTypeInfo<type>::SpecialValue;
    PalDataGenerator<LerpQRGB<type>>()(palette, table, flags, static_cast<Special>(special));
}

template <PalIndexType type>
std::vector<QRgb> generated(const MzPalette& palette, int flags = Default, int special = 0) {
    std::vector<QRgb> table;
    generate<type>(palette, table, flags, special);
    return table;
}

QRgb greyLevel(int level) {
    return qRgb(level, level, level);
}

/// Compares every entry, those that are not written with what was there.
template <PalIndexType type>
void expectAsNaive(const MzPalette& palette) {
    using Info = IndexTypeInfo<type>;
    constexpr QRgb before = 0x12345678;
    std::vector<QRgb> table(Info::maxVectorIdx + 1, before);
    generate<type>(palette, table);
    ASSERT_EQ(table.size(), static_cast<size_t>(Info::maxVectorIdx) + 1);
    const Naive naive(palette, Info::minLookupIdx, Info::maxLookupIdx);
    for (size_t i = 0; i < table.size(); ++i)
        ASSERT_EQ(table[i], naive.entry(static_cast<int64_t>(i), before))
            << "entry " << i << ", crop " << palette._cropMinInt << " to " << palette._cropMaxInt
            << ", nodes " << palette._nodes.size();
}

class RandomPalettes {
public:
    MzPalette next(int min, int max) {
        MzPalette palette;
        const double width = max - min;
        const double reach = std::vector<double>{0, 0.5, 20, 1e9}[_random() % 4];
        palette._cropMinInt =
            static_cast<int>(rounded(min + width * (unit() * (1 + reach) - reach)));
        palette._cropMaxInt =
            static_cast<int>(rounded(max - width * (unit() * (1 + reach) - reach)));
        palette._saturationSignal = _random() % 2;
        palette._highSignalCol = color();
        palette._lowSignalCol = color();
        palette._transfo = static_cast<PalTransfoType>(_random() % 4 % 3);
        const auto count = 1 + _random() % 6;
        for (unsigned int i = 0; i < count; ++i) {
            const auto val =
                static_cast<float>(_random() % 3 ? unit() : std::floor(unit() * 4) / 3);
            palette._nodes.emplace_back(val, color());
        }
        if (_random() % 4)
            palette._nodes.sort([](const auto& a, const auto& b) { return a._val < b._val; });
        return palette;
    }

private:
    double unit() { return static_cast<double>(_random() % 65537) / 65536; }
    PalColor color() {
        if (_random() % 2)
            return PalColor(_random() % 2 ? 1.0F : 0.0F, _random() % 2 ? 1.0F : 0.0F, 0);
        return PalColor(static_cast<float>(unit()), static_cast<float>(unit()),
                        static_cast<float>(unit()));
    }

    std::mt19937 _random{5};
};

template <PalIndexType type>
void expectRandomPalettesAsNaive(int rounds) {
    RandomPalettes palettes;
    for (int i = 0; i < rounds && !testing::Test::HasFatalFailure(); ++i)
        expectAsNaive<type>(
            palettes.next(IndexTypeInfo<type>::minLookupIdx, IndexTypeInfo<type>::maxLookupIdx));
}

TEST(PalDataGenerator, GivesTheNaiveTableForSigned8) {
    expectRandomPalettesAsNaive<IdxSigned8>(800);
}
TEST(PalDataGenerator, GivesTheNaiveTableForUnsigned8) {
    expectRandomPalettesAsNaive<IdxUnsigned8>(800);
}
TEST(PalDataGenerator, GivesTheNaiveTableForSigned16) {
    expectRandomPalettesAsNaive<IdxSigned16>(40);
}
TEST(PalDataGenerator, GivesTheNaiveTableForUnsigned16) {
    expectRandomPalettesAsNaive<IdxUnsigned16>(40);
}

TEST(PalDataGenerator, MapsTheDefaultPaletteOntoGreyLevels) {
    for (const MzPalette& palette : {grey(0, 255), grey(-32768, 32767)}) {
        const std::vector<QRgb> table = generated<IdxUnsigned8>(palette);
        ASSERT_EQ(table.size(), 256U);
        for (int i = 0; i < 256; ++i)
            EXPECT_EQ(table[static_cast<size_t>(i)], greyLevel(i)) << i;
    }
}

TEST(PalDataGenerator, LaysTheRampOverTheCropRange) {
    const std::vector<QRgb> table = generated<IdxUnsigned8>(grey(50, 100));
    for (size_t i = 0; i <= 50; ++i)
        EXPECT_EQ(table[i], greyLevel(0));
    EXPECT_EQ(table[51], greyLevel(5));    // 5.1
    EXPECT_EQ(table[75], greyLevel(128));  // 127.5
    EXPECT_EQ(table[99], greyLevel(250));  // 249.9
    for (size_t i = 100; i < 256; ++i)
        EXPECT_EQ(table[i], greyLevel(255));
}

TEST(PalDataGenerator, SqueezesARampThatBeginsBelowTheSamples) {
    const std::vector<QRgb> table = generated<IdxUnsigned8>(grey(-100, 155));
    EXPECT_EQ(table[0], greyLevel(0));
    EXPECT_EQ(table[31], greyLevel(51));
    EXPECT_EQ(table[154], greyLevel(253));
    for (size_t i = 155; i < 256; ++i)
        EXPECT_EQ(table[i], greyLevel(255));
}

TEST(PalDataGenerator, GivesTheLastPositionButNotTheFirstToTheSignalColour) {
    MzPalette palette = grey(50, 100);
    palette._saturationSignal = true;
    for (const PalTransfoType transfo : {PTID, PTGAMMA, PTSIGMOID}) {
        palette._transfo = transfo;
        const std::vector<QRgb> table = generated<IdxUnsigned8>(palette);
        EXPECT_EQ(table[49], qRgb(0, 0, 255));
        EXPECT_EQ(table[50], greyLevel(0));
        EXPECT_NE(table[99], qRgb(255, 0, 0));
        EXPECT_EQ(table[100], qRgb(255, 0, 0));
    }
}

TEST(PalDataGenerator, FindsSignedSamplesByTheirBitPattern) {
    const std::vector<QRgb> table = generated<IdxSigned8>(grey(-128, 127));
    EXPECT_EQ(table[128], greyLevel(0));
    EXPECT_EQ(table[255], greyLevel(127));
    EXPECT_EQ(table[0], greyLevel(128));
    EXPECT_EQ(table[127], greyLevel(255));
}

TEST(PalDataGenerator, BendsTheRampByTheTransferFunction) {
    MzPalette palette = grey(0, 255);
    palette._transfo = PTGAMMA;
    const std::vector<QRgb> table = generated<IdxUnsigned8>(palette);
    for (const int i : {0, 1, 20, 128, 254}) {
        const int expected = static_cast<int>(std::lround(255 * std::pow(i / 255.0, 1 / 2.2)));
        EXPECT_NEAR(qRed(table[static_cast<size_t>(i)]), expected, 1) << i;
    }
    EXPECT_GT(qRed(table[20]), 70);
}

TEST(PalDataGenerator, LeavesTheTableAloneWithoutNodes) {
    std::vector<QRgb> table{1, 2, 3};
    generate<IdxUnsigned8>(MzPalette(), table, MakeMinValueBlack | MakeSpecificValueBlack, 1);
    EXPECT_EQ(table, (std::vector<QRgb>{1, 2, 3}));
}

TEST(PalDataGenerator, ResizesTheTable) {
    for (const size_t size : {0U, 3U, 70000U}) {
        std::vector<QRgb> table(size, 7);
        generate<IdxUnsigned8>(grey(0, 255), table);
        EXPECT_EQ(table.size(), 256U);
        generate<IdxUnsigned16>(grey(0, 255), table);
        EXPECT_EQ(table.size(), 65536U);
    }
}

/// Begins left of the samples, so that it is squeezed to begin at 31: nothing writes 0 to 30.
MzPalette squeezedAwayFromZero() {
    MzPalette palette = grey(-1000, 155);
    palette._nodes.front()._val = 0.2F;
    return palette;
}

TEST(PalDataGenerator, KeepsEntriesThatNoStepWrites) {
    std::vector<QRgb> table{1, 2, 3};
    generate<IdxUnsigned8>(squeezedAwayFromZero(), table);
    EXPECT_EQ((std::vector<QRgb>{table[0], table[1], table[2], table[3], table[30]}),
              (std::vector<QRgb>{1, 2, 3, 0, 0}));
    EXPECT_EQ(table[31], greyLevel(0));
    EXPECT_EQ(table[155], greyLevel(255));
}

TEST(PalDataGenerator, WritesNothingForNodesInFallingOrder) {
    MzPalette palette = grey(0, 200);
    palette._nodes.reverse();
    // The low fill runs up to 200, then the high fill from 0 on.
    for (const QRgb& color : generated<IdxUnsigned8>(palette))
        EXPECT_EQ(color, greyLevel(0));
}

TEST(PalDataGenerator, BlackensTheSmallestValue) {
    const auto blackened = [](const auto& table, const auto& before, size_t index) {
        for (size_t i = 0; i < table.size(); ++i)
            if (table[i] != (i == index ? 0xff000000U : before[i])) return false;
        return before[index] != 0xff000000U;
    };
    MzPalette white = grey(0, 100);
    for (PalNode& node : white._nodes)
        node._col = PalColor(1, 1, 1);
    EXPECT_TRUE(blackened(generated<IdxUnsigned8>(white, MakeMinValueBlack),
                          generated<IdxUnsigned8>(white), 0));
    EXPECT_TRUE(blackened(generated<IdxSigned8>(white, MakeMinValueBlack),
                          generated<IdxSigned8>(white), 128));
    EXPECT_TRUE(blackened(generated<IdxSigned16>(white, MakeMinValueBlack),
                          generated<IdxSigned16>(white), 32768));
    EXPECT_TRUE(blackened(generated<IdxUnsigned16>(white, MakeMinValueBlack),
                          generated<IdxUnsigned16>(white), 0));
    EXPECT_TRUE(blackened(generated<IdxSigned16>(white, MakeSpecificValueBlack, 0x8000),
                          generated<IdxSigned16>(white), 32768));
    EXPECT_TRUE(blackened(generated<IdxSigned8>(white, MakeSpecificValueBlack, 255),
                          generated<IdxSigned8>(white), 255));
}

TEST(PalDataGenerator, DoesNotActOnTransparency) {
    const int flags = MakeMinValueTransparent | MakeSpecificValueTransparent;
    EXPECT_EQ(generated<IdxUnsigned8>(grey(0, 255), flags, 9),
              generated<IdxUnsigned8>(grey(0, 255)));
}

TEST(PalDataGenerator, KeepsTheAlphaOfAnEntryThatItBlackens) {
    std::vector<QRgb> table(256, 0x40ffffffU);
    generate<IdxUnsigned8>(squeezedAwayFromZero(), table,
                           MakeMinValueBlack | MakeSpecificValueBlack, 5);
    EXPECT_EQ(table[0], 0x40000000U);
    EXPECT_EQ(table[5], 0x40000000U);
    EXPECT_EQ(table[6], 0x40ffffffU);
}

TEST(PalDataGenerator, TakesColoursAndPositionsThatAreNoNumbers) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    MzPalette palette = grey(0, 255);
    palette._nodes = {PalNode(nan, PalColor(nan, -4, 7)), PalNode(1, PalColor(2, 1, infinity))};
    const std::vector<QRgb> table = generated<IdxUnsigned8>(palette);
    EXPECT_EQ(table[0], qRgb(0, 0, 255));
    EXPECT_EQ(table[255], qRgb(255, 255, 255));

    for (const float value : {nan, infinity, -infinity, 3e38F, -3e38F}) {
        for (const PalTransfoType transfo : {PTID, PTSIGMOID}) {
            palette = grey(std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
            palette._transfo = transfo;
            palette._nodes.insert(std::next(palette._nodes.begin()), PalNode(value, PalColor()));
            expectAsNaive<IdxSigned16>(palette);
            palette._nodes.emplace_back(value, PalColor(1, 1, 1));
            expectAsNaive<IdxUnsigned8>(palette);
        }
    }
}

/// Nodes that rise over and over again, so that segments lie on top of each other.
MzPalette sawTooth(int count, int cropMin, int cropMax) {
    MzPalette palette = grey(cropMin, cropMax);
    palette._nodes.clear();
    for (int i = 0; i < count; ++i)
        palette._nodes.emplace_back(
            i % 2 ? 1.0F - 0.3F / static_cast<float>(i) : 0.1F,
            PalColor(i % 2 ? 1.0F : 0.0F, static_cast<float>(i % 7) / 7, 0));
    return palette;
}

TEST(PalDataGenerator, LetsTheLastOfManySegmentsWin) {
    for (const int count : {2, 3, 4, 7, 8, 9, 40, 5000}) {
        expectAsNaive<IdxUnsigned8>(sawTooth(count, 20, 200));
        expectAsNaive<IdxUnsigned8>(sawTooth(count, 300, 800));
        expectAsNaive<IdxSigned8>(sawTooth(count, -60, 60));
        expectAsNaive<IdxUnsigned8>(sawTooth(count, std::numeric_limits<int>::min(), 255));
        MzPalette bent = sawTooth(count, -60, 60);
        bent._transfo = PTGAMMA;
        expectAsNaive<IdxSigned8>(bent);
    }
    expectAsNaive<IdxSigned16>(sawTooth(50, -20000, 20000));
}

TEST(PalDataGenerator, LaysASingleNodeOverAllSamples) {
    for (const float value : {0.0F, 0.3F, 1.0F}) {
        for (const bool signal : {false, true}) {
            MzPalette palette = grey(0, 255);
            palette._saturationSignal = signal;
            palette._nodes = {PalNode(value, PalColor(0.2F, 0.4F, 0.6F))};
            expectAsNaive<IdxUnsigned8>(palette);
        }
    }
    // The node at the largest sample leaves nothing to the colour above it.
    MzPalette last = grey(0, 255);
    last._nodes = {PalNode(1, PalColor(0, 1, 0))};
    EXPECT_EQ(generated<IdxUnsigned8>(last), std::vector<QRgb>(256, qRgb(0, 255, 0)));
}

TEST(PalDataGenerator, CostsNoMoreForMoreNodesThanForATable) {
    // Written segment by segment, a thousand teeth cost some thousand tables; as they are written,
    // less than ten.
    constexpr double mostTables = 100;
    const MzPalette ramp = grey(0, 60000);
    const MzPalette teeth = sawTooth(2000, 0, 60000);
    double tables = 0;
    for (int attempt = 0; attempt < 5 && (attempt == 0 || tables > mostTables); ++attempt) {
        tables = speedOver([&] { generated<IdxUnsigned16>(teeth); },
                           [&] { generated<IdxUnsigned16>(ramp); });
    }
    ASSERT_LT(tables, mostTables);

    const std::vector<QRgb> many = generated<IdxUnsigned16>(sawTooth(1000000, 0, 60000));
    EXPECT_EQ(many.size(), 65536U);
    EXPECT_EQ(many[6000], qRgb(0, static_cast<int>(rounded(255 * (999998 % 7 / 7.0))), 0));
}

}  // namespace
