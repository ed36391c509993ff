#include "SmallObjectLimit.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace Korvane {

namespace {

/// A true disc and a false one, dark on bright, of these diameters in pixels.
TrainingImage TwoDiscs(double trueDiameter, double falseDiameter, float perUm) {
    constexpr std::uint64_t kSide = 100;
    TrainingImage result;
    result.image.Resize(2 * kSide, kSide, 1);
    result.image.SetResolution({perUm, perUm, 0.0f});
    result.truth.Resize(2 * kSide, kSide, 1);
    result.truth.SetResolution(result.image.Resolution());
    for (std::uint64_t y = 0; y < kSide; ++y) {
        for (std::uint64_t x = 0; x < 2 * kSide; ++x) {
            const bool isTrue = x < kSide;
            const double dx = static_cast<double>(x % kSide) - 49.5;
            const double dy = static_cast<double>(y) - 49.5;
            const double diameter = isTrue ? trueDiameter : falseDiameter;
            const bool inside = 4.0 * (dx * dx + dy * dy) <= diameter * diameter;
            result.image(x, y) = inside ? 10.0f : 200.0f;
            result.truth(x, y) = inside && isTrue ? 1 : 0;
        }
    }
    return result;
}

/// What would be found: both discs.
qvox::LabelImage BothDiscs(const TrainingImage& image) {
    qvox::LabelImage labels;
    labels.Resize(image.image.SizeX(), image.image.SizeY(), 1);
    labels.SetResolution(image.image.Resolution());
    for (std::uint64_t i = 0; i < labels.VoxelCount(); ++i) {
        const bool inside = image.image[i] < 100.0f;
        labels[i] = static_cast<std::uint16_t>(!inside ? 0 : i % labels.SizeX() < labels.SizeX() / 2 ? 1 : 2);
    }
    return labels;
}

TEST(SmallObjectLimit, SeparatesTheTrueFromTheSmallerFalseOnes) {
    // Each limit lies between the two discs, and no other one does.
    for (const float limit :
         {0.01f, 0.02f, 0.03f, 0.04f, 0.05f, 0.06f, 0.07f, 0.08f, 0.1f, 0.12f, 0.15f, 0.2f, 0.3f, 0.4f, 0.5f}) {
        constexpr double kLimitPx = 60.0;
        const float perUm = static_cast<float>(kLimitPx) / limit;
        std::vector<TrainingImage> images;
        std::vector<qvox::LabelImage> labels;
        for (int i = 0; i < 2; ++i) {
            images.push_back(TwoDiscs(kLimitPx + 3.0, kLimitPx - 3.0, perUm));
            labels.push_back(BothDiscs(images.back()));
        }
        const SmallObjectResult result = LearnSmallObjectLimit(images, labels, {});
        EXPECT_EQ(result.fittedUm, limit);
        EXPECT_EQ(result.heldOut, 1.0) << limit;
        const bool isDefault = limit == AnalysisParameters().minObjectDiameterUm;
        EXPECT_EQ(result.limitUm, limit) << "learnt without scatter";
        EXPECT_EQ(result.gain > 0.0, !isDefault) << limit;
        EXPECT_EQ(result.scatter, 0.0);
    }
}

TEST(SmallObjectLimit, IsTheDefaultWhereNoneIsBetter) {
    const std::vector<TrainingImage> images(2, TwoDiscs(40.0, 0.0, 100.0f));
    const std::vector<qvox::LabelImage> labels(2, BothDiscs(images.front()));
    const SmallObjectResult result = LearnSmallObjectLimit(images, labels, {});
    EXPECT_EQ(result.limitUm, AnalysisParameters().minObjectDiameterUm);
    EXPECT_EQ(result.byDefault, 1.0);
    EXPECT_EQ(result.gain, 0.0);
}

TEST(SmallObjectLimit, IsNotTakenWhenItsGainIsWithinTheScatter) {
    // The limit that two images ask for drops the only object of the third.
    const std::vector<TrainingImage> images{TwoDiscs(63.0, 57.0, 600.0f), TwoDiscs(63.0, 57.0, 600.0f),
                                            TwoDiscs(63.0, 0.0, 1000.0f)};
    std::vector<qvox::LabelImage> labels;
    for (const TrainingImage& image : images) labels.push_back(BothDiscs(image));
    const SmallObjectResult result = LearnSmallObjectLimit(images, labels, {});
    EXPECT_EQ(result.fittedUm, 0.1f);
    EXPECT_EQ(result.limitUm, AnalysisParameters().minObjectDiameterUm);
    EXPECT_NEAR(result.gain, -1.0 / 3.0, 1e-12);
    EXPECT_NEAR(result.scatter, 1.0 / 3.0, 1e-12);
}

}  // namespace

}  // namespace Korvane
