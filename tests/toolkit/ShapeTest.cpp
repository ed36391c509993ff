#include "operations/Shape.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "operations/Labelling.h"
#include "reference/PlainShape.h"
#include "support/Random.h"
#include "support/Shapes.h"
#include "support/TestImages.h"
#include "support/TrialSizes.h"

namespace {

using korvane_test::Draw;
using korvane_test::kPi;
using korvane_test::Placement;
using qvox::ComponentImage;
using qvox::LabelImage;
using qvox::ShapeMeasure;

ComponentImage Label(const LabelImage& source) {
    ComponentImage components;
    qvox::LabelForegroundRegions(components, source, qvox::Neighbourhood8{});
    return components;
}

double Perimeter(const ComponentImage& components, std::uint16_t identifier = 1) {
    return qvox::EstimateShape(components, identifier, ShapeMeasure::kPerimeter);
}
double Area(const ComponentImage& components, std::uint16_t identifier = 1) {
    return qvox::EstimateShape(components, identifier, ShapeMeasure::kArea);
}
double Roundness(const ComponentImage& components) {
    const double perimeter = Perimeter(components);
    return 4.0 * kPi * Area(components) / (perimeter * perimeter);
}

// The same numbers in whichever order their factors come: a factor of four is exact. No refinement, segmentation or
// table may round otherwise than the others.
TEST(Roundness, HasTheSameBitsWhicheverWayItIsWritten) {
    std::mt19937 random(7);
    const auto exponent = [&] { return 80.0 * korvane_test::UniformDouble(random) - 40.0; };
    for (int trial = 0; trial < 1000000; ++trial) {
        const double area = std::exp2(exponent());
        const double perimeter = std::exp2(exponent());
        const double roundness = qvox::Roundness(area, perimeter);
        ASSERT_EQ(roundness, area * 4.0 * kPi / (perimeter * perimeter)) << area << ", " << perimeter;
        ASSERT_EQ(roundness, 4.0 * kPi * area / (perimeter * perimeter)) << area << ", " << perimeter;
    }
}

TEST(EquivalentDiameter, IsThatOfTheDiscOfTheSameArea) {
    std::mt19937 random(8);
    const auto exponent = [&] { return 80.0 * korvane_test::UniformDouble(random) - 40.0; };
    for (int trial = 0; trial < 1000000; ++trial) {
        const double area = std::exp2(exponent());
        ASSERT_EQ(qvox::EquivalentDiameter(area), std::sqrt(area * 4.0 / kPi)) << area;
    }
    EXPECT_EQ(qvox::EquivalentDiameter(0.0), 0.0);
    EXPECT_DOUBLE_EQ(qvox::EquivalentDiameter(kPi), 2.0);
}

TEST(EstimateShape, EqualsThePlainFormulaAndTheEstimateOfAllAtOnce) {
    korvane_test::ForEachSizeAndSeed([](std::uint64_t width, std::uint64_t height, unsigned seed) {
        for (const int values : {1, 4}) {
            std::mt19937 random(seed);
            auto source = korvane_test::RandomImage<std::uint16_t>(random, width, height, 0, values);
            source.SetResolution(
                {0.25f * static_cast<float>(1 + seed % 7), 0.5f * static_cast<float>(1 + seed % 5), 0.0f});
            const ComponentImage components = Label(source);
            const std::vector<qvox::ShapeEstimate> all = qvox::EstimateShapes(components);
            ASSERT_EQ(all.size(), components.Components().size());
            for (const qvox::ShapeEstimate& estimate : all) {
                const double plain = korvane_reference::PlainCrofton(
                    components.Identifiers(), estimate.identifier, 1.0 / static_cast<double>(source.Resolution().x),
                    1.0 / static_cast<double>(source.Resolution().y), korvane_reference::FourDirections());
                ASSERT_NEAR(plain, estimate.perimeterUm, 1e-12 * plain);
                ASSERT_EQ(estimate.perimeterUm, Perimeter(components, estimate.identifier));
                ASSERT_EQ(estimate.areaUm2, Area(components, estimate.identifier));
            }
        }
    });
}

TEST(EstimateShape, AreasSumToTheForeground) {
    std::mt19937 random(4);
    const auto source = korvane_test::RandomImage<std::uint16_t>(random, 80, 60, 0, 3);
    double foreground = 0.0;
    for (const std::uint16_t v : source) foreground += v != 0;
    double sum = 0.0;
    for (const qvox::ShapeEstimate& estimate : qvox::EstimateShapes(Label(source))) sum += estimate.areaUm2;
    EXPECT_EQ(foreground, sum);
}

struct Statistics {
    double mean = 0.0;
    double deviation = 0.0;
};

Statistics StatisticsOf(const std::vector<double>& values) {
    Statistics result;
    for (const double v : values) result.mean += v / static_cast<double>(values.size());
    double squares = 0.0;
    for (const double v : values) squares += (v - result.mean) * (v - result.mean);
    result.deviation = std::sqrt(squares / static_cast<double>(values.size() - 1));
    return result;
}

/// Roundness of digital discs of this radius, in voxel widths, at random centres.
Statistics DiscRoundness(double radius, double aspect, std::mt19937& random) {
    std::vector<double> values;
    for (int i = 0; i < 200; ++i) {
        const Placement place{radius + 2.0 + korvane_test::UniformDouble(random), radius / aspect + 2.0 + korvane_test::UniformDouble(random), 0.0};
        LabelImage disc = korvane_test::DigitalEllipse(2.0 * radius + 6.0 * aspect, aspect, place, radius, radius);
        disc.SetResolution({100.0f, 100.0f / static_cast<float>(aspect), 0.0f});
        values.push_back(Roundness(Label(disc)));
    }
    return StatisticsOf(values);
}

TEST(EstimateShape, DiscsFromRadius6To80AreRound) {
    std::mt19937 random(1);
    for (const double radius : {6.0, 7.0, 8.0, 9.0, 10.0, 11.0, 12.0, 15.0, 20.0, 30.0, 40.0, 60.0, 80.0}) {
        const Statistics roundness = DiscRoundness(radius, 1.0, random);
        EXPECT_GT(roundness.mean, 0.985) << "radius " << radius;
        EXPECT_LT(roundness.mean, 1.01) << "radius " << radius;
        if (radius >= 10.0) {
            EXPECT_LT(roundness.deviation, 0.015) << "radius " << radius;
        }
    }
}

TEST(EstimateShape, DiscsOnOblongPixelsAreRound) {
    std::mt19937 random(2);
    for (const double aspect : {0.5, 1.0 / 1.5, 1.5, 2.0}) {
        // At least 12 voxels of the longer side, which is as well resolved as a square pixel's radius 12.
        for (const double voxels : {12.0, 20.0, 40.0}) {
            const Statistics roundness = DiscRoundness(voxels * std::fmax(1.0, aspect), aspect, random);
            EXPECT_GT(roundness.mean, 0.985) << "aspect " << aspect << ", voxels " << voxels;
            EXPECT_LT(roundness.mean, 1.01) << "aspect " << aspect << ", voxels " << voxels;
            EXPECT_LT(roundness.deviation, 0.015) << "aspect " << aspect << ", voxels " << voxels;
        }
    }
}

TEST(EstimateShape, TheOutlineOfEllipsesUpTo3To1IsWithin3PerCentOnAverage) {
    std::mt19937 random(3);
    for (const double ratio : {1.5, 2.0, 3.0}) {
        for (const double half : {6.0, 10.0, 20.0}) {
            const double size = 2.0 * ratio * half + 6.0;
            double sum = 0.0;
            for (int i = 0; i < 200; ++i) {
                const Placement place{size / 2.0 + korvane_test::UniformDouble(random), size / 2.0 + korvane_test::UniformDouble(random), kPi * korvane_test::UniformDouble(random)};
                sum += Perimeter(Label(korvane_test::DigitalEllipse(size, 1.0, place, ratio * half, half)));
            }
            EXPECT_NEAR(sum / 200.0 / korvane_test::EllipsePerimeter(ratio * half, half), 1.0, 0.03)
                << "ratio " << ratio << ", half width " << half;
        }
    }
}

TEST(EstimateShape, TheOutlineOfRotatedSquaresIsWithin3PerCentOnAverage) {
    std::mt19937 random(4);
    for (const double side : {12.0, 20.0, 40.0, 80.0}) {
        const double size = 1.5 * side + 6.0;
        double sum = 0.0;
        for (int i = 0; i < 300; ++i) {
            const Placement place{size / 2.0 + korvane_test::UniformDouble(random), size / 2.0 + korvane_test::UniformDouble(random), kPi * korvane_test::UniformDouble(random)};
            sum += Perimeter(Label(korvane_test::DigitalSquare(size, 1.0, place, side)));
        }
        EXPECT_NEAR(sum / 300.0 / (4.0 * side), 1.0, 0.03) << "side " << side;
    }
}

TEST(EstimateShape, ADiscOfRadius20IsRoundAndALineOf20IsNot) {
    // Centred on a voxel the disc is 41 voxels wide, a single one sticking out on each side: the least favourable
    // place.
    EXPECT_NEAR(Roundness(Label(korvane_test::DigitalEllipse(46.0, 1.0, {22.0, 22.0, 0.0}, 20.0, 20.0))), 1.0, 0.035);
    EXPECT_NEAR(Roundness(Label(korvane_test::DigitalEllipse(46.0, 1.0, {22.3, 22.4, 0.0}, 20.0, 20.0))), 1.0, 0.015);
    EXPECT_LT(Roundness(Label(Draw<std::uint16_t>({"11111111111111111111"}))), 0.2);
}

TEST(EstimateShape, ASingleVoxelHasAFinitePositivePerimeter) {
    const ComponentImage components = Label(Draw<std::uint16_t>({"1"}));
    EXPECT_NEAR(Perimeter(components), kPi / 4.0 * (2.0 + std::sqrt(2.0)), 1e-14);
    EXPECT_EQ(Area(components), 1.0);
}

TEST(EstimateShape, VoxelsBeyondTheBorderAreOutside) {
    EXPECT_EQ(Perimeter(Label(Draw<std::uint16_t>({"11", "11"}))),
              Perimeter(Label(Draw<std::uint16_t>({"....", ".11.", ".11.", "...."}))));
}

TEST(EstimateShape, TheRimOfAHoleCounts) {
    const ComponentImage ring = Label(Draw<std::uint16_t>({"11111", "1...1", "1...1", "1...1", "11111"}));
    const ComponentImage outer = Label(Draw<std::uint16_t>({"11111", "11111", "11111", "11111", "11111"}));
    const ComponentImage inner = Label(Draw<std::uint16_t>({"111", "111", "111"}));
    EXPECT_NEAR(Perimeter(ring), Perimeter(outer) + Perimeter(inner), 1e-12);
}

TEST(EstimateShape, ANeighbouringObjectIsOutsideToo) {
    const ComponentImage touching = Label(Draw<std::uint16_t>({"1122", "1122"}));
    EXPECT_EQ(Perimeter(touching, 1), Perimeter(Label(Draw<std::uint16_t>({"11", "11"}))));
    EXPECT_EQ(Perimeter(touching, 1), Perimeter(touching, 2));
}

TEST(EstimateShape, ScalesWithThePixelSizeOfEachAxis) {
    LabelImage source = Draw<std::uint16_t>({"111.", ".111", "..1."});
    LabelImage turned = Draw<std::uint16_t>({"1..", "11.", "111", ".1."});
    const double pixels = Perimeter(Label(source));
    source.SetResolution({2.0f, 2.0f, 0.0f});
    EXPECT_EQ(Area(Label(source)), 7.0 / 4.0);
    EXPECT_NEAR(Perimeter(Label(source)), pixels / 2.0, 1e-14 * pixels);
    source.SetResolution({2.0f, 8.0f, 0.0f});
    turned.SetResolution({8.0f, 2.0f, 0.0f});
    EXPECT_EQ(Area(Label(source)), 7.0 / 16.0);
    EXPECT_EQ(Perimeter(Label(source)), Perimeter(Label(turned))) << "turning picture and pixels changes nothing";
}

TEST(EstimateShape, AnUndefinedResolutionCountsAsOnePixelPerMicrometre) {
    LabelImage source = Draw<std::uint16_t>({"11.", "111"});
    source.SetResolution({1.0f, 1.0f, 1.0f});
    const double perimeter = Perimeter(Label(source));
    for (const float undefined : {0.0f, -3.0f, std::numeric_limits<float>::quiet_NaN(),
                                  std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity()}) {
        source.SetResolution({undefined, undefined, undefined});
        EXPECT_EQ(Perimeter(Label(source)), perimeter) << undefined;
        EXPECT_EQ(Area(Label(source)), 5.0) << undefined;
        source.SetResolution({undefined, 2.0f, undefined});
        EXPECT_EQ(Area(Label(source)), 2.5) << undefined;
    }
}

TEST(EstimateShape, IsFiniteAndPositiveForTheMostExtremePixelSizes) {
    const float extremes[] = {1e-45f, 1e-3f, 1.0f, 1e5f, 3.4e38f};
    for (const float x : extremes) {
        for (const float y : extremes) {
            LabelImage source = Draw<std::uint16_t>({"1"});
            source.SetResolution({x, y, 0.0f});
            const ComponentImage components = Label(source);
            EXPECT_TRUE(std::isfinite(Perimeter(components)) && Perimeter(components) > 0.0) << x << " x " << y;
            EXPECT_TRUE(std::isfinite(Area(components)) && Area(components) > 0.0) << x << " x " << y;
        }
    }
}

TEST(EstimateShape, MeasuresWhatIsLeftAfterRemovals) {
    ComponentImage components = Label(Draw<std::uint16_t>({"11.22", "11.22", "33333"}));
    qvox::RemoveLabel(components, 2);
    const std::vector<qvox::ShapeEstimate> all = qvox::EstimateShapes(components);
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].identifier, 1);
    EXPECT_EQ(all[1].identifier, 3);
    EXPECT_EQ(all[1].areaUm2, 5.0);
    EXPECT_TRUE(qvox::EstimateShapes(ComponentImage()).empty());
}

TEST(EstimateShape, RefusesAnUnknownComponentAndAnUnknownMeasure) {
    const ComponentImage components = Label(Draw<std::uint16_t>({"1"}));
    const auto message = [&](std::uint16_t identifier, ShapeMeasure measure) -> std::string {
        try {
            qvox::EstimateShape(components, identifier, measure);
        } catch (const qvox::ToolkitError& error) {
            return error.what();
        }
        return "nothing was thrown";
    };
    EXPECT_EQ(message(2, ShapeMeasure::kArea), "EstimateShape: there is no component 2.");
    EXPECT_EQ(message(0, ShapeMeasure::kPerimeter), "EstimateShape: there is no component 0.");
    EXPECT_EQ(message(1, static_cast<ShapeMeasure>(7)), "EstimateShape: there is no shape measure 7.");
}

}  // namespace
