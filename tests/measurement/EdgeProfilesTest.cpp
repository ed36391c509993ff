#include "EdgeProfiles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "ToolkitError.h"
#include "support/RimPhantoms.h"

namespace {

using namespace Korvane;
using korvane_test::RimPhantom;
using korvane_test::RimShape;

struct Scene {
    qvox::VoxelImage<float> image;
    qvox::LabelImage labels;
};

/// A phantom of low noise, one unit (pixel) = 1 nm.
Scene MakeScene(const RimPhantom& phantom) {
    std::mt19937 random(5);
    Scene scene{Render(phantom, random), SmallLabel(phantom, random)};
    scene.labels.SetResolution({1000.0f, static_cast<float>(1000.0 / phantom.pixelHeight), 0.0f});
    return scene;
}

EdgeMeasurement Measure(const Scene& scene, const EdgeProfileOptions& options = {}) {
    return MeasureEdges(scene.image, scene.labels, LabelExtents(scene.labels), options).at(0);
}

TEST(EdgeProfiles, FindTheMiddleOfADarkRim) {
    const EdgeMeasurement edge = Measure(MakeScene({}));
    EXPECT_EQ(edge.kind, RimKind::kRim);
    EXPECT_NEAR(edge.rimDiameterNm.value(), 50.0, 0.5);
    EXPECT_LT(edge.edgeDiameterNm.value(), edge.rimDiameterNm.value() - 1.5);
    EXPECT_LT(edge.contrast.value(), -0.2);
    EXPECT_EQ(edge.measuredShare, 1.0);
}

TEST(EdgeProfiles, FindTheMiddleOfABrightRim) {
    RimPhantom phantom;
    phantom.rim = 0.3;
    phantom.inside = -0.1;
    const EdgeMeasurement edge = Measure(MakeScene(phantom));
    EXPECT_EQ(edge.kind, RimKind::kRim);
    EXPECT_NEAR(edge.rimDiameterNm.value(), 50.0, 0.5);
    EXPECT_GT(edge.contrast.value(), 0.2);
}

TEST(EdgeProfiles, LeaveAPlainEdgeAtHalfHeight) {
    RimPhantom phantom;
    phantom.shape = RimShape::kNone;
    phantom.inside = -0.3;
    const EdgeMeasurement edge = Measure(MakeScene(phantom));
    EXPECT_EQ(edge.kind, RimKind::kEdge);
    EXPECT_NEAR(edge.rimDiameterNm.value(), 50.0, 0.35);
    EXPECT_NEAR(edge.edgeDiameterNm.value(), 50.0, 0.35);
    EXPECT_NEAR(edge.background.value(), 0.5, 0.03);
}

TEST(EdgeProfiles, HonourPixelsThatAreNotSquare) {
    RimPhantom phantom;
    phantom.shape = RimShape::kNone;
    phantom.inside = -0.3;
    phantom.pixelHeight = 2.0;
    phantom.centreY = 31.5;
    const EdgeMeasurement edge = Measure(MakeScene(phantom));
    EXPECT_NEAR(edge.rimDiameterNm.value(), 50.0, 0.75);
    EXPECT_LT(edge.rimSdNm.value(), 0.6);
}

TEST(EdgeProfiles, FindTheSameDiameterAtEveryPixelSize) {
    RimPhantom phantom;
    phantom.shape = RimShape::kNone;
    phantom.inside = -0.3;
    Scene scene = MakeScene(phantom);
    const double diameter = Measure(scene).rimDiameterNm.value();
    scene.labels.SetResolution({4000.0f, 4000.0f, 0.0f});
    EXPECT_NEAR(Measure(scene).rimDiameterNm.value(), diameter / 4.0, 1e-9);
}

TEST(EdgeProfiles, GiveCurvesInPixelsAroundTheObject) {
    const Scene scene = MakeScene({});
    const EdgeMeasurement edge = Measure(scene);
    ASSERT_EQ(edge.rimCurve.size(), static_cast<std::size_t>(kProfileDirections));
    for (const CurvePoint& point : edge.rimCurve) EXPECT_NEAR(std::hypot(point.x - 63.5, point.y - 63.5), 25.0, 1.2);
}

TEST(EdgeProfiles, MeasureNothingOnAConstantImage) {
    Scene scene = MakeScene({});
    std::fill(scene.image.begin(), scene.image.end(), 3.0f);
    const EdgeMeasurement edge = Measure(scene);
    EXPECT_EQ(edge.kind, RimKind::kNone);
    EXPECT_FALSE(edge.rimDiameterNm.has_value());
    EXPECT_TRUE(edge.rimCurve.empty());
}

TEST(EdgeProfiles, DoNotSeeEveryDirectionOfAnObjectThatFillsTheImage) {
    Scene scene = MakeScene({});
    std::fill(scene.labels.begin(), scene.labels.end(), std::uint16_t{1});
    EXPECT_LT(Measure(scene).measuredShare, 1.0);
}

TEST(EdgeProfiles, MeasureNothingOfAPixel) {
    Scene scene = MakeScene({});
    scene.labels.Zero();
    scene.labels(40, 40) = 9;
    EXPECT_EQ(Measure(scene).kind, RimKind::kNone);
}

TEST(EdgeProfiles, StopAtExcludedPixels) {
    const Scene scene = MakeScene({});
    qvox::VoxelImage<std::uint8_t> excluded;
    excluded.Resize(scene.labels.SizeX(), scene.labels.SizeY(), 1);
    excluded.Zero();
    for (std::uint64_t y = 0; y < excluded.SizeY(); ++y) {
        for (std::uint64_t x = 50; x < excluded.SizeX(); ++x) excluded(x, y) = 1;
    }
    const EdgeMeasurement edge = Measure(scene, {&excluded});
    EXPECT_LT(edge.measuredShare, kLeastMeasuredShare);
    EXPECT_FALSE(edge.rimDiameterNm.has_value());
}

TEST(EdgeProfiles, MeasureFromHalfOfTheDirectionsOn) {
    const Scene scene = MakeScene({});
    qvox::VoxelImage<std::uint8_t> excluded;
    excluded.Resize(scene.labels.SizeX(), scene.labels.SizeY(), 1);
    bool isHalfSeen = false;
    // A sector that grows over one half of the object and more.
    for (double angle = 0.3; angle < 0.7; angle += 0.002) {
        excluded.Zero();
        for (std::uint64_t i = 0; i < excluded.VoxelCount(); ++i) {
            const double x = static_cast<double>(i % excluded.SizeX()) - 63.5;
            const double y = static_cast<double>(i / excluded.SizeX()) - 63.5;
            const double turn = 0.5 + std::atan2(y, x) / (2.0 * 3.141592653589793);
            excluded[i] = turn < angle && std::hypot(x, y) > 15.0 ? 1 : 0;
        }
        const EdgeMeasurement edge = Measure(scene, {&excluded});
        EXPECT_EQ(edge.rimDiameterNm.has_value(), edge.measuredShare >= 0.5) << edge.measuredShare;
        EXPECT_EQ(edge.rimCurve.empty(), edge.measuredShare < 0.5) << edge.measuredShare;
        isHalfSeen = isHalfSeen || edge.measuredShare == 0.5;
    }
    EXPECT_TRUE(isHalfSeen) << "the sector steps over the half";
}

TEST(EdgeProfiles, StopAtOtherLabels) {
    Scene scene = MakeScene({});
    const double alone = Measure(scene).rimDiameterNm.value();
    // A dark bar crosses the right of the rim: the profiles that reach its label see no flank there.
    for (std::uint64_t y = 0; y < scene.labels.SizeY(); ++y) {
        for (std::uint64_t x = 80; x < 90; ++x) {
            scene.image(x, y) = 0.0f;
            scene.labels(x, y) = 2;
        }
    }
    const EdgeMeasurement edge = Measure(scene);
    EXPECT_LT(edge.measuredShare, 1.0);
    EXPECT_GT(edge.measuredShare, 0.5);
    EXPECT_NEAR(edge.rimDiameterNm.value(), alone, 1.0);
}

TEST(EdgeProfiles, StopAtNaN) {
    Scene scene = MakeScene({});
    for (std::uint64_t y = 0; y < scene.image.SizeY(); ++y) {
        for (std::uint64_t x = 78; x < scene.image.SizeX(); ++x) {
            scene.image(x, y) = std::numeric_limits<float>::quiet_NaN();
        }
    }
    const EdgeMeasurement edge = Measure(scene);
    EXPECT_LT(edge.measuredShare, 0.9);
    EXPECT_NEAR(edge.rimDiameterNm.value(), 50.0, 1.0);
    std::fill(scene.image.begin(), scene.image.end(), std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(Measure(scene).measuredShare, 0.0);
}

TEST(EdgeProfiles, RefuseImagesOfAnotherSize) {
    const Scene scene = MakeScene({});
    EXPECT_THROW(MeasureEdges(qvox::VoxelImage<float>(), scene.labels, {}), qvox::ToolkitError);
}

}  // namespace
