#include "ObjectMeasures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>
#include <set>
#include <string>

#include "operations/Shape.h"
#include "support/Shapes.h"
#include "support/TestData.h"
#include "support/TestImages.h"

namespace {

using namespace Korvane;

qvox::VoxelImage<float> GreyFor(const qvox::LabelImage& labels) {
    qvox::VoxelImage<float> image;
    image.Resize(labels.SizeX(), labels.SizeY(), 1);
    for (std::uint64_t i = 0; i < image.VoxelCount(); ++i) image[i] = static_cast<float>(i);
    return image;
}

std::vector<ObjectMeasures> Measure(qvox::LabelImage labels) {
    labels.SetResolution({1000.0f, 500.0f, 0.0f});  // pixels 1 nm wide, 2 nm high
    return MeasureEverything(GreyFor(labels), labels);
}

std::string Text(const ObjectMeasures& object, const std::string& name) {
    for (const ObjectColumn& column : ObjectColumns()) {
        if (name == column.name) return ColumnText(column, object);
    }
    return "no such column";
}

/// The anchor of a heading: lower case, "-" between the words.
std::string Anchor(std::string heading) {
    for (char& c : heading) c = c == ' ' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return heading;
}

TEST(ObjectMeasures, AddUpTheTwoPiecesOfALabel) {
    const auto objects = Measure(korvane_test::Draw<std::uint16_t>({"7.7", "...", "..."}));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_EQ(objects[0].pieces, 2);
    EXPECT_DOUBLE_EQ(objects[0].areaNm2, 4.0);
    EXPECT_DOUBLE_EQ(objects[0].moments.xPx, 1.0);
    EXPECT_EQ(objects[0].extent.maxX, 2u);
}

TEST(ObjectMeasures, AreListedByLabelWithGapsInTheNumbers) {
    const auto objects = Measure(korvane_test::Draw<std::uint16_t>({"9..2", "....", "...."}));
    ASSERT_EQ(objects.size(), 2u);
    EXPECT_EQ(objects[0].extent.label, 2);
    EXPECT_EQ(objects[1].extent.label, 9);
    EXPECT_DOUBLE_EQ(objects[0].neighbourDistanceNm.value(), 3.0);
    EXPECT_DOUBLE_EQ(objects[1].neighbourDistanceNm.value(), 3.0);
}

TEST(ObjectMeasures, OfOnePixel) {
    const auto objects = Measure(korvane_test::Draw<std::uint16_t>({".....", ".....", "..4..", ".....", "....."}));
    ASSERT_EQ(objects.size(), 1u);
    EXPECT_DOUBLE_EQ(objects[0].yNm, 4.0);
    EXPECT_DOUBLE_EQ(objects[0].hull.feretMaxNm, 2.0);
    EXPECT_DOUBLE_EQ(objects[0].greyMean, 12.0);
    EXPECT_EQ(objects[0].greySd, 0.0);
    EXPECT_FALSE(objects[0].touchesEdge);
    EXPECT_EQ(Text(objects[0], "ellipse_angle_deg"), "90.00");
    EXPECT_EQ(Text(objects[0], "rim_diameter_nm"), "");
    EXPECT_EQ(Text(objects[0], "neighbour_nm"), "");
    EXPECT_EQ(Text(objects[0], "solidity"), "1.000");
}

TEST(ObjectMeasures, SayWhoLiesWithinAPixelOfTheFrame) {
    EXPECT_TRUE(Measure(korvane_test::Draw<std::uint16_t>({".....", ".4...", ".....", "....."}))[0].touchesEdge);
    EXPECT_TRUE(Measure(korvane_test::Draw<std::uint16_t>({"44", "44"}))[0].touchesEdge);
    for (const auto& [x, y] : {std::pair{1u, 4u}, std::pair{7u, 4u}, std::pair{4u, 1u}, std::pair{4u, 7u}}) {
        qvox::LabelImage labels;
        labels.Resize(9, 9, 1);
        labels.Zero();
        labels(x, y) = 1;
        EXPECT_TRUE(Measure(labels)[0].touchesEdge) << x << ", " << y;
        labels.Zero();
        labels(x == 1 ? 2 : x == 7 ? 6 : x, y == 1 ? 2 : y == 7 ? 6 : y) = 1;
        EXPECT_FALSE(Measure(labels)[0].touchesEdge) << x << ", " << y;
    }
}

TEST(ObjectMeasures, AreNoLongerMadeOnceTheCallerLeavesBetweenTheObjects) {
    struct Late {};
    const qvox::LabelImage labels = korvane_test::Draw<std::uint16_t>({"1.2.3.4"});
    int objects = 0;
    EdgeProfileOptions options;
    options.beforeEachObject = [&objects] { ++objects; };
    EXPECT_EQ(MeasureEverything(GreyFor(labels), labels, options).size(), 4u);
    const int all = objects;
    // At the edges, and again at what else is measured.
    EXPECT_EQ(all, 8);
    for (int last = 1; last <= all; ++last) {
        objects = 0;
        options.beforeEachObject = [&] {
            if (++objects == last) throw Late();
        };
        EXPECT_THROW(MeasureEverything(GreyFor(labels), labels, options), Late);
        EXPECT_EQ(objects, last);
    }
}

TEST(ObjectMeasures, OfGreyLevels) {
    const auto objects = Measure(korvane_test::Draw<std::uint16_t>({"333"}));
    EXPECT_DOUBLE_EQ(objects[0].greyMean, 1.0);
    EXPECT_DOUBLE_EQ(objects[0].greySd, 1.0);
    EXPECT_DOUBLE_EQ(objects[0].greyMin, 0.0);
    EXPECT_DOUBLE_EQ(objects[0].greyMax, 2.0);
}

TEST(ObjectMeasures, OfAnEllipseNearItsAnalyticValues) {
    for (const double angle : {0.1, 0.4, 1.2, 2.5}) {
        qvox::LabelImage labels = korvane_test::DigitalEllipse(140.0, 1.0, {70.2, 69.7, angle}, 45.0, 30.0);
        labels.SetResolution({1000.0f, 1000.0f, 0.0f});
        const ObjectMeasures object = MeasureEverything(GreyFor(labels), labels).at(0);
        EXPECT_NEAR(object.moments.majorNm, 90.0, 0.2);
        EXPECT_NEAR(object.moments.minorNm, 60.0, 0.2);
        EXPECT_NEAR(object.hull.feretMaxNm, 90.0, 0.8);
        EXPECT_NEAR(object.hull.feretMinNm, 60.0, 0.8);
        const double clockwise = angle * 180.0 / korvane_test::kPi;  // y points down
        EXPECT_NEAR(object.moments.angleDegrees, 180.0 - clockwise, 0.3);
    }
}

TEST(ObjectMeasures, OfASquareNearItsAnalyticValues) {
    for (const double angle : {0.0, 0.3, 0.785}) {
        qvox::LabelImage labels = korvane_test::DigitalSquare(140.0, 1.0, {70.2, 69.7, angle}, 60.0);
        labels.SetResolution({1000.0f, 1000.0f, 0.0f});
        const ObjectMeasures object = MeasureEverything(GreyFor(labels), labels).at(0);
        EXPECT_NEAR(object.hull.feretMaxNm, 60.0 * std::sqrt(2.0), 1.0);
        EXPECT_NEAR(object.hull.feretMinNm, 60.0, 1.0);
        EXPECT_NEAR(object.moments.majorNm, 60.0 * 2.0 / std::sqrt(3.0), 0.6);  // variance of a side: its square / 12
        // At 45 degrees the hull runs along the tips of the staircase.
        EXPECT_NEAR(object.hull.areaNm2, 3600.0, 110.0);
    }
}

TEST(ObjectMeasures, TellHowMuchOfTheHullIsFilled) {
    // Two bars of 9 x 3 that share a corner of 3 x 3.
    qvox::LabelImage labels;
    labels.Resize(13, 12, 1);
    labels.Zero();
    for (std::uint64_t along = 1; along < 10; ++along) {
        for (std::uint64_t across = 0; across < 3; ++across) {
            labels(1 + across, along) = 5;
            labels(along, 7 + across) = 5;
        }
    }
    const ObjectMeasures object = Measure(labels).at(0);
    EXPECT_DOUBLE_EQ(object.areaNm2, 45.0 * 2.0);
    // The box less a triangle of 6.5 x 6.5 and three corners of half a pixel.
    EXPECT_DOUBLE_EQ(object.hull.areaNm2, (81.0 - 6.5 * 6.5 / 2.0 - 3.0 / 8.0) * 2.0);
    EXPECT_EQ(Text(object, "solidity"), "0.756");
    EXPECT_GT(object.moments.majorNm, object.moments.minorNm);
}

TEST(AxisAngle, AgreesWithTheLibrarysArcTangent) {
    for (int degrees = 0; degrees < 180; ++degrees) {
        const double radians = degrees * korvane_test::kPi / 180.0;
        EXPECT_NEAR(AxisAngleDegrees(std::cos(radians), std::sin(radians)), degrees, 1e-9);
        EXPECT_NEAR(AxisAngleDegrees(-std::cos(radians), -std::sin(radians)), degrees, 1e-9);
    }
    EXPECT_EQ(AxisAngleDegrees(0.0, 0.0), 0.0);
}

TEST(ObjectColumns, HaveNamesOfTheirOwn) {
    std::set<std::string> names;
    for (const ObjectColumn& column : ObjectColumns()) {
        EXPECT_TRUE(names.insert(column.name).second) << column.name;
        EXPECT_NE(column.value == nullptr, column.text == nullptr) << column.name;
    }
}

TEST(ObjectColumns, AreListedInTheManualInTheirOrder) {
    std::ifstream file(korvane_test::SourceFile("docs/MEASUREMENTS.md"));
    std::vector<std::string> listed;
    std::set<std::string> headings;
    bool isList = false;
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("## ", 0) == 0) headings.insert(Anchor(line.substr(3)));
        isList = line == "| column of a row | unit | decimals | formula |" || (isList && !line.empty());
        if (isList) listed.push_back(line);
    }
    ASSERT_GE(listed.size(), 2u);
    listed.erase(listed.begin(), listed.begin() + 2);
    std::vector<std::string> wanted;
    for (const ObjectColumn& column : ObjectColumns()) {
        EXPECT_EQ(headings.count(column.manualAnchor), 1u) << column.name;
        std::string link = column.manualAnchor;
        std::replace(link.begin(), link.end(), '-', ' ');
        const std::string unit = *column.unit == '\0' ? "none" : column.unit;
        wanted.push_back(std::string("| ") + column.name + " | " + unit + " | " + std::to_string(column.decimals) +
                         " | [" + link + "](#" + column.manualAnchor + ") |");
    }
    EXPECT_EQ(listed, wanted);
}

}  // namespace
