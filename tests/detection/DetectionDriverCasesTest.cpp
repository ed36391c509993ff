#include "DetectionDriver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include <opencv2/imgproc.hpp>

#include "NominalSizes.h"
#include "Refinement.h"
#include "operations/Labelling.h"
#include "reference/PlainDetection.h"
#include "support/Phantoms.h"
#include "support/StageRecorder.h"
#include "support/TestImages.h"

namespace {

using Korvane::AnalysisParameters;
using Korvane::DetectionStage;
using korvane_test::SameVoxels;
using korvane_test::StageRecorder;
using qvox::LabelImage;
using qvox::VoxelImage;

constexpr float kReference = Korvane::kReferenceResolution;

VoxelImage<float> ToImage(const cv::Mat& map, float resolution = kReference) {
    VoxelImage<float> image({}, {resolution, resolution, 0.0f});
    image.Resize(static_cast<std::uint64_t>(map.cols), static_cast<std::uint64_t>(map.rows), 1);
    for (int y = 0; y < map.rows; ++y) {
        std::copy_n(map.ptr<float>(y), map.cols, image.Row(static_cast<std::uint64_t>(y)));
    }
    return image;
}

VoxelImage<float> VesiclePicture(std::uint32_t seed, int width, int height) {
    return ToImage(korvane_test::Vesicles(seed, width, height));
}

LabelImage LabelsFor(const VoxelImage<float>& raw) {
    LabelImage labels;
    labels.CopyPropertiesFrom(raw);
    return labels;
}

/// Runs the plain and the shipped form and compares every stage and the labels.
void ExpectSameAsPlain(const VoxelImage<float>& raw, const AnalysisParameters& parameters, float resolution) {
    StageRecorder plain;
    StageRecorder shipped;
    LabelImage plainLabels = LabelsFor(raw);
    LabelImage labels = LabelsFor(raw);
    const VoxelImage<float> before(raw);
    korvane_reference::PlainDetectExosomes(raw, plainLabels, parameters, resolution, plain);
    Korvane::DetectExosomes(raw, labels, parameters, resolution, shipped);
    EXPECT_TRUE(SameVoxels(before, raw)) << "the input was changed";
    ASSERT_EQ(plain.floats.size(), shipped.floats.size());
    for (const auto& [stage, map] : plain.floats) {
        EXPECT_TRUE(SameVoxels(map, shipped.floats[stage])) << "stage " << static_cast<int>(stage);
    }
    for (const auto& [stage, map] : plain.bytes) {
        EXPECT_TRUE(SameVoxels(map, shipped.bytes[stage])) << "stage " << static_cast<int>(stage);
    }
    ASSERT_EQ(plain.labels.size(), shipped.labels.size());
    for (const auto& [stage, map] : plain.labels) {
        EXPECT_TRUE(SameVoxels(map, shipped.labels[stage])) << "stage " << static_cast<int>(stage);
    }
    EXPECT_EQ(plain.progress, shipped.progress);
    EXPECT_EQ(plain.trace, shipped.trace);
    EXPECT_TRUE(SameVoxels(plainLabels, labels));
    EXPECT_EQ(labels.Resolution(), raw.Resolution());
}

TEST(DetectionDriverCases, EveryStageEqualsThePlainFormOverPicturesAndParameters) {
    constexpr int kPictures = 40;
    for (std::uint32_t seed = 0; seed < kPictures; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const int width = 40 + static_cast<int>(random() % 90);
        const int height = 40 + static_cast<int>(random() % 90);
        korvane_test::VesicleOptions look;
        look.count = 6;
        look.smallestRadiusPx = 5.0f;
        look.largestRadiusPx = 14.0f;
        const cv::Mat picture = seed % 4 == 3 ? korvane_test::SmoothNoise(seed, width, height, 2.0)
                                              : korvane_test::Vesicles(seed, width, height, look);
        AnalysisParameters parameters;
        parameters.areaFraction = seed % 3 == 0 ? 0.3f : 0.15f;
        parameters.roundnessThreshold = seed % 5 == 0 ? 0.0f : 0.6f;
        parameters.maxRelativeClusterSize = seed % 7 == 0 ? 1.9f : 1.0f;
        parameters.relativeExosomeSize = seed % 6 == 0 ? 1.5f : 1.0f;
        ExpectSameAsPlain(ToImage(picture), parameters, kReference * (0.1f + 0.02f * static_cast<float>(seed % 20)));
    }
}

TEST(DetectionDriverCases, SingleRowsAndColumnsEndInAResult) {
    for (const auto& [width, height] : {std::pair{200, 1}, std::pair{1, 200}, std::pair{2, 3}}) {
        SCOPED_TRACE(width);
        ExpectSameAsPlain(ToImage(korvane_test::SmoothNoise(5, width, height, 1.0)), {}, kReference * 0.2f);
    }
}

TEST(DetectionDriverCases, APictureWiderThan4096EqualsThePlainForm) {
    korvane_test::VesicleOptions look;
    look.count = 80;
    look.smallestRadiusPx = 4.0f;
    look.largestRadiusPx = 8.0f;
    ExpectSameAsPlain(ToImage(korvane_test::Vesicles(3, 4500, 24, look)), {}, kReference * 0.15f);
}

// The first maps of a picture of that width, computed here from the blur's definition.
void ExpectBlurSigma(int width, double sigma) {
    const VoxelImage<float> raw = VesiclePicture(9, width, 64);
    AnalysisParameters parameters;
    parameters.roundnessThreshold = 0.0f;
    // So small a scale that no diffusion step is left: the edge map is that of the blurred picture.
    const float resolution = kReference * 0.04f;
    StageRecorder recorder;
    LabelImage labels = LabelsFor(raw);
    Korvane::DetectExosomes(raw, labels, parameters, resolution, recorder);

    cv::Mat image(64, width, CV_32F, const_cast<float*>(raw.begin()));
    double low = 0;
    double high = 0;
    cv::minMaxLoc(image, &low, &high);
    cv::Mat blurred = (image - low) / (high - low);
    cv::GaussianBlur(blurred, blurred, cv::Size(-1, -1), sigma, sigma, cv::BORDER_REFLECT_101);
    for (float& value : cv::Mat_<float>(blurred)) {
        value = static_cast<float>(static_cast<std::uint16_t>(static_cast<int>(value * 65536.0f)));
    }
    cv::Mat gx;
    cv::Mat gy;
    cv::Mat edges;
    const cv::Mat difference = (cv::Mat_<float>(1, 3) << -0.5f, 0.0f, 0.5f);
    cv::filter2D(blurred, gx, CV_32F, difference, cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
    cv::filter2D(blurred, gy, CV_32F, difference.t(), cv::Point(-1, -1), 0, cv::BORDER_REPLICATE);
    cv::magnitude(gx, gy, edges);
    korvane_test::SpanZeroToOne(edges);
    const VoxelImage<float>& found = recorder.floats[DetectionStage::kEdges];
    float worst = 0.0f;
    for (int y = 0; y < 64; ++y) {
        for (int x = 0; x < width; ++x) {
            worst = std::max(worst, std::fabs(edges.at<float>(y, x) -
                                              found(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y))));
        }
    }
    EXPECT_LT(worst, 0.001f) << "width " << width;
}

TEST(DetectionDriverCases, APicture1024WideIsBlurredByFourPixelsMore) {
    ExpectBlurSigma(1023, 1.5 * 0.04);
    ExpectBlurSigma(1024, 1.5 * 0.04 + 4.0);
    ExpectBlurSigma(1025, 1.5 * 0.04);
}

TEST(DetectionDriverCases, WithoutRefinementTheProgressAdvancesByFive) {
    const VoxelImage<float> raw = VesiclePicture(1, 160, 120);
    AnalysisParameters parameters;
    parameters.roundnessThreshold = 0.0f;
    StageRecorder recorder;
    LabelImage labels = LabelsFor(raw);
    Korvane::DetectExosomes(raw, labels, parameters, kReference * 0.3f, recorder);
    const std::vector<std::pair<int, std::string>> expected{{1, "Image: 1 preprocessing"},
                                                            {2, "Image: 1 detection of exosomes"},
                                                            {3, "Image: 1 filtering candidates"},
                                                            {4, "Image: 1 cluster separation"},
                                                            {5, "Image: 1 finalizing"}};
    EXPECT_EQ(recorder.progress, expected);
    EXPECT_EQ(recorder.labels.count(DetectionStage::kMarkers), 0u);
}

TEST(DetectionDriverCases, WithRefinementTheProgressAdvancesBySixAndTheNumberDrifts) {
    const VoxelImage<float> raw = VesiclePicture(1, 160, 120);
    StageRecorder recorder(6);
    LabelImage labels = LabelsFor(raw);
    Korvane::DetectExosomes(raw, labels, {}, kReference * 0.3f, recorder);
    ASSERT_EQ(recorder.progress.size(), 6u);
    EXPECT_EQ(recorder.progress.front(), (std::pair<int, std::string>{7, "Image: 2 preprocessing"}));
    EXPECT_EQ(recorder.progress.back(), (std::pair<int, std::string>{12, "Image: 3 finalization"}));
}

TEST(DetectionDriverCases, TheBackgroundMarkerIsNeverLeftInTheResult) {
    const VoxelImage<float> raw = VesiclePicture(2, 200, 160);
    StageRecorder recorder;
    LabelImage labels = LabelsFor(raw);
    Korvane::DetectExosomes(raw, labels, {}, kReference * 0.4f, recorder);
    const LabelImage& markers = recorder.labels[DetectionStage::kMarkers];
    EXPECT_NE(std::find(markers.begin(), markers.end(), Korvane::kBackgroundMarker), markers.end());
    EXPECT_EQ(std::find(labels.begin(), labels.end(), Korvane::kBackgroundMarker), labels.end());
    EXPECT_NE(std::find_if(labels.begin(), labels.end(), [](std::uint16_t v) { return v != 0; }), labels.end());
}

TEST(DetectionDriverCases, AnObjectExactlyAtTheRoundnessThresholdStays) {
    EXPECT_TRUE(Korvane::IsRoundEnough(0.75, 0.75f));
    EXPECT_FALSE(Korvane::IsRoundEnough(std::nextafter(0.75, 0.0), 0.75f));
    EXPECT_TRUE(Korvane::IsRoundEnough(std::nextafter(0.75, 1.0), 0.75f));
}

TEST(DetectionDriverCases, TheEdgeContrastChangesNothing) {
    const VoxelImage<float> raw = VesiclePicture(4, 160, 120);
    Korvane::DetectionObserver silent;
    LabelImage usual = LabelsFor(raw);
    LabelImage other = LabelsFor(raw);
    AnalysisParameters parameters;
    Korvane::DetectExosomes(raw, usual, parameters, kReference * 0.3f, silent);
    parameters.edgeContrast = 0.9f;
    Korvane::DetectExosomes(raw, other, parameters, kReference * 0.3f, silent);
    EXPECT_TRUE(SameVoxels(usual, other));
}

TEST(DetectionDriverCases, TheResultIsTheSameWhateverTheLabelsHeldBefore) {
    const VoxelImage<float> raw = VesiclePicture(6, 120, 160);
    Korvane::DetectionObserver silent;
    LabelImage fresh = LabelsFor(raw);
    LabelImage used = LabelsFor(raw);
    used.Resize(7, 5, 1);
    std::fill(used.begin(), used.end(), std::uint16_t{9});
    Korvane::DetectExosomes(raw, fresh, {}, kReference * 0.3f, silent);
    Korvane::DetectExosomes(raw, used, {}, kReference * 0.3f, silent);
    EXPECT_TRUE(SameVoxels(fresh, used));
}

std::string ErrorFor(const VoxelImage<float>& raw, float resolution) {
    LabelImage labels;
    Korvane::DetectionObserver silent;
    try {
        Korvane::DetectExosomes(raw, labels, {}, resolution, silent);
    } catch (const qvox::ToolkitError& error) {
        return error.what();
    }
    return "";
}

TEST(DetectionDriverCases, WhatCannotBeAnalysedEndsInOneClearError) {
    VoxelImage<float> picture = VesiclePicture(7, 64, 48);
    EXPECT_EQ(ErrorFor(VoxelImage<float>{}, kReference), "Detection: the image is empty.");
    for (const float undefined :
         {0.0f, -1.0f, std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        EXPECT_NE(ErrorFor(picture, undefined).find("pixel size of the image is undefined"), std::string::npos);
    }
    picture(5, 3) = std::numeric_limits<float>::quiet_NaN();
    EXPECT_NE(ErrorFor(picture, kReference).find("not a finite number, at column 5, row 3"), std::string::npos);
    picture(5, 3) = std::numeric_limits<float>::infinity();
    EXPECT_NE(ErrorFor(picture, kReference).find("not a finite number"), std::string::npos);
    EXPECT_NE(ErrorFor(ToImage(korvane_test::Constant(20, 10, 3.0f)), kReference).find("is the same everywhere"),
              std::string::npos);
    EXPECT_NE(ErrorFor(ToImage(korvane_test::Constant(1, 1, 3.0f)), kReference).find("is the same everywhere"),
              std::string::npos);
    VoxelImage<float> planes;
    planes.Resize(8, 8, 2);
    planes.Zero();
    EXPECT_NE(ErrorFor(planes, kReference).find("2 planes"), std::string::npos);
}

}  // namespace
