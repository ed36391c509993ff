#include "DetectionDriver.h"

#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <opencv2/core/utility.hpp>

#include "NominalSizes.h"
#include "Refinement.h"
#include "operations/Labelling.h"
#include "operations/Shape.h"
#include "reference/PlainDetection.h"
#include "reference/PlainGradientMagnitude.h"
#include "support/GradientMagnitude.h"
#include "support/MaskPictures.h"
#include "support/MatConversion.h"
#include "support/Phantoms.h"
#include "support/StageRecorder.h"
#include "support/TestImages.h"

namespace {

using Korvane::AnalysisParameters;
using Korvane::DetectionStage;
using korvane_test::SameVoxels;
using korvane_test::StageRecorder;

constexpr float kHalfScale = 336.0f;
constexpr float kQuarterScale = 168.0f;

qvox::VoxelImage<float> Vesicles(std::uint32_t seed, int width, int height) {
    return korvane_test::ToImage(korvane_test::Vesicles(seed, width, height));
}

void ExpectSameStages(const StageRecorder& expected, const StageRecorder& actual) {
    EXPECT_EQ(expected.messages, actual.messages);
    ASSERT_EQ(expected.floats.size(), actual.floats.size());
    for (const auto& [stage, map] : expected.floats) {
        EXPECT_TRUE(SameVoxels(map, actual.floats.at(stage))) << "float stage " << static_cast<int>(stage);
    }
    EXPECT_TRUE(SameVoxels(expected.bytes.at(DetectionStage::kFiltered), actual.bytes.at(DetectionStage::kFiltered)));
    ASSERT_EQ(expected.labels.size(), actual.labels.size());
    for (const auto& [stage, map] : expected.labels) EXPECT_TRUE(SameVoxels(map, actual.labels.at(stage)));
}

void ExpectSameAsPlain(const qvox::VoxelImage<float>& raw, const AnalysisParameters& parameters, float xResolution) {
    const qvox::VoxelImage<float> before(raw);
    StageRecorder expected;
    StageRecorder actual;
    qvox::LabelImage expectedLabels({}, {xResolution, xResolution, 0.0f});
    qvox::LabelImage actualLabels({}, {xResolution, xResolution, 0.0f});
    korvane_reference::PlainDetectExosomes(raw, expectedLabels, parameters, xResolution, expected);
    Korvane::DetectExosomes(raw, actualLabels, parameters, xResolution, actual);
    ExpectSameStages(expected, actual);
    EXPECT_TRUE(SameVoxels(expectedLabels, actualLabels));
    EXPECT_TRUE(SameVoxels(before, raw)) << "the image was changed";
}

std::string MessageOf(const qvox::VoxelImage<float>& raw, float xResolution, float size = 1.0f) {
    AnalysisParameters parameters;
    parameters.relativeExosomeSize = size;
    StageRecorder recorder;
    qvox::LabelImage labels;
    try {
        Korvane::DetectExosomes(raw, labels, parameters, xResolution, recorder);
    } catch (const qvox::ToolkitError& error) {
        EXPECT_TRUE(recorder.messages.empty()) << "a picture that cannot be analysed was announced";
        return error.what();
    }
    return "";
}

/// Large enough, at a quarter and half of the nominal scale, that its vesicles and not the picture itself are
/// candidates.
qvox::VoxelImage<float> ManyVesicles(std::uint32_t seed) {
    korvane_test::VesicleOptions options;
    options.count = 12;
    options.smallestRadiusPx = 7.0f;
    options.largestRadiusPx = 16.0f;
    options.touchingPairs = seed % 2 == 0 ? 3 : 0;
    options.overlappingPairs = seed % 2 == 0 ? 2 : 0;
    return korvane_test::ToImage(korvane_test::Vesicles(seed, 200 + static_cast<int>(seed), 190, options));
}

TEST(DetectionDriver, EqualsThePlainFormOnEveryStageOfVesiclePictures) {
    for (std::uint32_t seed = 0; seed < 4; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        AnalysisParameters parameters;
        parameters.roundnessThreshold = seed == 3 ? 0.0f : 0.75f;
        parameters.relativeExosomeSize = seed == 2 ? 1.4f : 1.0f;
        ExpectSameAsPlain(ManyVesicles(seed), parameters, kQuarterScale);
    }
}

TEST(DetectionDriver, FindsSeveralObjectsInAPictureOfVesicles) {
    StageRecorder recorder;
    qvox::LabelImage labels({}, {kQuarterScale, kQuarterScale, 0.0f});
    Korvane::DetectExosomes(ManyVesicles(0), labels, {}, kQuarterScale, recorder);
    EXPECT_GE(std::set<std::uint16_t>(labels.begin(), labels.end()).size(), 5u);
}

TEST(DetectionDriver, EqualsThePlainFormOnSmallNoiseAndSingleLines) {
    for (std::uint32_t seed = 0; seed < 150; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const int width = seed % 7 == 0 ? 1 : 2 + static_cast<int>(random() % 30);
        const int height =
            seed % 7 == 1 || width == 1 ? 3 + static_cast<int>(random() % 30) : 2 + static_cast<int>(random() % 30);
        const cv::Mat map = korvane_test::SmoothNoise(seed, width, seed % 7 == 2 ? 1 : height, seed % 3);
        AnalysisParameters parameters;
        parameters.relativeExosomeSize = seed % 2 == 0 ? 0.1f : 1.9f;
        ExpectSameAsPlain(korvane_test::ToImage(map), parameters, seed % 5 == 0 ? 672.0f : 200.0f);
        if (HasFailure()) return;
    }
}

TEST(DetectionDriver, GivesTheSameBitsForAnyNumberOfThreads) {
    const int usual = cv::getNumThreads();
    const qvox::VoxelImage<float> raw = Vesicles(35, 1100, 160);
    std::vector<StageRecorder> recorders(2);
    for (std::size_t i = 0; i < recorders.size(); ++i) {
        cv::setNumThreads(i == 0 ? 1 : 2);
        qvox::LabelImage labels({}, {kHalfScale, kHalfScale, 0.0f});
        Korvane::DetectExosomes(raw, labels, AnalysisParameters(), kHalfScale, recorders[i]);
    }
    cv::setNumThreads(usual);
    ExpectSameStages(recorders[0], recorders[1]);
}

TEST(DetectionDriver, BlursAPictureOf1024ColumnsMoreThanItsNeighboursInWidth) {
    for (const int width : {1023, 1024, 1025}) {
        const qvox::VoxelImage<float> raw = korvane_test::ToImage(korvane_test::SmoothNoise(5, width, 24, 2.0));
        StageRecorder recorder;
        qvox::LabelImage labels;
        Korvane::DetectExosomes(raw, labels, {}, 67.2f, recorder);
        cv::Mat plain = korvane_reference::PlainPreprocess(raw, korvane_reference::PlainScaleFactor(67.2f, 1.0f));
        EXPECT_EQ(
            korvane_test::DifferingElements(plain, Korvane::ViewAsMat(recorder.floats.at(DetectionStage::kEdges))), 0);
    }
}

TEST(DetectionDriver, AdvancesTheProgressByFiveWithoutTheRefinement) {
    AnalysisParameters parameters;
    parameters.roundnessThreshold = 0.0f;
    StageRecorder recorder(10);
    qvox::LabelImage labels;
    Korvane::DetectExosomes(Vesicles(1, 60, 50), labels, parameters, kHalfScale, recorder);
    EXPECT_EQ(recorder.value, 15);
    EXPECT_EQ(recorder.messages, (std::vector<std::string>{"Image: 3 preprocessing", "Image: 3 detection of exosomes",
                                                           "Image: 3 filtering candidates",
                                                           "Image: 3 cluster separation", "Image: 3 finalizing"}));
    EXPECT_EQ(recorder.floats.count(DetectionStage::kRelief), 0u);
}

TEST(DetectionDriver, AdvancesTheProgressBySixWithTheRefinementSoThatTheImageNumberDrifts) {
    StageRecorder recorder;
    qvox::LabelImage labels;
    Korvane::DetectExosomes(Vesicles(1, 60, 50), labels, {}, kHalfScale, recorder);
    EXPECT_EQ(recorder.value, 6);
    EXPECT_EQ(recorder.messages.back(), "Image: 2 finalization");
}

TEST(DetectionDriver, LeavesNoBackgroundMarkerInTheResult) {
    StageRecorder recorder;
    qvox::LabelImage labels({}, {kQuarterScale, kQuarterScale, 0.0f});
    Korvane::DetectExosomes(ManyVesicles(3), labels, {}, kQuarterScale, recorder);
    const qvox::LabelImage& markers = recorder.labels.at(DetectionStage::kMarkers);
    EXPECT_EQ(markers(0, 0), Korvane::kBackgroundMarker);
    EXPECT_EQ(markers(markers.SizeX() - 1, 7), Korvane::kBackgroundMarker);
    for (const std::uint16_t label : labels) ASSERT_NE(label, Korvane::kBackgroundMarker);
    EXPECT_EQ(labels.Resolution(), (qvox::PixelResolution{kQuarterScale, kQuarterScale, 0.0f}));
}

TEST(DetectionDriver, KeepsAnObjectOfJustTheThresholdsRoundness) {
    EXPECT_TRUE(Korvane::IsRoundEnough(0.5, 0.5f));
    EXPECT_FALSE(Korvane::IsRoundEnough(std::nextafter(0.5, 0.0), 0.5f));
    cv::Mat map = cv::Mat::zeros(40, 40, CV_32FC1);
    map(cv::Rect(5, 8, 22, 11)).setTo(1.0f);
    qvox::LabelImage labels({}, {1.0f, 1.0f, 0.0f});
    labels.Resize(40, 40, 1);
    for (std::uint64_t i = 0; i < labels.VoxelCount(); ++i) labels[i] = map.at<float>(static_cast<int>(i)) > 0.0f;
    qvox::ComponentImage components;
    qvox::LabelForegroundRegions(components, labels, qvox::Neighbourhood8{});
    const double roundness = qvox::Roundness(qvox::EstimateShape(components, 1, qvox::ShapeMeasure::kArea),
                                             qvox::EstimateShape(components, 1, qvox::ShapeMeasure::kPerimeter));
    float below = static_cast<float>(roundness);
    if (static_cast<double>(below) > roundness) below = std::nextafter(below, 0.0f);
    qvox::ComponentImage kept(components);
    Korvane::RemoveUnroundComponents(kept, below);
    EXPECT_EQ(kept.Components().size(), 1u);
    Korvane::RemoveUnroundComponents(components, std::nextafter(below, 2.0f));
    EXPECT_TRUE(components.Components().empty());
}

TEST(DetectionDriver, FindsNothingInAPictureThatSmoothingMakesEven) {
    qvox::VoxelImage<float> raw;
    raw.Resize(2, 1, 1);
    raw[0] = 1.0f;
    raw[1] = 2.0f;
    StageRecorder recorder;
    qvox::LabelImage labels;
    Korvane::DetectExosomes(raw, labels, {}, 6720.0f, recorder);
    EXPECT_TRUE(std::isnan(recorder.floats.at(DetectionStage::kEdges)[0]));
    EXPECT_EQ(labels[0], 0);
    EXPECT_EQ(labels[1], 0);
}

TEST(DetectionDriver, ExplainsImagesThatCannotBeAnalysed) {
    const qvox::VoxelImage<float> good = Vesicles(1, 30, 30);
    EXPECT_EQ(MessageOf(qvox::VoxelImage<float>(), 672.0f), "Detection: the image is empty.");
    qvox::VoxelImage<float> planes;
    planes.Resize(3, 3, 2);
    planes.Zero();
    EXPECT_EQ(MessageOf(planes, 672.0f),
              "Detection: the image has 2 planes; only an image of one plane can be analysed.");
    for (const float bad : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        qvox::VoxelImage<float> image(good);
        image(4, 7) = bad;
        EXPECT_EQ(MessageOf(image, 672.0f),
                  "Detection: the image holds an intensity that is not a finite number, at column 4, row 7.");
    }
    EXPECT_EQ(MessageOf(korvane_test::ToImage(korvane_test::Constant(9, 9, 3.0f)), 672.0f),
              "Detection: the intensity is the same everywhere. There is nothing to detect in such an image.");
    EXPECT_EQ(MessageOf(korvane_test::ToImage(korvane_test::Constant(1, 1, 3.0f)), 672.0f),
              "Detection: the intensity is the same everywhere. There is nothing to detect in such an image.");
    for (const float resolution :
         {0.0f, -1.0f, std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()}) {
        EXPECT_NE(MessageOf(good, resolution).find("pixel size of the image is undefined"), std::string::npos);
    }
    EXPECT_NE(MessageOf(good, 1e9f).find("out of range"), std::string::npos);
    EXPECT_NE(MessageOf(good, 672.0f, 2.0f).find("must be below 2"), std::string::npos);
}

TEST(MatConversion, WrapsOneToZeroInSixteenBits) {
    const cv::Mat values =
        (cv::Mat_<float>(1, 7) << 0.0f, 0.5f, 1.0f, 1.5f, 0.99999994f, std::numeric_limits<float>::quiet_NaN(), 1e30f);
    qvox::VoxelImage<std::uint16_t> image;
    Korvane::CopyToSixteenBit(values, image);
    const std::vector<std::uint16_t> expected{0, 32768, 0, 32768, 65535, 0, 0};
    EXPECT_EQ(std::vector<std::uint16_t>(image.begin(), image.end()), expected);
}

TEST(GradientMagnitudeDifferential, EqualsThePlainFormAtAllSmallSizesAndOnExtremeValues) {
    for (int width = 1; width < 20; ++width) {
        for (int height = 1; height < 8; ++height) {
            cv::Mat map = korvane_test::SmoothNoise(static_cast<std::uint32_t>(width * 8 + height), width, height, 0.0);
            if (width % 3 == 0) map *= 1e-38;
            if (width % 3 == 1) map *= 1e38;
            EXPECT_EQ(korvane_test::DifferingElements(korvane_reference::PlainGradientMagnitude(map),
                                                      Korvane::GradientMagnitude(map)),
                      0)
                << width << " x " << height;
        }
    }
}

}  // namespace
