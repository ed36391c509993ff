#include "operations/Watershed.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "reference/PlainWatershed.h"
#include "support/Random.h"
#include "support/TestImages.h"
#include "support/TrialSizes.h"
#include "toolkit/RandomMarkers.h"

namespace {

using korvane_test::Draw;
using korvane_test::RandomMarkers;
using korvane_test::SameVoxels;
using qvox::LabelImage;
using qvox::Neighbourhood8;
using Relief = qvox::VoxelImage<float>;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

LabelImage Watershed(const Relief& relief, const LabelImage& markers) {
    LabelImage output;
    qvox::WatershedFromMarkers(relief, markers, output, Neighbourhood8{});
    return output;
}

Relief Flat(std::uint64_t width, std::uint64_t height, float value) {
    Relief relief;
    relief.Resize(width, height, 1);
    for (float& v : relief) v = value;
    return relief;
}

float FromBits(std::uint32_t bits) {
    float value = 0.0f;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

/// The kinds of relief that the differential test draws from; each puts another strain on the order of levels.
float RandomLevel(std::mt19937& random, int kind) {
    static const std::vector<float> special{0.0f,    -0.0f,          kInfinity,     -kInfinity,     kNaN, -kNaN, 1e-45f,
                                            -1e-45f, 1.1754944e-38f, 3.4028235e38f, -3.4028235e38f, 1.0f, -1.0f};
    switch (kind) {
        case 0:  // real numbers of one narrow range
            return korvane_test::Uniform(random);
        case 1:  // plateaus
            return static_cast<float>(random() % 4);
        case 2:  // any bit pattern, NaN of every kind included
            return FromBits(static_cast<std::uint32_t>(random()));
        case 3:
            return special[random() % special.size()];
        case 4:  // neighbouring floats: many voxels of few levels in one bucket
            return FromBits(0x3F800000u + static_cast<std::uint32_t>(random() % 3u));
        case 5:  // a band whose voxels crowd into a corner of it
            return FromBits(0x3F800000u + static_cast<std::uint32_t>(random() % (random() % 8u == 0 ? 65536u : 16u)));
        case 6:  // negative and positive, few levels
            return static_cast<float>(static_cast<int>(random() % 7u) - 3) * 0.5f;
        default:  // constant
            return 2.5f;
    }
}

void CompareWithPlain(std::uint64_t width, std::uint64_t height, unsigned seed, int kind, unsigned oneIn) {
    std::mt19937 random(seed);
    Relief relief;
    relief.Resize(width, height, 1);
    for (float& v : relief) v = RandomLevel(random, kind);
    const LabelImage markers = RandomMarkers(random, width, height, oneIn);
    ASSERT_TRUE(SameVoxels(korvane_reference::PlainWatershed(relief, markers), Watershed(relief, markers)))
        << width << " x " << height << ", seed " << seed << ", kind " << kind << ", one marker in " << oneIn;
}

TEST(WatershedFromMarkers, EqualsThePlainVersionForAllSizesReliefsAndMarkerDensities) {
    korvane_test::ForEachSizeAndSeed([](std::uint64_t width, std::uint64_t height, unsigned seed) {
        for (int kind = 0; kind < 8; ++kind) {
            for (const unsigned oneIn : {2u, 10u, 200u}) CompareWithPlain(width, height, seed, kind, oneIn);
        }
    });
}

TEST(WatershedFromMarkers, EqualsThePlainVersionOnLargerImages) {
    for (int kind = 0; kind < 8; ++kind) {
        CompareWithPlain(301, 257, 1000u + static_cast<unsigned>(kind), kind, 3000);
        CompareWithPlain(256, 300, 2000u + static_cast<unsigned>(kind), kind, 20);
    }
}

TEST(WatershedFromMarkers, EqualsThePlainVersionWhereNeighbouringLevelsAlternate) {
    // Levels that differ in their last two bits only: one bucket, many voxels of each level, arriving in mixed order.
    Relief relief = Flat(120, 100, 0.0f);
    for (std::uint64_t i = 0; i < relief.VoxelCount(); ++i) {
        relief[i] = FromBits(0x40000000u + (i % 4 == 0 ? 3u : static_cast<std::uint32_t>(i * 7919 % 3)));
    }
    LabelImage markers;
    markers.Resize(120, 100, 1);
    markers.Zero();
    for (std::uint64_t x = 0; x < 120; ++x) markers(x, 0) = static_cast<std::uint16_t>(x + 1);
    EXPECT_TRUE(SameVoxels(korvane_reference::PlainWatershed(relief, markers), Watershed(relief, markers)));
}

TEST(WatershedFromMarkers, LeavesNoVoxelUnlabelledWhenEveryBasinHasAMarker) {
    Relief relief = Flat(9, 3, 0.0f);
    for (std::uint64_t y = 0; y < 3; ++y) relief(4, y) = 5.0f;
    LabelImage markers = Draw<std::uint16_t>({".........", ".1.....2.", "........."});
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"111112222", "111112222", "111112222"}), Watershed(relief, markers)));
}

TEST(WatershedFromMarkers, ABasinWithoutAMarkerIsTakenByANeighbouringFlood) {
    // Three basins; the middle one has no marker, and its lower rim is on the right.
    Relief relief = Flat(11, 1, 0.0f);
    relief(3, 0) = 9.0f;
    relief(7, 0) = 4.0f;
    EXPECT_TRUE(
        SameVoxels(Draw<std::uint16_t>({"11112222222"}), Watershed(relief, Draw<std::uint16_t>({"1.........2"}))))
        << "the basin goes to the flood over its lower rim; the higher rim to the flood that stood before it first";
}

TEST(WatershedFromMarkers, FloodsMeetHalfwayOnAPlateauWhicheverMarkerComesFirst) {
    EXPECT_TRUE(
        SameVoxels(Draw<std::uint16_t>({"3333111"}), Watershed(Flat(7, 1, 1.0f), Draw<std::uint16_t>({"3.....1"}))));
    EXPECT_TRUE(
        SameVoxels(Draw<std::uint16_t>({"1111333"}), Watershed(Flat(7, 1, 1.0f), Draw<std::uint16_t>({"1.....3"}))));
}

TEST(WatershedFromMarkers, NaNFloodsLastTogetherWithInfinity) {
    Relief relief = Flat(7, 1, 0.0f);
    relief(2, 0) = kNaN;
    relief(4, 0) = 1e30f;
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"1112222"}), Watershed(relief, Draw<std::uint16_t>({"1.....2"}))));
    Relief infinite = relief;
    infinite(2, 0) = kInfinity;
    EXPECT_TRUE(SameVoxels(Watershed(infinite, Draw<std::uint16_t>({"1.....2"})),
                           Watershed(relief, Draw<std::uint16_t>({"1.....2"}))));
}

TEST(WatershedFromMarkers, WithoutMarkersEverythingIsZero) {
    std::mt19937 random(5);
    Relief relief = Flat(20, 10, 0.0f);
    for (float& v : relief) v = RandomLevel(random, 0);
    LabelImage markers;
    markers.Resize(20, 10, 1);
    markers.Zero();
    EXPECT_TRUE(SameVoxels(markers, Watershed(relief, markers)));
}

TEST(WatershedFromMarkers, OneMarkerIsEnoughToLabelEveryVoxelAndMarkersKeepTheirLabels) {
    for (unsigned seed = 1; seed <= 50; ++seed) {
        std::mt19937 random(seed);
        Relief relief = Flat(31, 17, 0.0f);
        for (float& v : relief) v = RandomLevel(random, static_cast<int>(seed % 8));
        LabelImage markers = RandomMarkers(random, 31, 17, 100);
        markers[random() % markers.VoxelCount()] = 65535;
        const LabelImage output = Watershed(relief, markers);
        for (std::uint64_t i = 0; i < output.VoxelCount(); ++i) {
            ASSERT_NE(output[i], 0) << "seed " << seed << ", voxel " << i;
            ASSERT_TRUE(markers[i] == 0 || output[i] == markers[i]) << "seed " << seed << ", voxel " << i;
        }
    }
}

TEST(WatershedFromMarkers, TakesThePropertiesOfTheMarkersAndLeavesTheInputsAlone) {
    Relief relief = Flat(4, 3, 1.0f);
    relief.SetResolution({9.0f, 9.0f, 9.0f});
    LabelImage markers = Draw<std::uint16_t>({"1...", "....", "...2"});
    markers.SetResolution({2.0f, 3.0f, 4.0f});
    markers.SetOffset({5.0f, 6.0f, 7.0f});
    markers.SetMetadata({{"key", "value"}});
    const LabelImage markersBefore = markers;
    const Relief reliefBefore = relief;
    LabelImage output = Draw<std::uint16_t>({"99"});
    qvox::WatershedFromMarkers(relief, markers, output, Neighbourhood8{});
    EXPECT_TRUE(output.SameSizes(markers));
    EXPECT_EQ(output.Resolution(), markers.Resolution());
    EXPECT_EQ(output.Offset(), markers.Offset());
    EXPECT_EQ(output.Metadata(), markers.Metadata());
    EXPECT_TRUE(SameVoxels(markersBefore, markers));
    EXPECT_TRUE(SameVoxels(reliefBefore, relief));
    qvox::WatershedFromMarkers(relief, markers, markers, Neighbourhood8{});
    EXPECT_TRUE(SameVoxels(output, markers)) << "the output may be the marker image";
}

std::string MessageOf(const Relief& relief, const LabelImage& markers) {
    try {
        Watershed(relief, markers);
    } catch (const qvox::ToolkitError& error) {
        return error.what();
    }
    return "nothing was thrown";
}

TEST(WatershedFromMarkers, RefusesEmptyImagesAndDifferentSizesByName) {
    EXPECT_EQ(MessageOf(Relief(), LabelImage()), "WatershedFromMarkers: the images are empty.");
    EXPECT_EQ(MessageOf(Flat(4, 3, 0.0f), Draw<std::uint16_t>({"..."})),
              "WatershedFromMarkers: the relief is 4 x 3 x 1 voxels and the marker image 3 x 1 x 1; they must have the "
              "same sizes.");
    Relief relief;
    relief.Resize(2, 2, 2);
    LabelImage markers;
    markers.Resize(2, 2, 2);
    EXPECT_EQ(MessageOf(relief, markers),
              "WatershedFromMarkers: the images have 2 planes, but only one plane can be flooded.");
}

}  // namespace
