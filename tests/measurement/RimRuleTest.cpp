#include "RimRule.h"

#include <gtest/gtest.h>

#include <cmath>

namespace Korvane {

namespace {

constexpr std::size_t kLength = 101;
constexpr std::size_t kOrigin = 40;
constexpr double kStep = 0.5;
// An outline so large that its curvature moves nothing.
constexpr double kRadius = 1e9;

/// The same profile in every direction, with the flank at a place between samples.
template <typename Grey>
RimEstimate Estimate(double flankPlace, Grey greyFromFlank, float sign = 1.0f) {
    ProfileSet profiles;
    profiles.radius = kRadius;
    profiles.step = kStep;
    profiles.smoothing = 1.0;
    profiles.length = kLength;
    profiles.origin = kOrigin;
    for (int i = 0; i < kProfileDirections; ++i) {
        for (std::size_t k = 0; k < kLength; ++k) {
            profiles.grey.push_back(static_cast<float>(greyFromFlank(profiles.Place(k) - flankPlace)));
        }
    }
    profiles.slope.assign(profiles.grey.size(), 0.0f);
    profiles.isSeen.assign(profiles.grey.size(), 1);
    FlankPath flank;
    flank.sign = sign;
    flank.place.fill(flankPlace);
    flank.isMeasured.fill(true);
    flank.measured = kProfileDirections;
    return EstimateRim(profiles, flank);
}

TEST(RimRule, ARimAsHighOnBothSidesHasItsMiddleAtItsPeak) {
    for (const double sigma : {2.0, 2.3, 2.9}) {
        for (int i = 0; i < 10; ++i) {
            // The flanks of a Gaussian are steepest a sigma beside its peak.
            const auto bump = [sigma](double place) {
                const double x = (place - sigma) / sigma;
                return 10.0 + 4.0 * std::exp(-0.5 * x * x);
            };
            const RimEstimate rim = Estimate(0.05 * i, bump);
            EXPECT_EQ(rim.kind, RimKind::kRim);
            EXPECT_NEAR(rim.rim, sigma, 0.06) << sigma << ' ' << i;
            EXPECT_NEAR(rim.top, 14.0, 0.1);
            EXPECT_NEAR(rim.background, 10.0, 0.3);
            const RimEstimate dark = Estimate(
                0.05 * i, [&bump](double place) { return -bump(place); }, -1.0f);
            EXPECT_EQ(dark.kind, RimKind::kRim);
            EXPECT_EQ(dark.rim, rim.rim);
            EXPECT_EQ(dark.top, -rim.top);
        }
    }
}

TEST(RimRule, AnEdgeIsAtTheHalfHeightBetweenItsPlateaus) {
    for (const double sigma : {1.5, 2.0, 3.0}) {
        const auto edge = [sigma](double place) { return 5.0 + 2.0 * std::erf(place / sigma / std::sqrt(2.0)); };
        const RimEstimate found = Estimate(0.2, edge);
        EXPECT_EQ(found.kind, RimKind::kEdge);
        EXPECT_NEAR(found.rim, 0.0, 0.01);
        EXPECT_NEAR(found.background, 7.0, 0.05);
        EXPECT_EQ(found.top, found.background);
        EXPECT_NEAR(found.inner, 3.0, 0.2);
    }
}

TEST(RimRule, WithoutAFlankNothingIsFound) {
    EXPECT_EQ(Estimate(
                  0.0, [](double place) { return place; }, 0.0f)
                  .kind,
              RimKind::kNone);
    EXPECT_EQ(Estimate(0.0, [](double) { return 3.0; }).kind, RimKind::kNone);
}

TEST(MeanProfile, IsLinearBetweenSamplesAndEvenBeyondThem) {
    const MeanProfile profile{0.5, 1, {2.0, 4.0, 10.0}};
    EXPECT_EQ(profile.At(-0.5), 2.0);
    EXPECT_EQ(profile.At(-0.25), 3.0);
    EXPECT_EQ(profile.At(0.0), 4.0);
    EXPECT_EQ(profile.At(0.125), 5.5);
    EXPECT_EQ(profile.At(0.5), 10.0);
    EXPECT_EQ(profile.At(-7.0), 2.0);
    EXPECT_EQ(profile.At(7.0), 10.0);
    EXPECT_EQ(profile.MeanOver(-0.5, 0.0), 3.0);
    EXPECT_EQ(profile.MeanOver(-0.4, 0.5), 7.0);
    EXPECT_EQ(profile.MeanOver(0.1, 0.2), profile.At(0.1));
}

}  // namespace

}  // namespace Korvane
