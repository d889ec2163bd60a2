// Palettes as values: the default one, comparison, and the squeezing of their nodes.

#include <libCommon/mzpalette.h>

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace mz;

namespace {

TEST(MzPalette, ShowsNothingAsConstructed) {
    const MzPalette palette;
    EXPECT_EQ(palette._cropMinInt, -32768);
    EXPECT_EQ(palette._cropMaxInt, 32767);
    EXPECT_TRUE(palette._name.isEmpty());
    EXPECT_EQ(palette._highSignalCol, PalColor(1, 0, 0));
    EXPECT_EQ(palette._lowSignalCol, PalColor(0, 0, 1));
    EXPECT_FALSE(palette._saturationSignal);
    EXPECT_TRUE(palette._nodes.empty());
    EXPECT_EQ(palette._transfo, PTID);
}

TEST(MzPalette, DefaultIsTheRampFromBlackToWhite) {
    MzPalette palette;
    palette._cropMinInt = 3;
    palette._name = QStringLiteral("hot");
    palette._saturationSignal = true;
    palette._transfo = PTGAMMA;
    palette._nodes.emplace_back(0.5F, PalColor(1, 0, 0));
    palette.initDefault();

    MzPalette expected;
    expected._nodes = {PalNode(0, PalColor(0, 0, 0)), PalNode(1, PalColor(1, 1, 1))};
    EXPECT_EQ(palette, expected);
}

TEST(MzPalette, IsAValue) {
    MzPalette original;
    original.initDefault();
    MzPalette copy = original;
    EXPECT_EQ(copy, original);
    copy._nodes.back()._col._g = 0.5F;
    EXPECT_NE(copy, original);
    EXPECT_EQ(original._nodes.back()._col, PalColor(1, 1, 1));
}

TEST(MzPalette, DiffersInEachOfItsFields) {
    MzPalette original;
    original.initDefault();
    const std::vector<void (*)(MzPalette&)> changes = {
        [](MzPalette& palette) { palette._cropMinInt = 1; },
        [](MzPalette& palette) { palette._cropMaxInt = 1; },
        [](MzPalette& palette) { palette._name = QStringLiteral("hot"); },
        [](MzPalette& palette) { palette._highSignalCol._r = 0.5F; },
        [](MzPalette& palette) { palette._lowSignalCol._b = 0.5F; },
        [](MzPalette& palette) { palette._saturationSignal = true; },
        [](MzPalette& palette) { palette._nodes.front()._val = 0.5F; },
        [](MzPalette& palette) { palette._nodes.front()._col._g = 0.5F; },
        [](MzPalette& palette) { palette._nodes.pop_back(); },
        [](MzPalette& palette) { palette._transfo = PTSIGMOID; },
    };
    for (size_t i = 0; i < changes.size(); ++i) {
        MzPalette changed = original;
        changes[i](changed);
        EXPECT_NE(changed, original) << i;
        EXPECT_NE(original, changed) << i;
    }
    EXPECT_NE(PalColor(1, 0, 0), PalColor(0, 0, 0));
    EXPECT_NE(PalColor(0, 1, 0), PalColor(0, 0, 0));
    EXPECT_NE(PalColor(0, 0, 1), PalColor(0, 0, 0));
}

TEST(MzPalette, NodesAreSqueezedIntoAPartOfTheRange) {
    MzPalette palette;
    for (const float value : {0.0F, 0.5F, 1.0F})
        palette._nodes.emplace_back(value, PalColor());
    palette.adjustNodeValues(0.25F, 0.75F);
    auto node = palette._nodes.begin();
    EXPECT_EQ((node++)->_val, 0.25F);
    EXPECT_EQ((node++)->_val, 0.5F);
    EXPECT_EQ((node++)->_val, 0.75F);
    EXPECT_EQ(palette._cropMinInt, MzPalette()._cropMinInt);
}

TEST(PalTransfer, IdentityHasNoFunction) {
    EXPECT_EQ(palTransfer(PTID), nullptr);
    EXPECT_EQ(palTransfer(static_cast<PalTransfoType>(17)), nullptr);
}

TEST(PalTransfer, RunsFromZeroToOneAndRises) {
    for (const PalTransfoType type : {PTGAMMA, PTSIGMOID}) {
        const PalTransfer transfer = palTransfer(type);
        ASSERT_NE(transfer, nullptr);
        EXPECT_NEAR(transfer(0.0F), 0.0F, 1e-6F);
        EXPECT_NEAR(transfer(1.0F), 1.0F, 1e-6F);
        for (int i = 1; i <= 1000; ++i)
            EXPECT_GE(transfer(static_cast<float>(i) / 1000),
                      transfer(static_cast<float>(i - 1) / 1000));
    }
}

TEST(PalTransfer, FollowsItsFormula) {
    const auto logistic = [](double x) { return 1 / (1 + std::exp(-10 * (x - 0.5))); };
    for (const double x : {0.0, 0.1, 0.25, 0.5, 0.9, 0.999}) {
        EXPECT_NEAR(palTransfer(PTGAMMA)(static_cast<float>(x)), std::pow(x, 1 / 2.2), 1e-6);
        EXPECT_NEAR(palTransfer(PTSIGMOID)(static_cast<float>(x)),
                    (logistic(x) - logistic(0)) / (logistic(1) - logistic(0)), 1e-6);
    }
}

}  // namespace
