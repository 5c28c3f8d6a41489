#include <algorithm>
#include <type_traits>

#include <gtest/gtest.h>

#include <tests/mlc/positions.h>
#include <trelis/foundation/diagnostics.h>
#include <trelis/mlc/mlc_error.h>
#include <trelis/mlc/tandem.h>

namespace {

using namespace NMLC;

TEST(LeafPositionPair, RoundsHalvesUpAndPushesTheOtherLeaf) {
    LeafPositions positions = positionsAt({{1.234F, 2.0049F}, {-1.234F, -0.125F}, {0, 5}, {0, 5}});
    positions.GetLeafPair(2).PushToPosition(Bank::Right, -10);
    positions.GetLeafPair(3).PushToPosition(Bank::Left, 7.005F);
    EXPECT_EQ(tipsOf(positions), (Tips{{1.23F, 2}, {-1.23F, -0.12F}, {-10, -10}, {7.01F, 7.01F}}));
}

TEST(LeafPositionPair, JudgesGapsWithItsTolerances) {
    const auto pair = [](float right) { return positionsAt({{0, right}}).GetLeafPair(0); };
    EXPECT_TRUE(pair(0.004F).IsClosed() && pair(0.004F) == pair(0));
    EXPECT_FALSE(pair(0.006F).IsClosed() || pair(-0.006F).IsClosed() || pair(0.006F) == pair(0));
    EXPECT_TRUE(pair(0.5F).IsClosed(0.5) && pair(0.5F).HasGap(0.5) && !pair(0.49F).HasGap(0.5));
    EXPECT_FALSE(pair(0.52F).IsClosed(0.5) || pair(-0.52F).IsClosed(0.5));
    EXPECT_TRUE(pair(-0.01F).HasCollision() && !pair(0).HasCollision());
}

TEST(LeafPositions, KeepWhatAResizeLeavesAndTraceOneLinePerPair) {
    static std::wstring traced;
    LeafPositions positions = positionsAt({{-12.5F, 100}});
    positions.Resize(2);
    SetDebugOutput([](const wchar_t* message) { traced += message; });
    positions.trace();
    SetDebugOutput(nullptr);
    EXPECT_EQ(traced,
              L">>> >>>>>>>>>>>> >>>>>>>>>>>>\n"
              L"  0   -12.500000   100.000000\n"
              L"  1     0.000000     0.000000\n"
              L"<<< <<<<<<<<<<<< <<<<<<<<<<<<\n");
    EXPECT_FALSE(positions.IsClosed() || positions == positionsAt({{-12.5F, 100}}));
    EXPECT_TRUE(LeafPositions().IsClosed());
}

static_assert(!std::is_move_constructible_v<LeafConfiguration>);

TEST(LeafConfiguration, ScalesLimitsAndSpansAlsoAfterAResizeAndMapsItsFrameToTheBeam) {
    LeafConfiguration configuration(2, MLCType::Type3, 0.5F, false);
    configuration.SetMaxLeafSpan(Bank::Left, 150);
    configuration.ResizeLeafPairs(1000);
    configuration.GetLeafPair(999).GetLeaf(Bank::Left).unscaledMinimum = -5;
    configuration.SetScaler(2);
    EXPECT_EQ(configuration.GetLeafPair(999).GetLeaf(Bank::Left).GetMinPlanPosition(), -10);
    EXPECT_EQ(configuration.GetMaxLeafSpan(Bank::Left), 300);
    EXPECT_EQ(configuration.GetMaxLeafSpanUnscaled(Bank::Left), 150);
    EXPECT_EQ(configuration.GetMaxLeafExposure(Bank::Left), 10000);
    for (const bool alongY : {false, true, false}) {
        EXPECT_NEAR_VECTOR(configuration.GetMLCToBeamTransform().Transform({3, 4, 5}),
                           alongY ? Vector(4, -3, 5) : Vector(3, -4, 5), 1e-12);
        configuration.SetParallelWithYJaws(!alongY);
    }
}

TEST(LeafConfiguration, DerivesTheLayersOfTheDualLayerFamilyOnce) {
    LeafConfiguration parent(57, MLCType::Tandem1, 0.5F, false);
    parent.GetLeafPair(56) = {10, 7, {}};
    const LeafConfiguration& fine = *parent.Get5mmLeafConfiguration();
    const LeafConfiguration& proximal = *parent.GetProximalLeafConfiguration();
    EXPECT_EQ(parent.Get5mmLeafConfiguration(), &fine);
    EXPECT_TRUE(fine.GetMinimumLeafGap() == 0.5F && proximal.GetMinimumLeafGap() == 0);
    EXPECT_TRUE(fine.GetLeafPairCount() == 56 && proximal.GetLeafPairCount() == 29);
    EXPECT_EQ(fine.GetLeafPair(0).GetLowerEdge(), -140);
    EXPECT_EQ(fine.GetLeafPair(55).GetUpperEdge(), 140);
    EXPECT_EQ(fine.GetLeafPair(55).GetLeaf(Bank::Left).GetMinPlanPosition(), -140);
    EXPECT_EQ(proximal.GetLeafPair(28).GetUpperEdge(), 13.5);
    EXPECT_EQ(fine.Get5mmLeafConfiguration(), nullptr);
}

static_assert(Error(ErrorType{16}, 6, Bank::Right, 7).jaw == OffendingJaw::NoJaw &&
              Error(ErrorType{16}, OffendingJaw::Y1, 5).segment == 5);

using Tip = Tips::value_type;

bool isClosed(const Tip& tip) { return tip.first == tip.second; }

Tip unionOf(const Tip& a, const Tip& b) {
    return {std::min(a.first, b.first), std::max(a.second, b.second)};
}

TEST(Tandem, LayersCoverTheOpenStripsAndLetPassWhatBothLeaveOpen) {
    Random random(74);
    for (int run = 0; run < 80; ++run) {
        Tips strips(56);
        for (auto& [left, right] : strips) {
            left = static_cast<float>(random.integer(-80, 80));
            right = left + static_cast<float>(std::max(random.integer(-60, 120), 0));
        }
        LeafPositions layers = positionsAt(strips);
        Tandem::Convert5mmLeavesToTwoLevels(layers, run % 2 == 0, layers);
        LeafPositions part;
        Tandem::GetDistalLeafPositions(layers, part);
        const Tips distal = tipsOf(part);
        Tandem::GetProximalLeafPositions(layers, part);
        const Tips proximal = tipsOf(part);
        for (std::size_t place = 0; place < 57; ++place) {
            const std::size_t i = place / 2;
            const Tip& a = strips[place == 0 ? 0 : place - 1];
            const Tip& b = strips[place == 56 ? 55 : place];
            Tip expected = isClosed(b) ? a : isClosed(a) ? b : unionOf(a, b);
            if (place % 2 == 0 && run % 2 == 1) {
                const std::size_t upper = std::clamp<std::size_t>(i, 1, 27);
                expected = unionOf(distal[i == 28 ? 27 : upper - 1], distal[upper]);
            }
            EXPECT_EQ(place % 2 == 0 ? proximal[i] : distal[i], expected) << run << " " << place;
        }
        Tandem::ConvertTwoLevelsTo5mmLeaves(layers, part);
        bool hasOpening[57] = {};
        for (std::size_t strip = 0; strip < 56; ++strip) {
            const std::size_t pairs[] = {strip / 2, (strip + 1) / 2};
            const float left = std::max(distal[pairs[0]].first, proximal[pairs[1]].first);
            const float right = std::min(distal[pairs[0]].second, proximal[pairs[1]].second);
            const float middle = (left + right) / 2;
            EXPECT_EQ(tipsOf(part)[strip], left > right ? Tip(middle, middle) : Tip(left, right));
            hasOpening[pairs[0]] |= left < right;
            hasOpening[28 + pairs[1]] |= left < right;
        }
        for (int i = 0; i < 57; ++i) {
            const LeafConfiguration configuration(57, MLCType::Tandem2, 0.5F, true);
            EXPECT_EQ(Tandem::HasOpening(configuration, layers, i), hasOpening[i]) << run;
        }
    }
}

TEST(Tandem, BeamNeedsOpeningsThatOverlapInBothLayers) {
    const LeafConfiguration configuration(57, MLCType::Tandem1, 0.5F, true);
    const struct {
        std::pair<float, float> distal, lower, upper;
        bool open;
    } cases[] = {{{0, 10}, {-10, 0}, {-10, 0}, false},
                 {{0, 10}, {-10, 0}, {-10, 1}, true},
                 {{0, 10}, {10, 12}, {0, 0.51F}, false},
                 {{0, 0.51F}, {-10, 10}, {-10, 10}, false},
                 {{0, 0.52F}, {-10, 10}, {-10, 10}, true}};
    for (const auto& c : cases) {
        Tips tips(57);
        tips[0] = c.distal;
        tips[28] = c.lower;
        tips[29] = c.upper;
        EXPECT_EQ(Tandem::HasOpening(configuration, positionsAt(tips), 0), c.open);
    }
}

TEST(Tandem, PairsOfTheTwoLayersOverlapByHalf) {
    const std::pair<int, std::vector<int>> cases[] = {
        {0, {28, 29}}, {28, {0}}, {30, {1, 2}}, {56, {27}}, {57, {}}};
    std::vector<int> overlapping{99};
    for (const auto& [pair, expected] : cases) {
        Tandem::GetOverlappingLeafPairs(pair, overlapping);
        EXPECT_EQ(overlapping, expected);
        EXPECT_EQ(Tandem::IsDistal(pair), pair <= Tandem::s_distalLeafPairs[27]);
        EXPECT_EQ(Tandem::IsProximal(pair), !Tandem::IsDistal(pair) && !expected.empty());
    }
}

}  // namespace
