#include "DetectionDriver.h"

#include <algorithm>
#include <cstdint>

#include "CandidateDetection.h"
#include "CandidateFilter.h"
#include "ClusterSeparation.h"
#include "EdgeMap.h"
#include "LabelBlobs.h"
#include "NominalSizes.h"
#include "Refinement.h"
#include "support/InputChecks.h"
#include "support/MarkerGrowth.h"
#include "support/MatConversion.h"

namespace Korvane {
namespace {

void Announce(DetectionObserver& observer, DetectionStage stage) {
    const int value = observer.ProgressValue();
    observer.BeginStage(stage, {value + 1, value / kProgressStepsPerPosition + 1});
}

void ShowFloat(DetectionObserver& observer, DetectionStage stage, const cv::Mat& map) {
    if (!observer.WantsStage(stage)) return;
    qvox::VoxelImage<float> copy;
    CopyFromMat(map, copy);
    observer.StageFloat(stage, copy);
}

void ShowByte(DetectionObserver& observer, DetectionStage stage, const cv::Mat& map) {
    if (!observer.WantsStage(stage)) return;
    qvox::VoxelImage<std::uint8_t> copy;
    CopyFromMat(map, copy);
    observer.StageByte(stage, copy);
}

/// Turns the candidate map into a mask in place: 1 on candidates, 0 on everything else, rings included.
void KeepCandidates(cv::Mat& candidates) {
    for (int y = 0; y < candidates.rows; ++y) {
        float* row = candidates.ptr<float>(y);
        std::transform(row, row + candidates.cols, row,
                       [](float code) { return code == kCandidateCode ? 1.0f : 0.0f; });
    }
}

/// The first four stages. Every map is dropped as soon as the next one is made.
cv::Mat MakeBlobs(const qvox::VoxelImage<float>& raw, float scale, const AnalysisParameters& parameters,
                  DetectionObserver& observer) {
    Announce(observer, DetectionStage::kEdges);
    cv::Mat edges = MakeEdgeMap(raw, scale);
    ShowFloat(observer, DetectionStage::kEdges, edges);

    Announce(observer, DetectionStage::kCandidates);
    cv::Mat candidates = cv::Mat::zeros(edges.size(), CV_32FC1);
    DetectCandidates(edges, candidates, scale, parameters.maxRelativeClusterSize, observer);
    edges.release();
    ShowFloat(observer, DetectionStage::kCandidates, candidates);

    Announce(observer, DetectionStage::kFiltered);
    KeepCandidates(candidates);
    cv::Mat filtered = cv::Mat::zeros(candidates.size(), CV_8UC1);
    FilterCandidates(candidates, filtered, scale, parameters.areaFraction);
    candidates.release();
    ShowByte(observer, DetectionStage::kFiltered, filtered);

    Announce(observer, DetectionStage::kSeparated);
    cv::Mat blobs = SeparateClusters(filtered, scale);
    ShowFloat(observer, DetectionStage::kSeparated, blobs);
    return blobs;
}

/// The refinement. It is announced when its relief and markers are there and the flooding begins.
void GrowObjects(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels, float scale,
                 DetectionObserver& observer) {
    const qvox::VoxelImage<float> relief = RefinementRelief(raw, scale);
    if (observer.WantsStage(DetectionStage::kRelief)) observer.StageFloat(DetectionStage::kRelief, relief);
    const qvox::LabelImage markers = RefinementMarkers(labels, scale);
    if (observer.WantsStage(DetectionStage::kMarkers)) observer.StageLabels(DetectionStage::kMarkers, markers);
    Announce(observer, DetectionStage::kRefined);
    GrowMarkers(relief, markers, labels);
}

}  // namespace

void DetectExosomes(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels, const AnalysisParameters& parameters,
                    float xResolution, DetectionObserver& observer) {
    CheckSinglePlane("Detection", raw);
    CheckIntensities("Detection", raw);
    const float scale = CheckedScale("Detection", xResolution, parameters.relativeExosomeSize);
    WithOpenCvMemoryErrors([&] {
        cv::Mat blobs = MakeBlobs(raw, scale, parameters, observer);

        Announce(observer, DetectionStage::kLabelled);
        LabelBlobs(blobs, labels);
        blobs.release();

        if (parameters.roundnessThreshold > 0.0f) {
            GrowObjects(raw, labels, scale, observer);
            RemoveUnroundObjects(labels, parameters.roundnessThreshold);
        }
    });
}

std::int64_t DetectionAreaLimit(float xResolution, const AnalysisParameters& parameters) {
    const float scale = CheckedScale("Detection", xResolution, parameters.relativeExosomeSize);
    return MaximumComponentArea(scale, parameters.maxRelativeClusterSize);
}

}  // namespace Korvane
