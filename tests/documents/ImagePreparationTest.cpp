#include "ImagePreparation.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "ImageLoading.h"

namespace {

using namespace Korvane;

/// Grey levels that tell their place, with labels of 7.
Position Numbered(std::uint64_t width, std::uint64_t height) {
    Position position;
    position.image.Resize(width, height, 1);
    for (std::uint64_t i = 0; i < position.image.VoxelCount(); ++i) position.image[i] = static_cast<float>(i);
    position.labels = EmptyLabelsFor(position.image);
    std::fill(position.labels.begin(), position.labels.end(), std::uint16_t{7});
    return position;
}

TEST(ImagePreparation, AnAnalysisGetsItsRegionAndTheLabelsComeBackInTheWholeImage) {
    Position position = Numbered(30, 20);
    PreparationRules rules;
    rules.region = PixelBox{4, 5, 10, 8};
    const std::string done = AnalysePrepared(rules, position.image, position.labels,
                                             [](const qvox::VoxelImage<float>& part, qvox::LabelImage& labels) {
                                                 ASSERT_EQ(part.SizeX(), 10u);
                                                 ASSERT_EQ(part.SizeY(), 8u);
                                                 EXPECT_EQ(part(0, 0), 5.0f * 30.0f + 4.0f);
                                                 EXPECT_EQ(labels(9, 7), 7);
                                                 labels(0, 0) = 9;
                                             });
    EXPECT_EQ(done, "region 4,5,10,8");
    ASSERT_TRUE(position.labels.SameSizes(position.image));
    EXPECT_EQ(position.labels(4, 5), 9);
    EXPECT_EQ(position.labels(13, 12), 7);
    EXPECT_EQ(std::count(position.labels.begin(), position.labels.end(), 0), 30 * 20 - 10 * 8);
}

TEST(ImagePreparation, WithoutRulesTheImageItselfIsAnalysed) {
    Position position = Numbered(6, 5);
    bool isSame = false;
    const std::string done = AnalysePrepared(
        {}, position.image, position.labels,
        [&](const qvox::VoxelImage<float>& part, qvox::LabelImage&) { isSame = &part == &position.image; });
    EXPECT_TRUE(isSame);
    EXPECT_EQ(done, "");
}

TEST(ImagePreparation, ARegionThatLeavesTheImageIsRefusedAndTheLabelsStay) {
    Position position = Numbered(6, 5);
    PreparationRules rules;
    for (const auto& [region, text] : {std::pair{PixelBox{2, 0, 5, 5}, "2,0,5,5"}, {PixelBox{0, 1, 6, 5}, "0,1,6,5"}}) {
        rules.region = region;
        try {
            AnalysePrepared(rules, position.image, position.labels,
                            [](const qvox::VoxelImage<float>&, qvox::LabelImage&) { FAIL(); });
            FAIL() << text;
        } catch (const PreparationError& error) {
            EXPECT_EQ(std::string(error.what()),
                      std::string("the region ") + text + " does not lie inside the image of 6 x 5 pixels");
        }
    }
    EXPECT_EQ(std::count(position.labels.begin(), position.labels.end(), 7), 30);
    rules.region = PixelBox{1, 2, 5, 3};
    AnalysePrepared(rules, position.image, position.labels, [](const qvox::VoxelImage<float>&, qvox::LabelImage&) {});
}

}  // namespace
