#include "ProfileSampling.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace Korvane {

namespace {

constexpr double kPi = 3.141592653589793;

/// The profiles of label 7 on an image of one grey level, 1 nm per pixel.
ProfileSet ProfilesOf(const qvox::LabelImage& labels) {
    qvox::VoxelImage<float> image;
    image.Resize(labels.SizeX(), labels.SizeY(), 1);
    std::fill(image.begin(), image.end(), 4.0f);
    for (const LabelExtent& extent : LabelExtents(labels)) {
        if (extent.label == 7) return SampleProfiles(image, labels, nullptr, extent);
    }
    ADD_FAILURE() << "no label";
    return {};
}

qvox::LabelImage Blank() {
    qvox::LabelImage labels;
    labels.Resize(60, 60, 1);
    labels.SetResolution({1000.0f, 1000.0f, 0.0f});
    labels.Zero();
    return labels;
}

void Fill(qvox::LabelImage& labels, std::uint64_t x, std::uint64_t y, std::uint64_t width, std::uint64_t height) {
    for (std::uint64_t v = y; v < y + height; ++v) std::fill_n(labels.Row(v) + x, width, std::uint16_t{7});
}

TEST(ProfileSampling, TheRadiusIsThatOfTheDiscOfTheLabelsPixels) {
    for (std::uint64_t side = 6; side < 30; ++side) {
        qvox::LabelImage labels = Blank();
        Fill(labels, 15, 16, side, side + 1);
        EXPECT_NEAR(ProfilesOf(labels).radius, std::sqrt(static_cast<double>(side * (side + 1)) / kPi), 1e-9) << side;
    }
}

TEST(ProfileSampling, OfSeveralPiecesTheLargestIsTaken) {
    qvox::LabelImage labels = Blank();
    Fill(labels, 2, 2, 8, 8);
    Fill(labels, 20, 20, 20, 15);
    Fill(labels, 50, 50, 9, 9);
    EXPECT_NEAR(ProfilesOf(labels).radius, std::sqrt(300.0 / kPi), 1e-9);
}

TEST(ProfileSampling, PiecesThatAreSmallerThanADiscOfThreePixelsRadiusHaveNone) {
    // Such a disc has 28.3 pixels.
    for (const std::uint64_t width : {1u, 2u, 3u, 28u, 29u}) {
        qvox::LabelImage labels = Blank();
        Fill(labels, 10, 30, width, 1);
        EXPECT_EQ(ProfilesOf(labels).length > 0, width > 28) << width;
    }
}

TEST(ProfileSampling, OnOneGreyLevelNoProfileHasASlope) {
    qvox::LabelImage labels = Blank();
    Fill(labels, 20, 20, 20, 15);
    const ProfileSet profiles = ProfilesOf(labels);
    ASSERT_EQ(profiles.grey.size(), profiles.length * kProfileDirections);
    EXPECT_EQ(profiles.Place(profiles.origin), 0.0);
    for (std::size_t i = 0; i < profiles.grey.size(); ++i) {
        EXPECT_NEAR(profiles.slope[i], 0.0f, 1e-5f);
        EXPECT_NEAR(profiles.grey[i], profiles.isSeen[i] != 0 ? 4.0f : 0.0f, 1e-5f);
    }
}

}  // namespace

}  // namespace Korvane
