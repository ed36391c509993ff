#include "LabelOutline.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <set>
#include <utility>

#include "support/Random.h"
#include "support/TestImages.h"

namespace Korvane {

namespace {

std::vector<OutlinePolygon> Outlines(const qvox::LabelImage& labels) {
    return OutlinesOf(labels, LabelExtents(labels).at(0));
}

double AreaOf(const OutlinePolygon& polygon) {
    double area = SignedArea(polygon.exterior);
    for (const ClosedCurve& hole : polygon.holes) area += SignedArea(hole);
    return area;
}

using Corners = std::vector<std::pair<double, double>>;

Corners CornersOf(const ClosedCurve& curve) {
    Corners corners;
    for (const CurvePoint& point : curve) corners.emplace_back(point.x, point.y);
    return corners;
}

TEST(LabelOutline, OfAPixelIsItsSquare) {
    const auto polygons = Outlines(korvane_test::Draw<std::uint16_t>({"...", "..3"}));
    ASSERT_EQ(polygons.size(), 1u);
    EXPECT_EQ(CornersOf(polygons[0].exterior), (Corners{{1.5, 0.5}, {2.5, 0.5}, {2.5, 1.5}, {1.5, 1.5}}));
    EXPECT_TRUE(polygons[0].holes.empty());
}

TEST(LabelOutline, HasCornersOnlyWhereItTurns) {
    const auto polygons = Outlines(korvane_test::Draw<std::uint16_t>({"333", "3..", "3.."}));
    ASSERT_EQ(polygons.size(), 1u);
    EXPECT_EQ(CornersOf(polygons[0].exterior),
              (Corners{{-0.5, -0.5}, {2.5, -0.5}, {2.5, 0.5}, {0.5, 0.5}, {0.5, 2.5}, {-0.5, 2.5}}));
}

TEST(LabelOutline, GoesRoundHolesTheOtherWay) {
    const auto polygons = Outlines(korvane_test::Draw<std::uint16_t>({"333", "3.3", "333"}));
    ASSERT_EQ(polygons.size(), 1u);
    ASSERT_EQ(polygons[0].holes.size(), 1u);
    EXPECT_DOUBLE_EQ(SignedArea(polygons[0].exterior), 9.0);
    EXPECT_DOUBLE_EQ(SignedArea(polygons[0].holes[0]), -1.0);
}

TEST(LabelOutline, PartsAtACornerAndKeepsTheHoleThatTouchesItsExterior) {
    EXPECT_EQ(Outlines(korvane_test::Draw<std::uint16_t>({"3.", ".3"})).size(), 2u);
    const auto polygons = Outlines(korvane_test::Draw<std::uint16_t>({"333", "3.3", "33."}));
    ASSERT_EQ(polygons.size(), 1u);
    ASSERT_EQ(polygons[0].holes.size(), 1u);
    EXPECT_DOUBLE_EQ(AreaOf(polygons[0]), 7.0);
}

TEST(LabelOutline, GivesAnIslandInAHoleItsOwnPolygon) {
    const auto polygons = Outlines(korvane_test::Draw<std::uint16_t>({"33333", "3...3", "3.3.3", "3...3", "33333"}));
    ASSERT_EQ(polygons.size(), 2u);
    EXPECT_DOUBLE_EQ(AreaOf(polygons[0]), 16.0);
    EXPECT_DOUBLE_EQ(AreaOf(polygons[1]), 1.0);
    EXPECT_TRUE(polygons[1].holes.empty());
}

TEST(LabelOutline, LeavesOtherLabelsOut) {
    const auto polygons = Outlines(korvane_test::Draw<std::uint16_t>({"393", "333"}));
    ASSERT_EQ(polygons.size(), 1u);
    EXPECT_DOUBLE_EQ(AreaOf(polygons[0]), 5.0);
}

void ExpectSimple(const ClosedCurve& ring) {
    std::set<std::pair<double, double>> seen;
    for (const CurvePoint& point : ring) EXPECT_TRUE(seen.insert({point.x, point.y}).second);
}

double Flood(qvox::LabelImage& labels, std::uint64_t x, std::uint64_t y) {
    // Also false left of and above the image: the numbers wrap around.
    if (x >= labels.SizeX() || y >= labels.SizeY() || labels(x, y) == 0) return 0.0;
    labels(x, y) = 0;
    return 1.0 + Flood(labels, x + 1, y) + Flood(labels, x - 1, y) + Flood(labels, x, y + 1) + Flood(labels, x, y - 1);
}

/// How many pixels the parts have that are connected along sides.
std::multiset<double> PartSizes(qvox::LabelImage labels) {
    std::multiset<double> sizes;
    for (std::uint64_t y = 0; y < labels.SizeY(); ++y) {
        for (std::uint64_t x = 0; x < labels.SizeX(); ++x) {
            if (labels(x, y) != 0) sizes.insert(Flood(labels, x, y));
        }
    }
    return sizes;
}

TEST(LabelOutline, OfRandomLabelsHasAPolygonForEachPartWithItsArea) {
    std::mt19937 random(3);
    for (int trial = 0; trial < 600; ++trial) {
        qvox::LabelImage labels;
        labels.Resize(static_cast<std::uint64_t>(korvane_test::UniformInt(random, 1, 12)),
                      static_cast<std::uint64_t>(korvane_test::UniformInt(random, 1, 12)), 1);
        const double density = 0.3 + 0.6 * korvane_test::UniformDouble(random);
        for (std::uint16_t& label : labels) label = korvane_test::UniformDouble(random) < density ? 4 : 0;
        labels[0] = 4;
        std::multiset<double> found;
        for (const OutlinePolygon& polygon : Outlines(labels)) {
            ExpectSimple(polygon.exterior);
            for (const ClosedCurve& hole : polygon.holes) ExpectSimple(hole);
            found.insert(AreaOf(polygon));
        }
        ASSERT_EQ(found, PartSizes(labels)) << "trial " << trial;
    }
}

}  // namespace

}  // namespace Korvane
