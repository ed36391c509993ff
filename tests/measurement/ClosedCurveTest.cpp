#include "ClosedCurve.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

namespace Korvane {

namespace {

void ExpectCurve(const ClosedCurve& found, const ClosedCurve& wanted) {
    ASSERT_EQ(found.size(), wanted.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        EXPECT_NEAR(found[i].x, wanted[i].x, 1e-12) << i;
        EXPECT_NEAR(found[i].y, wanted[i].y, 1e-12) << i;
    }
}

// 12 long in all; the last side leads back to the first corner.
const ClosedCurve kRectangle{{1.0, 2.0}, {5.0, 2.0}, {5.0, 4.0}, {1.0, 4.0}};

TEST(ResampledCurve, HasPointsAtEqualDistancesAlongAllSides) {
    ExpectCurve(Resampled(kRectangle, 12),
                {{1, 2}, {2, 2}, {3, 2}, {4, 2}, {5, 2}, {5, 3}, {5, 4}, {4, 4}, {3, 4}, {2, 4}, {1, 4}, {1, 3}});
    ExpectCurve(Resampled(kRectangle, 8), {{1, 2}, {2.5, 2}, {4, 2}, {5, 2.5}, {5, 4}, {3.5, 4}, {2, 4}, {1, 3.5}});
}

TEST(ResampledCurve, PassesOverCornersThatStandTwice) {
    ClosedCurve twice;
    for (const CurvePoint& corner : kRectangle) twice.insert(twice.end(), 2, corner);
    ExpectCurve(Resampled(twice, 12), Resampled(kRectangle, 12));
}

TEST(SignedArea, IsPositiveWhereXTurnsTowardsY) {
    EXPECT_DOUBLE_EQ(SignedArea(kRectangle), 8.0);
    EXPECT_DOUBLE_EQ(SignedArea(ClosedCurve(kRectangle.rbegin(), kRectangle.rend())), -8.0);
}

}  // namespace

}  // namespace Korvane
