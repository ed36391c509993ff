#include "reference/PlainDetection.h"

#include <cmath>
#include <string>

#include <opencv2/imgproc.hpp>

#include "operations/Diffusion.h"
#include "operations/Erosion.h"
#include "operations/IntensityHistogram.h"
#include "operations/Labelling.h"
#include "operations/Shape.h"
#include "operations/Threshold.h"
#include "operations/Watershed.h"
#include "reference/PlainCandidateDetection.h"
#include "reference/PlainCandidateFilter.h"
#include "reference/PlainClusterSeparation.h"
#include "reference/PlainGaussianSmoothing.h"
#include "reference/PlainGradientMagnitude.h"
#include "reference/PlainMatConversion.h"
#include "reference/PlainTruncation.h"

namespace korvane_reference {

using Korvane::DetectionObserver;
using Korvane::DetectionStage;

namespace {

constexpr std::uint16_t kBackground = 20000;
constexpr int kStepsPerPosition = 5;

void Announce(DetectionObserver& observer, DetectionStage stage) {
    const int value = observer.ProgressValue();
    observer.BeginStage(stage, {value + 1, value / kStepsPerPosition + 1});
}

void ShowFloat(DetectionObserver& observer, DetectionStage stage, const cv::Mat& map) {
    if (!observer.WantsStage(stage)) return;
    qvox::VoxelImage<float> image;
    PlainToImage(map, image);
    observer.StageFloat(stage, image);
}

void ShowByte(DetectionObserver& observer, DetectionStage stage, const cv::Mat& map) {
    if (!observer.WantsStage(stage)) return;
    qvox::VoxelImage<std::uint8_t> image;
    PlainToImage(map, image);
    observer.StageByte(stage, image);
}

void Check(const qvox::VoxelImage<float>& raw, float xResolution) {
    if (raw.Empty()) throw qvox::ToolkitError("Detection: the image is empty.");
    if (raw.SizeZ() != 1) throw qvox::ToolkitError("Detection: the image has more than one plane.");
    if (!(std::isfinite(xResolution) && xResolution > 0.0f)) {
        throw qvox::ToolkitError("Detection: the pixel size is undefined.");
    }
    bool constant = true;
    for (const float voxel : raw) {
        if (!std::isfinite(voxel)) throw qvox::ToolkitError("Detection: the image holds NaN or infinity.");
        if (voxel != raw[0]) constant = false;
    }
    if (constant) throw qvox::ToolkitError("Detection: the image holds one constant value.");
}

void Normalise(cv::Mat& map) {
    double minimum = 0.0;
    double maximum = 0.0;
    cv::minMaxLoc(map, &minimum, &maximum);
    const float low = static_cast<float>(minimum);
    const float range = static_cast<float>(maximum - minimum);
    for (int y = 0; y < map.rows; ++y) {
        for (int x = 0; x < map.cols; ++x) map.at<float>(y, x) = (map.at<float>(y, x) - low) / range * 1.0f;
    }
}

void LabelObjects(const cv::Mat& separated, qvox::LabelImage& labels) {
    labels.Resize(static_cast<std::uint64_t>(separated.cols), static_cast<std::uint64_t>(separated.rows), 1);
    for (int y = 0; y < separated.rows; ++y) {
        for (int x = 0; x < separated.cols; ++x) {
            labels(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) =
                separated.at<float>(y, x) > 0.0f ? 1 : 0;
        }
    }
    qvox::ComponentImage components;
    qvox::LabelForegroundRegions(components, labels, qvox::Neighbourhood8{});
    labels = components.Identifiers();
}

/// Markers: the objects, and the background far from all of them and on the border.
qvox::LabelImage RefinementMarkers(const qvox::LabelImage& labels, float scale) {
    qvox::LabelImage markers(labels);
    qvox::VoxelImage<bool> background;
    qvox::ThresholdToMask(labels, background, 0, 0);
    qvox::VoxelImage<bool> eroded;
    qvox::ErodeMask(background, eroded, PlainTruncateToInt(100.0 * static_cast<double>(scale)));
    for (std::uint64_t i = 0; i < markers.VoxelCount(); ++i) {
        if (eroded[i] || eroded.OnBorder(i)) markers[i] = kBackground;
    }
    return markers;
}

void DropUnround(qvox::LabelImage& labels, float roundnessThreshold) {
    qvox::ComponentImage components;
    qvox::LabelForegroundRegions(components, labels, qvox::Neighbourhood8{});
    qvox::Histogram histogram;
    qvox::IntensityHistogram(components.Identifiers(), histogram);
    for (std::size_t label = 1; label < histogram.size(); ++label) {
        if (histogram[label] == 0) continue;
        const std::uint16_t identifier = static_cast<std::uint16_t>(label);
        const double perimeter = qvox::EstimateShape(components, identifier, qvox::ShapeMeasure::kPerimeter);
        const double area = qvox::EstimateShape(components, identifier, qvox::ShapeMeasure::kArea);
        const double roundness = 4.0 * CV_PI * area / (perimeter * perimeter);
        if (static_cast<double>(roundnessThreshold) > roundness) qvox::RemoveLabel(components, identifier);
    }
    labels = components.Identifiers();
}

void Refine(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels, float roundnessThreshold, float scale,
            DetectionObserver& observer) {
    qvox::VoxelImage<float> smoothed;
    PlainSmoothWithGaussian(raw, smoothed, 3.0 * static_cast<double>(scale));
    const cv::Mat matrix = PlainGradientMagnitude(PlainToMat(smoothed));
    qvox::VoxelImage<float> relief;
    PlainToImage(matrix, relief);
    ShowFloat(observer, DetectionStage::kRelief, matrix);

    const qvox::LabelImage markers = RefinementMarkers(labels, scale);
    if (observer.WantsStage(DetectionStage::kMarkers)) observer.StageLabels(DetectionStage::kMarkers, markers);

    Announce(observer, DetectionStage::kRefined);
    qvox::LabelImage grown;
    qvox::WatershedFromMarkers(relief, markers, grown, qvox::Neighbourhood8{});
    for (std::uint64_t i = 0; i < labels.VoxelCount(); ++i) {
        labels[i] = grown[i] == kBackground ? std::uint16_t{0} : grown[i];
    }
    DropUnround(labels, roundnessThreshold);
}

}  // namespace

float PlainScaleFactor(float xResolution, float relativeExosomeSize) {
    const float resolutionScale = xResolution / 672.0f;
    return static_cast<float>(static_cast<double>(resolutionScale) * (2.0 - static_cast<double>(relativeExosomeSize)));
}

cv::Mat PlainPreprocess(const qvox::VoxelImage<float>& raw, float scale) {
    cv::Mat matrix = PlainToMat(raw);
    Normalise(matrix);
    const double widthBonus = matrix.cols == 1024 ? 4.0 : 0.0;
    const double sigma = 1.5 * static_cast<double>(scale) + widthBonus;
    qvox::VoxelImage<float> normalised;
    PlainToImage(matrix, normalised);
    qvox::VoxelImage<float> smoothed;
    PlainSmoothWithGaussian(normalised, smoothed, sigma);
    matrix = PlainToMat(smoothed);

    qvox::VoxelImage<std::uint16_t> image;
    image.Resize(raw.SizeX(), raw.SizeY(), 1);
    for (int y = 0; y < matrix.rows; ++y) {
        for (int x = 0; x < matrix.cols; ++x) {
            image(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) =
                PlainTruncateTo16Bits(static_cast<double>(matrix.at<float>(y, x)) * 65536.0);
        }
    }
    qvox::EdgeEnhancingDiffusion(image, 5.0f * scale, 0.005f, 0.05f,
                                 PlainTruncateToCount(20.0 * static_cast<double>(scale)));
    for (int y = 0; y < matrix.rows; ++y) {
        for (int x = 0; x < matrix.cols; ++x) {
            matrix.at<float>(y, x) =
                static_cast<float>(image(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)));
        }
    }
    matrix = PlainGradientMagnitude(matrix);
    Normalise(matrix);
    return matrix;
}

void PlainDetectExosomes(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels,
                         const Korvane::AnalysisParameters& parameters, float xResolution,
                         DetectionObserver& observer) {
    Check(raw, xResolution);
    const float scale = PlainScaleFactor(xResolution, parameters.relativeExosomeSize);

    Announce(observer, DetectionStage::kEdges);
    const cv::Mat edges = PlainPreprocess(raw, scale);
    ShowFloat(observer, DetectionStage::kEdges, edges);

    Announce(observer, DetectionStage::kCandidates);
    cv::Mat candidates = cv::Mat::zeros(edges.rows, edges.cols, CV_32F);
    PlainDetectCandidates(edges, candidates, scale, parameters.maxRelativeClusterSize, observer);
    ShowFloat(observer, DetectionStage::kCandidates, candidates);
    const cv::Mat equal = candidates == 2.0;
    cv::Mat working;
    equal.convertTo(working, CV_32F, 1.0, 0.0);
    cv::threshold(working, working, 150.0, 1.0, cv::THRESH_BINARY);

    Announce(observer, DetectionStage::kFiltered);
    cv::Mat filtered = cv::Mat::zeros(edges.rows, edges.cols, CV_8U);
    PlainFilterCandidates(working, filtered, scale, parameters.areaFraction);
    ShowByte(observer, DetectionStage::kFiltered, filtered);

    Announce(observer, DetectionStage::kSeparated);
    working = PlainSeparateClusters(filtered, scale);
    ShowFloat(observer, DetectionStage::kSeparated, working);

    Announce(observer, DetectionStage::kLabelled);
    LabelObjects(working, labels);
    if (parameters.roundnessThreshold > 0.0f) Refine(raw, labels, parameters.roundnessThreshold, scale, observer);
}

}  // namespace korvane_reference
