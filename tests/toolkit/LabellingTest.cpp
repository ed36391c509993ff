#include "operations/Labelling.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

#include "reference/PlainLabelling.h"
#include "support/TestImages.h"
#include "support/TrialSizes.h"

namespace {

using korvane_test::Draw;
using korvane_test::SameVoxels;
using qvox::ComponentImage;
using qvox::ComponentRecord;
using qvox::LabelImage;
using qvox::Neighbourhood8;

ComponentImage Label(const LabelImage& source) {
    ComponentImage components;
    qvox::LabelForegroundRegions(components, source, Neighbourhood8{});
    return components;
}

void ExpectSameRecord(const ComponentRecord& expected, const ComponentRecord& actual) {
    EXPECT_EQ(expected.identifier, actual.identifier);
    EXPECT_EQ(expected.sourceValue, actual.sourceValue);
    EXPECT_EQ(expected.voxelCount, actual.voxelCount);
    EXPECT_EQ(expected.minX, actual.minX);
    EXPECT_EQ(expected.minY, actual.minY);
    EXPECT_EQ(expected.maxX, actual.maxX);
    EXPECT_EQ(expected.maxY, actual.maxY);
}

void CompareWithPlain(const LabelImage& source) {
    const korvane_reference::PlainComponents expected = korvane_reference::PlainLabelling(source);
    const ComponentImage actual = Label(source);
    ASSERT_TRUE(actual.Identifiers().SameSizes(source));
    for (std::uint64_t i = 0; i < source.VoxelCount(); ++i) {
        ASSERT_EQ(expected.identifiers[i], actual.Identifiers()[i]) << "voxel " << i;
    }
    ASSERT_EQ(expected.records.size(), actual.Components().size());
    for (std::size_t i = 0; i < expected.records.size(); ++i) {
        ExpectSameRecord(expected.records[i], actual.Components()[i]);
    }
}

TEST(LabelForegroundRegions, EqualsThePlainVersionForAllSizesAndNumbersOfValues) {
    korvane_test::ForEachSizeAndSeed([](std::uint64_t width, std::uint64_t height, unsigned seed) {
        for (const int values : {1, 2, 3, 8}) {
            SCOPED_TRACE(::testing::Message() << "values 0.." << values);
            std::mt19937 random(seed);
            CompareWithPlain(korvane_test::RandomImage<std::uint16_t>(random, width, height, 0, values));
        }
    });
}

TEST(LabelForegroundRegions, EqualsThePlainVersionOnLongWindingRegions) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE(::testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        LabelImage source;
        source.Resize(150, 120, 1);
        // Near the percolation threshold of the foreground, where joins are most entangled.
        for (std::uint16_t& v : source) v = random() % 100 < 38 + seed ? std::uint16_t{65535} : std::uint16_t{0};
        CompareWithPlain(source);
    }
}

TEST(LabelForegroundRegions, NumbersComponentsInRasterOrderOfTheirFirstVoxel) {
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"...1..2", ".3.1.2.", ".3.11..", "3......"}),
                           Label(Draw<std::uint16_t>({"...5..7", ".5.5.7.", ".5.55..", "5......"})).Identifiers()));
}

TEST(LabelForegroundRegions, ARegionThatJoinsLateKeepsTheNumberOfItsFirstVoxel) {
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"1.2.1.3", "1...1..", "11111.4"}),
                           Label(Draw<std::uint16_t>({"1.1.1.1", "1...1..", "11111.1"})).Identifiers()));
}

TEST(LabelForegroundRegions, SeparatesTouchingObjectsOfDifferentLabelsAndJoinsDiagonals) {
    const ComponentImage components = Label(Draw<std::uint16_t>({"44.", "99.", "..9"}));
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"11.", "22.", "..2"}), components.Identifiers()));
    ASSERT_EQ(components.Components().size(), 2u);
    ExpectSameRecord({1, 4, 2, 0, 0, 1, 0}, components.Components()[0]);
    ExpectSameRecord({2, 9, 3, 0, 1, 2, 2}, components.Components()[1]);
}

TEST(LabelForegroundRegions, TheEndOfARowDoesNotTouchTheStartOfTheNext) {
    EXPECT_EQ(Label(Draw<std::uint16_t>({"..1", "1..", "..1"})).Components().size(), 3u);
}

TEST(LabelForegroundRegions, ComponentsPartitionTheForeground) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
        std::mt19937 random(seed);
        const auto source = korvane_test::RandomImage<std::uint16_t>(random, 71, 53, 0, 3);
        const ComponentImage components = Label(source);
        std::uint64_t foreground = 0;
        for (std::uint64_t i = 0; i < source.VoxelCount(); ++i) {
            foreground += source[i] != 0;
            const ComponentRecord* record = components.Find(components.Identifiers()[i]);
            ASSERT_EQ(source[i], record == nullptr ? 0 : record->sourceValue) << "seed " << seed << ", voxel " << i;
        }
        std::uint64_t counted = 0;
        for (const ComponentRecord& record : components.Components()) counted += record.voxelCount;
        EXPECT_EQ(foreground, counted) << "seed " << seed;
    }
}

TEST(LabelForegroundRegions, AnImageOfZerosHasNoComponents) {
    LabelImage source;
    source.Resize(40, 30, 1);
    source.Zero();
    const ComponentImage components = Label(source);
    EXPECT_TRUE(components.Components().empty());
    EXPECT_TRUE(SameVoxels(source, components.Identifiers()));
}

TEST(LabelForegroundRegions, TakesThePropertiesOfTheSourceAndLeavesItAlone) {
    LabelImage source = Draw<std::uint16_t>({"7.7"});
    source.SetResolution({2.0f, 3.0f, 4.0f});
    source.SetOffset({5.0f, 6.0f, 7.0f});
    source.SetMetadata({{"key", "value"}});
    const LabelImage before = source;
    const ComponentImage components = Label(source);
    EXPECT_EQ(components.Identifiers().Resolution(), before.Resolution());
    EXPECT_EQ(components.Identifiers().Offset(), before.Offset());
    EXPECT_EQ(components.Identifiers().Metadata(), before.Metadata());
    EXPECT_TRUE(SameVoxels(before, source));
}

TEST(LabelForegroundRegions, MayRelabelItsOwnIdentifiers) {
    ComponentImage components = Label(Draw<std::uint16_t>({"1.2.3"}));
    qvox::RemoveLabel(components, 1);
    qvox::LabelForegroundRegions(components, components.Identifiers(), Neighbourhood8{});
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"..1.2"}), components.Identifiers()));
}

/// `count` single voxels that do not touch.
LabelImage Dots(std::uint64_t count) {
    LabelImage source;
    source.Resize(600, 600, 1);
    source.Zero();
    for (std::uint64_t i = 0; i < count; ++i) source(i % 300 * 2, i / 300 * 2) = 1;
    return source;
}

std::string MessageOf(const LabelImage& source) {
    ComponentImage components = Label(Draw<std::uint16_t>({"8"}));
    try {
        qvox::LabelForegroundRegions(components, source, Neighbourhood8{});
    } catch (const qvox::ToolkitError& error) {
        EXPECT_EQ(components.Components().at(0).sourceValue, 8) << "a failed call must change nothing";
        return error.what();
    }
    return "nothing was thrown";
}

TEST(LabelForegroundRegions, HoldsExactly65535ComponentsAndRefusesMore) {
    const ComponentImage full = Label(Dots(65535));
    EXPECT_EQ(full.Components().size(), 65535u);
    EXPECT_EQ(full.Components().back().identifier, 65535);
    EXPECT_EQ(
        MessageOf(Dots(65536)),
        "LabelForegroundRegions: the image has 65536 components, more than the 65535 that a 16-bit label image can "
        "hold.");
}

TEST(LabelForegroundRegions, CountsComponentsAfterJoiningNotBefore) {
    // Every other row begins 150 pieces, all joined by the row below: far more than 65535 pieces, few components.
    LabelImage source;
    source.Resize(600, 600, 1);
    for (std::uint64_t i = 0; i < source.VoxelCount(); ++i) {
        source[i] = i / 600 % 3 == 0 ? i % 2 : i / 600 % 3 == 1;
    }
    EXPECT_EQ(Label(source).Components().size(), 200u);
}

TEST(LabelForegroundRegions, RefusesAnEmptyImageAndMoreThanOnePlane) {
    EXPECT_EQ(MessageOf(LabelImage()), "LabelForegroundRegions: the image is empty.");
    LabelImage planes;
    planes.Resize(3, 3, 2);
    EXPECT_EQ(MessageOf(planes), "LabelForegroundRegions: the image has 2 planes, but only one plane can be labelled.");
}

TEST(RemoveLabel, ClearsOneComponentAndKeepsTheOtherIdentifiers) {
    ComponentImage components = Label(Draw<std::uint16_t>({"5.5", "5.5", "..9"}));
    qvox::RemoveLabel(components, 2);
    EXPECT_TRUE(SameVoxels(Draw<std::uint16_t>({"1..", "1..", "..3"}), components.Identifiers()));
    ASSERT_EQ(components.Components().size(), 2u);
    EXPECT_EQ(components.Find(2), nullptr);
    EXPECT_EQ(components.Find(3)->sourceValue, 9);
    EXPECT_THROW(qvox::RemoveLabel(components, 2), qvox::ToolkitError);
    EXPECT_THROW(qvox::RemoveLabel(components, 0), qvox::ToolkitError);
}

}  // namespace
