#include "MeasuredObject.h"

#include <gtest/gtest.h>

#include "operations/Labelling.h"
#include "operations/Shape.h"
#include "support/TestImages.h"

namespace {

using Korvane::MeasuredObject;
using Korvane::MeasureObjects;

TEST(MeasureObjects, TellsThePerimeterAndAreaThatTheToolkitEstimates) {
    qvox::LabelImage labels = korvane_test::Draw<std::uint16_t>({".77.", "7777", ".77."});
    labels.SetResolution({500.0f, 250.0f, 0.0f});
    qvox::ComponentImage components;
    qvox::LabelForegroundRegions(components, labels, qvox::Neighbourhood8());
    const std::vector<MeasuredObject> objects = MeasureObjects(labels);
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(objects[0].label, 7);
    EXPECT_DOUBLE_EQ(objects[0].areaNm2, 8 * 2.0 * 4.0);
    EXPECT_EQ(objects[0].perimeterNm, qvox::EstimateShape(components, 1, qvox::ShapeMeasure::kPerimeter) * 1000.0);
}

TEST(MeasureObjects, ListsPiecesInRasterOrderWithTheirLabel) {
    const std::vector<MeasuredObject> objects =
        MeasureObjects(korvane_test::Draw<std::uint16_t>({".9..2", "9...2", ".....", "2...."}));
    ASSERT_EQ(objects.size(), 3u);
    EXPECT_EQ(objects[0].label, 9);
    EXPECT_EQ(objects[1].label, 2);
    EXPECT_EQ(objects[2].label, 2);
    EXPECT_DOUBLE_EQ(objects[2].areaNm2, 1000000.0);  // no resolution: 1 pixel per micrometre
}

TEST(MeasureObjects, NothingIsMeasuredWhereNothingIs) {
    EXPECT_TRUE(MeasureObjects(qvox::LabelImage()).empty());
    EXPECT_TRUE(MeasureObjects(korvane_test::Draw<std::uint16_t>({"..", ".."})).empty());
}

}  // namespace
