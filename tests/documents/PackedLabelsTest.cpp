#include "PackedLabels.h"

#include <algorithm>
#include <set>

#include <gtest/gtest.h>

#include "support/Random.h"
#include "support/TestImages.h"
#include "support/TestThreads.h"

namespace Korvane {

namespace {

using korvane_test::SameVoxels;

qvox::LabelImage BackFrom(const PackedLabels& packed, const qvox::LabelImage& sizes) {
    qvox::LabelImage back;
    back.Resize(sizes.SizeX(), sizes.SizeY(), sizes.SizeZ());
    std::fill(back.begin(), back.end(), std::uint16_t{77});
    packed.UnpackInto(back);
    return back;
}

std::size_t DistinctLabels(const qvox::LabelImage& labels) {
    std::set<std::uint16_t> found(labels.begin(), labels.end());
    found.erase(0);
    return found.size();
}

TEST(PackedLabels, SetAllBackgroundOnAnyNumberOfThreads) {
    qvox::LabelImage labels;
    labels.Resize(1100, 1000, 1);
    labels.Zero();
    for (const std::uint64_t last : {0u, 1u, 700000u, 1099999u}) {
        labels[last] = 9;
        const PackedLabels packed(labels);
        korvane_test::ForEachNumberOfThreads([&](unsigned threads, const qvox::PartRunner& run) {
            qvox::LabelImage back;
            back.Resize(1100, 1000, 1);
            std::fill(back.begin(), back.end(), std::uint16_t{77});
            packed.UnpackInto(back, run);
            EXPECT_TRUE(SameVoxels(labels, back)) << last << ", " << threads;
        });
    }
}

TEST(PackedLabels, GiveBackWhatWasPacked) {
    std::mt19937 random(5);
    for (const std::uint64_t width : {1u, 2u, 15u, 16u, 17u, 33u, 200u}) {
        for (const int most : {0, 1, 3, 65535}) {
            qvox::LabelImage labels = korvane_test::RandomImage<std::uint16_t>(random, width, 37, 0, most);
            // Long runs of some label and of background, which cross the ends of rows.
            for (std::uint64_t i = 0; most != 3 && i < labels.VoxelCount(); ++i) {
                if (i % 64 > 9) labels[i] = labels[i - i % 64 + (i % 64 > 30 ? 1u : 0u)];
            }
            const PackedLabels packed(labels);
            EXPECT_TRUE(SameVoxels(labels, BackFrom(packed, labels))) << "width " << width << ", most " << most;
            EXPECT_EQ(packed.CountLabels(), DistinctLabels(labels)) << "width " << width << ", most " << most;
        }
    }
}

TEST(PackedLabels, OfBackgroundTakeNothing) {
    qvox::LabelImage labels;
    labels.Resize(300, 200, 1);
    labels.Zero();
    EXPECT_EQ(PackedLabels(labels).Bytes(), 0u);
    EXPECT_EQ(PackedLabels(labels).CountLabels(), 0u);
    EXPECT_TRUE(SameVoxels(labels, BackFrom(PackedLabels(), labels)));
}

TEST(PackedLabels, TakeSomeBytesForEachRowOfAnObject) {
    qvox::LabelImage labels;
    labels.Resize(1000, 1000, 1);
    labels.Zero();
    for (std::uint64_t y = 100; y < 200; ++y) std::fill_n(labels.Row(y) + 300, 80, std::uint16_t{1234});
    EXPECT_LE(PackedLabels(labels).Bytes(), 101u * 5u);
}

TEST(PackedLabels, OfAnEmptyImageAreEmpty) {
    const qvox::LabelImage labels;
    EXPECT_TRUE(BackFrom(PackedLabels(labels), labels).Empty());
}

}  // namespace

}  // namespace Korvane
