#include "FlankPath.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace Korvane {

namespace {

constexpr std::size_t kCount = kProfileDirections;
constexpr std::size_t kLength = 31;
constexpr std::size_t kOrigin = 12;
constexpr double kStep = 0.5;

using Ridge = std::array<std::size_t, kCount>;

/// Profiles of one grey level, without any slope.
ProfileSet Flat() {
    ProfileSet profiles;
    profiles.step = kStep;
    profiles.length = kLength;
    profiles.origin = kOrigin;
    profiles.grey.assign(kCount * kLength, 1.0f);
    profiles.slope.assign(kCount * kLength, 0.0f);
    profiles.isSeen.assign(kCount * kLength, 1);
    return profiles;
}

float& Slope(ProfileSet& profiles, std::size_t direction, std::size_t sample) {
    return profiles.slope.at(direction * kLength + sample);
}

void AddRidge(ProfileSet& profiles, std::size_t sample, float slope) {
    for (std::size_t i = 0; i < kCount; ++i) Slope(profiles, i, sample) = slope;
}

ProfileSet WithRidge(const Ridge& ridge) {
    ProfileSet profiles = Flat();
    for (std::size_t i = 0; i < kCount; ++i) Slope(profiles, i, ridge[i]) = 1.0f;
    return profiles;
}

ProfileSet WithRidge(std::size_t sample) {
    Ridge ridge;
    ridge.fill(sample);
    return WithRidge(ridge);
}

TEST(FlankPath, LiesWhereTheSlopeIsSteepestUpToTheOutermostSamples) {
    for (std::size_t k = 1; k + 1 < kLength; ++k) {
        const FlankPath flank = FindInnerFlank(WithRidge(k));
        EXPECT_EQ(flank.sign, 1.0f);
        EXPECT_EQ(flank.measured, kProfileDirections) << k;
        for (std::size_t i = 0; i < kCount; ++i) {
            EXPECT_TRUE(flank.isMeasured[i]);
            EXPECT_EQ(flank.place[i], (static_cast<double>(k) - static_cast<double>(kOrigin)) * kStep);
        }
    }
}

TEST(FlankPath, LiesAtTheVertexOfTheParabolaThroughTheSteepestSamples) {
    ProfileSet profiles = WithRidge(14);
    AddRidge(profiles, 13, 0.5f);
    AddRidge(profiles, 15, 0.75f);
    const FlankPath flank = FindInnerFlank(profiles);
    // -3/8 x² + x/8 + 1 has these values at -1, 0 and 1, and its vertex at 1/6.
    for (const double place : flank.place) EXPECT_NEAR(place, kStep * (2.0 + 1.0 / 6.0), 1e-12);
}

TEST(FlankPath, OfEqualOnesIsTheSmallerPlace) {
    ProfileSet profiles = WithRidge(8);
    AddRidge(profiles, 20, 1.0f);
    for (const double place : FindInnerFlank(profiles).place) EXPECT_EQ(place, -4.0 * kStep);
}

TEST(FlankPath, FollowsAnOutlineThatIsNotRoundWhereverItBegins) {
    for (std::size_t turn = 0; turn < kCount; ++turn) {
        Ridge ridge;
        for (std::size_t i = 0; i < kCount; ++i) {
            const double angle = 2.0 * 3.141592653589793 * static_cast<double>(i + turn) / static_cast<double>(kCount);
            ridge[i] = static_cast<std::size_t>(std::lround(15.0 + 6.0 * std::sin(2.0 * angle)));
        }
        const FlankPath flank = FindInnerFlank(WithRidge(ridge));
        ASSERT_EQ(flank.measured, kProfileDirections) << turn;
        for (std::size_t i = 0; i < kCount; ++i) {
            ASSERT_EQ(flank.place[i], (static_cast<double>(ridge[i]) - static_cast<double>(kOrigin)) * kStep) << turn;
        }
    }
}

TEST(FlankPath, JumpsByTwoSamplesBetweenDirectionsAndNotByThree) {
    for (const std::size_t jump : {1u, 2u, 3u}) {
        Ridge ridge;
        for (std::size_t i = 0; i < kCount; ++i) ridge[i] = i % 2 == 0 ? 10 : 10 + jump;
        const FlankPath flank = FindInnerFlank(WithRidge(ridge));
        EXPECT_EQ(flank.measured, jump <= 2 ? kProfileDirections : kProfileDirections / 2) << jump;
    }
}

TEST(FlankPath, LeavesARidgeOnlyForWhatIsWorthTheJumps) {
    // There and back: two jumps of a twentieth of the steepest slope each, four times that for two samples.
    for (const int away : {1, -1, 2, -2}) {
        const double cost = 2.0 * 0.05 * away * away;
        for (const double gain : {cost - 0.01, cost + 0.01}) {
            ProfileSet profiles = Flat();
            AddRidge(profiles, 14, static_cast<float>(1.0 - gain));
            const std::size_t aside = static_cast<std::size_t>(14 + away);
            Slope(profiles, 40, aside) = 1.0f;
            // Measured only if the path leaves the ridge.
            profiles.isSeen[40 * kLength + 14] = 0;
            EXPECT_EQ(FindInnerFlank(profiles).isMeasured[40], gain > cost) << away << ' ' << gain;
        }
    }
}

TEST(FlankPath, IsTheInnerFlankFromAThirdOfTheOuterOnesSlope) {
    for (const float sign : {1.0f, -1.0f}) {
        for (const float inner : {0.99f, 1.0f, 1.01f}) {
            ProfileSet profiles = Flat();
            AddRidge(profiles, 10, sign * inner);
            AddRidge(profiles, 20, -3.0f * sign);
            const FlankPath flank = FindInnerFlank(profiles);
            EXPECT_EQ(flank.sign, inner >= 1.0f ? sign : -sign);
            EXPECT_EQ(flank.place[0], (inner >= 1.0f ? -2.0 : 8.0) * kStep);
            EXPECT_EQ(flank.measured, kProfileDirections);
        }
    }
}

TEST(FlankPath, IsNotMeasuredWhereItIsFarWeakerThanElsewhereOrUnseen) {
    ProfileSet profiles = WithRidge(14);
    Slope(profiles, 5, 14) = 0.21f;
    Slope(profiles, 9, 14) = 0.19f;
    profiles.isSeen[20 * kLength + 14] = 0;
    const FlankPath flank = FindInnerFlank(profiles);
    EXPECT_EQ(flank.measured, kProfileDirections - 2);
    for (std::size_t i = 0; i < kCount; ++i) EXPECT_EQ(flank.isMeasured[i], i != 9 && i != 20) << i;
}

TEST(FlankPath, RunsStraightBetweenMeasuredDirections) {
    for (std::size_t first = 0; first < kCount; ++first) {
        // Four samples outwards over five directions without a flank, then one by one back.
        ProfileSet profiles = Flat();
        for (std::size_t i = 0; i < kCount; ++i) {
            const std::size_t sample = i < 6 ? 14 : i < 10 ? 13 - (i - 6) : 10;
            if (i == 0 || i > 5) Slope(profiles, (first + i) % kCount, sample) = 1.0f;
        }
        for (std::size_t i = 1; i < 6; ++i) {
            for (std::size_t k = 0; k < kLength; ++k) profiles.isSeen[(first + i) % kCount * kLength + k] = 0;
        }
        Slope(profiles, first, 14) = 0.0f;
        Slope(profiles, first, 10) = 1.0f;
        const FlankPath flank = FindInnerFlank(profiles);
        ASSERT_EQ(flank.measured, kProfileDirections - 5) << first;
        for (std::size_t i = 0; i <= 6; ++i) {
            EXPECT_NEAR(flank.place[(first + i) % kCount], kStep * (-2.0 + 0.5 * static_cast<double>(i)), 1e-12);
        }
    }
}

TEST(FlankPath, IsNoneInTheRoundingOfTheGreyLevels) {
    for (const float grey : {1024.0f, -1024.0f}) {
        ProfileSet profiles = Flat();
        std::fill(profiles.grey.begin(), profiles.grey.end(), grey);
        AddRidge(profiles, 14, 1.0e-6f * 1024.0f);
        EXPECT_EQ(FindInnerFlank(profiles).sign, 0.0f);
        EXPECT_EQ(FindInnerFlank(profiles).measured, 0);
        AddRidge(profiles, 14, 1.01e-6f * 1024.0f);
        EXPECT_EQ(FindInnerFlank(profiles).measured, kProfileDirections);
    }
    EXPECT_EQ(FindInnerFlank(Flat()).sign, 0.0f);
}

}  // namespace

}  // namespace Korvane
