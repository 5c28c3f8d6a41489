#include <trelis/volume_image/detail/plane_placement.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <tuple>

#include <tests/support/vectors.h>
#include <trelis/foundation/detail/parallel.h>

namespace {

using namespace trelis::VolumeImage::detail;
using PlaneSetup = trelis::VolumeImage::ImageCreator::PlaneSetup;
using Planes = std::vector<double>;

PlaneSetup analyzeByTheRules(const Planes& p, double binding, double s) {
    PlaneSetup setup{0, 0, s, binding, 0.0};
    const auto count = [&setup, &p](double d) {
        Planes matches;
        std::copy_if(p.begin(), p.end(), std::back_inserter(matches),
                     [d](double plane) { return std::abs(d - plane) < 0.1; });
        ++(matches.empty() ? setup.interpolatedPlaneCount : setup.realPlaneCount);
        if (!matches.empty()) {
            const bool fromEnd = p.back() - d <= d - p[0];
            setup.deviation += std::abs(d - (fromEnd ? matches.back() : matches[0]));
        }
    };
    for (double d = binding; d < p.back() || std::abs(d - p.back()) < 0.1; d += s) {
        count(d);
    }
    for (double d = binding - s; d > p[0] || std::abs(d - p[0]) < 0.1; d -= s) {
        count(d);
    }
    return setup;
}

PlaneSetup chooseByTheRules(const Planes& p, const std::vector<double>& candidates) {
    PlaneSetup best{10000, 0, 0.0, 0.0, 0.0};
    for (const double s : candidates) {
        const bool isTried = 2 * static_cast<double>(p.size()) > (p.back() - p[0]) / s;
        for (std::size_t i = 0; isTried && i < p.size(); ++i) {
            const PlaneSetup r = analyzeByTheRules(p, p[i], s);
            const bool isBetter =
                std::tie(best.realPlaneCount, r.interpolatedPlaneCount, r.deviation) <
                std::tie(r.realPlaneCount, best.interpolatedPlaneCount, best.deviation);
            best = isBetter && r.interpolatedPlaneCount <= p.size() ? r : best;
        }
    }
    return best;
}

TEST(PlanePlacement, FollowsTheRulesOnRandomStacks) {
    EXPECT_EQ(planeSeparationCandidates({0, 2, 4, 7, 9}), (Planes{2, 3}));
    EXPECT_EQ(planeSeparationCandidates({0, 2.00004, 4.0001}), (Planes{2, 20001 * 0.0001}));
    for (unsigned i = 0; i < 400; ++i) {
        Random random(i);
        const double base = i % 4 == 2 ? 0.1 * random.integer(1, 4) : random.number(0.3, 5);
        Planes planes{random.number(-1000, 1000)};
        for (int k = random.integer(1, 30); k > 0; --k) {
            const double steps[] = {base * random.integer(1, 3), base + random.number(-0.2, 0.2),
                                    0.1 * random.integer(1, 3), base * random.number(0.9, 1.3)};
            planes.push_back(planes.back() + std::max(0.1, steps[i % 4]));
        }
        planes = i == 0 ? Planes{0, 2, 4, 7, 9} : planes;
        const auto candidates = planeSeparationCandidates(planes);
        const trelis::detail::ScopedThreadCount threads(i % 8 < 4 ? 1 : 7);
        const PlaneSetup simple{0, planes.size(), candidates[0], planes[0], 0.0};
        ASSERT_TRUE(findPlanePositions(planes, candidates) ==
                    (candidates.size() == 1 ? simple : chooseByTheRules(planes, candidates)))
            << "stack " << i;
    }
}

}  // namespace
