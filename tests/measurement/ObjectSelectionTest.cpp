#include "ObjectSelection.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace Korvane {

namespace {

/// Area 12 nm^2, so a diameter of 3.909 nm; roundness 0.839; no rim.
ObjectMeasures Object() {
    ObjectMeasures object;
    object.areaNm2 = 12.0;
    object.perimeterNm = 13.4;
    object.hull.feretMaxNm = 5.0;
    object.hull.feretMinNm = 3.0;
    return object;
}

TEST(ObjectSelection, CountsEverythingUnlessTold) {
    const ObjectSelection all;
    EXPECT_FALSE(all.LeavesOut());
    EXPECT_EQ(WhyNotCounted(all, Object()), "");
    ObjectMeasures cut = Object();
    cut.touchesEdge = true;
    EXPECT_EQ(WhyNotCounted(all, cut), "");
}

TEST(ObjectSelection, LeavesOutDiametersBeyondTheLimits) {
    ObjectSelection selection;
    selection.minDiameterNm = 3.91;
    EXPECT_TRUE(selection.LeavesOut());
    EXPECT_EQ(WhyNotCounted(selection, Object()), "too small");
    selection.minDiameterNm = 3.90;
    EXPECT_EQ(WhyNotCounted(selection, Object()), "");
    selection.maxDiameterNm = 3.90;
    EXPECT_EQ(WhyNotCounted(selection, Object()), "too large");
}

TEST(ObjectSelection, GoesByTheDiameterThatIsChosenAndCountsItsLimits) {
    ObjectSelection selection;
    selection.diameter = "feret_max_nm";
    selection.minDiameterNm = 5.0;
    selection.maxDiameterNm = 5.0;
    EXPECT_EQ(WhyNotCounted(selection, Object()), "");
    selection.diameter = "feret_min_nm";
    EXPECT_EQ(WhyNotCounted(selection, Object()), "too small");
}

TEST(ObjectSelection, DoesNotCountWhatWasFilledByMoreThanATenthUnlessTold) {
    ObjectSelection selection;
    ObjectMeasures object = Object();
    object.filledShare = 0.1;
    EXPECT_EQ(WhyNotCounted(selection, object), "");
    object.filledShare = 0.1001;
    EXPECT_FALSE(selection.LeavesOut());
    EXPECT_EQ(WhyNotCounted(selection, object), "filled");
    selection.filled = FilledObjects::kCounted;
    EXPECT_EQ(WhyNotCounted(selection, object), "");
}

TEST(ObjectSelection, DoesNotCountWhatWasNotMeasured) {
    ObjectSelection selection;
    selection.diameter = "rim_diameter_nm";
    EXPECT_TRUE(selection.LeavesOut());
    EXPECT_EQ(WhyNotCounted(selection, Object()), "not measured");
    ObjectMeasures measured = Object();
    measured.edge.rimDiameterNm = 4.0;
    EXPECT_EQ(WhyNotCounted(selection, measured), "");
    selection.minDiameterNm = 4.5;
    EXPECT_EQ(WhyNotCounted(selection, measured), "too small");
}

TEST(ObjectSelection, NamesEveryReason) {
    ObjectSelection selection;
    selection.minDiameterNm = 10.0;
    selection.minRoundness = 0.85;
    selection.atEdge = ObjectsAtEdge::kLeftOut;
    ObjectMeasures object = Object();
    EXPECT_EQ(WhyNotCounted(selection, object), "too small; not round");
    object.touchesEdge = true;
    EXPECT_EQ(WhyNotCounted(selection, object), "too small; not round; at the edge");
    selection.minRoundness = 0.83;
    EXPECT_EQ(WhyNotCounted(selection, object), "too small; at the edge");
}

TEST(ObjectSelection, GoesByColumnsThatHaveNumbers) {
    for (const std::string& name : SelectableDiameters()) {
        const auto& columns = ObjectColumns();
        const auto found = std::find_if(columns.begin(), columns.end(), [&](const auto& c) { return c.name == name; });
        ASSERT_NE(found, columns.end()) << name;
        EXPECT_NE(found->value, nullptr) << name;
        EXPECT_STREQ(found->unit, "nm") << name;
    }
}

}  // namespace

}  // namespace Korvane
