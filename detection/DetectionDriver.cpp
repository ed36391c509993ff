#include "DetectionDriver.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include "CandidateDetection.h"
#include "CandidateFilter.h"
#include "ClusterSeparation.h"
#include "ComponentImage.h"
#include "support/GradientMagnitude.h"
#include "support/InputChecks.h"
#include "NominalSizes.h"
#include "support/MarkerGrowth.h"
#include "support/MatConversion.h"
#include "RoundnessFilter.h"
#include "operations/Diffusion.h"
#include "operations/Labelling.h"

namespace Korvane {
namespace {

constexpr std::uint64_t kWidthWithBonus = 1024;
constexpr double kSigmaBonusPx = 4.0;

void Announce(DetectionObserver& observer, DetectionStage stage) {
    const int value = observer.ProgressValue();
    observer.BeginStage(stage, {value + 1, value / kProgressStepsPerPosition + 1});
}

void CheckIntensities(const qvox::VoxelImage<float>& raw) {
    const auto bad = std::find_if(raw.begin(), raw.end(), [](float v) { return !std::isfinite(v); });
    if (bad != raw.end()) {
        const auto at = raw.Coordinates(static_cast<std::uint64_t>(bad - raw.begin()));
        throw qvox::ToolkitError("Detection: the image holds an intensity that is not a finite number, at column " +
                                 std::to_string(at[0]) + ", row " + std::to_string(at[1]) + ".");
    }
}

float ScaleFactor(float xResolution, float relativeExosomeSize) {
    const float resolutionScale = CheckedResolutionScale("Detection", xResolution);
    const auto scale =
        static_cast<float>(static_cast<double>(resolutionScale) * (2.0 - static_cast<double>(relativeExosomeSize)));
    if (!(scale > 0.0f) || scale > kMaxScale) {
        throw qvox::ToolkitError("Detection: a relative exosome size of " + std::to_string(relativeExosomeSize) +
                                 " leaves no usable scale; it must be below 2.");
    }
    return scale;
}

void CheckRange(float range) {
    if (range > 0.0f && !std::isinf(range)) return;
    throw qvox::ToolkitError(std::string("Detection: the intensity ") +
                             (range > 0.0f ? "spans more than a float can hold." : "is the same everywhere.") +
                             " There is nothing to detect in such an image.");
}

struct Span {
    float low = 0.0f;
    float range = 0.0f;
};

Span SpanOf(const cv::Mat& map) {
    double min = 0.0;
    double max = 0.0;
    cv::minMaxLoc(map, &min, &max);
    return {static_cast<float>(min), static_cast<float>(max - min)};
}

/// (x - low) / range in single precision; `source` and `result` may be the same.
void Normalise(const cv::Mat& source, Span span, cv::Mat& result) {
    for (int y = 0; y < source.rows; ++y) {
        const float* from = source.ptr<float>(y);
        std::transform(from, from + source.cols, result.ptr<float>(y),
                       [span](float value) { return (value - span.low) / span.range; });
    }
}

void RunOnOpenCVThreads(std::size_t count, const std::function<void(std::size_t)>& part) {
    cv::parallel_for_(cv::Range(0, static_cast<int>(count)), [&](const cv::Range& range) {
        for (int i = range.start; i < range.end; ++i) part(static_cast<std::size_t>(i));
    });
}

cv::Mat EdgeMap(const qvox::VoxelImage<float>& raw, float scale) {
    qvox::VoxelImage<std::uint16_t> smoothed;
    {
        const cv::Mat source = ViewAsMat(raw);
        const Span span = SpanOf(source);
        cv::Mat image(source.size(), CV_32FC1);
        Normalise(source, span, image);
        const double bonus = raw.SizeX() == kWidthWithBonus ? kSigmaBonusPx : 0.0;
        const double sigma = 1.5 * static_cast<double>(scale) + bonus;
        cv::GaussianBlur(image, image, cv::Size(-1, -1), sigma, sigma, cv::BORDER_REFLECT_101);
        CopyToSixteenBit(image, smoothed);
    }
    qvox::EdgeEnhancingDiffusion(smoothed, 5.0f * scale, 0.005f, 0.05f,
                                 static_cast<std::uint64_t>(20.0 * static_cast<double>(scale)), RunOnOpenCVThreads);
    cv::Mat image = ToFloatMat(smoothed);
    smoothed.Release();
    cv::Mat edges = GradientMagnitude(image);
    image.release();
    // A picture that smoothing made even has no edges: 0 / 0 everywhere, which the level sweep finds nothing in.
    Normalise(edges, SpanOf(edges), edges);
    return edges;
}

void ShowFloat(DetectionObserver& observer, DetectionStage stage, const cv::Mat& map) {
    if (!observer.WantsStage(stage)) return;
    qvox::VoxelImage<float> copy;
    CopyFromMat(map, copy);
    observer.StageFloat(stage, copy);
}

cv::Mat CandidateMask(const cv::Mat& edges, float scale, float maxRelativeClusterSize, DetectionObserver& observer) {
    cv::Mat candidates = cv::Mat::zeros(edges.size(), CV_32FC1);
    DetectCandidates(edges, candidates, scale, maxRelativeClusterSize, observer);
    ShowFloat(observer, DetectionStage::kCandidates, candidates);
    for (int y = 0; y < candidates.rows; ++y) {
        float* row = candidates.ptr<float>(y);
        std::transform(row, row + candidates.cols, row,
                       [](float code) { return code == kCandidateCode ? 1.0f : 0.0f; });
    }
    return candidates;
}

/// Every map is dropped as soon as the next one is made.
cv::Mat Blobs(const qvox::VoxelImage<float>& raw, float scale, const AnalysisParameters& parameters,
              DetectionObserver& observer) {
    Announce(observer, DetectionStage::kEdges);
    cv::Mat edges = EdgeMap(raw, scale);
    ShowFloat(observer, DetectionStage::kEdges, edges);

    Announce(observer, DetectionStage::kCandidates);
    cv::Mat mask = CandidateMask(edges, scale, parameters.maxRelativeClusterSize, observer);
    edges.release();

    Announce(observer, DetectionStage::kFiltered);
    cv::Mat filtered = cv::Mat::zeros(mask.size(), CV_8UC1);
    FilterCandidates(mask, filtered, scale, parameters.areaFraction);
    mask.release();
    if (observer.WantsStage(DetectionStage::kFiltered)) {
        qvox::VoxelImage<std::uint8_t> copy;
        CopyFromMat(filtered, copy);
        observer.StageByte(DetectionStage::kFiltered, copy);
    }

    Announce(observer, DetectionStage::kSeparated);
    cv::Mat blobs = SeparateClusters(filtered, scale);
    ShowFloat(observer, DetectionStage::kSeparated, blobs);
    return blobs;
}

void CopyIdentifiers(const qvox::ComponentImage& components, qvox::LabelImage& labels) {
    std::copy(components.Identifiers().begin(), components.Identifiers().end(), labels.begin());
}

void LabelBlobs(const cv::Mat& blobs, qvox::LabelImage& labels) {
    labels.Resize(static_cast<std::uint64_t>(blobs.cols), static_cast<std::uint64_t>(blobs.rows), 1);
    for (int y = 0; y < blobs.rows; ++y) {
        const float* row = blobs.ptr<float>(y);
        std::transform(row, row + blobs.cols, labels.Row(static_cast<std::uint64_t>(y)),
                       [](float v) { return static_cast<std::uint16_t>(v > 0.0f); });
    }
    qvox::ComponentImage components;
    qvox::LabelForegroundRegions(components, labels, qvox::Neighbourhood8{});
    CopyIdentifiers(components, labels);
}

/// Grows the blobs to the objects' borders and drops objects that are not round enough.
void Refine(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels, float scale, float roundnessThreshold,
            DetectionObserver& observer) {
    {
        const qvox::VoxelImage<float> relief = SmoothedGradient(raw, 3.0 * static_cast<double>(scale));
        if (observer.WantsStage(DetectionStage::kRelief)) observer.StageFloat(DetectionStage::kRelief, relief);
        const qvox::LabelImage markers =
            AddBackgroundMarker(labels, static_cast<int>(100.0 * static_cast<double>(scale)));
        if (observer.WantsStage(DetectionStage::kMarkers)) observer.StageLabels(DetectionStage::kMarkers, markers);
        Announce(observer, DetectionStage::kRefined);
        GrowMarkers(relief, markers, labels);
    }
    qvox::ComponentImage objects;
    qvox::LabelForegroundRegions(objects, labels, qvox::Neighbourhood8{});
    RemoveUnroundComponents(objects, roundnessThreshold);
    CopyIdentifiers(objects, labels);
}

}  // namespace

void DetectExosomes(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels, const AnalysisParameters& parameters,
                    float xResolution, DetectionObserver& observer) {
    CheckSinglePlane("Detection", raw);
    CheckIntensities(raw);
    CheckRange(SpanOf(ViewAsMat(raw)).range);
    const float scale = ScaleFactor(xResolution, parameters.relativeExosomeSize);
    WithOpenCvMemoryErrors([&] {
        cv::Mat blobs = Blobs(raw, scale, parameters, observer);
        Announce(observer, DetectionStage::kLabelled);
        LabelBlobs(blobs, labels);
        blobs.release();
        if (parameters.roundnessThreshold > 0.0f) Refine(raw, labels, scale, parameters.roundnessThreshold, observer);
    });
}

}  // namespace Korvane
