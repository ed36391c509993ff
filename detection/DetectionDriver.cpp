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
void KeepCandidates(cv::Mat& candidates, const qvox::PartRunner& run) {
    qvox::RunRows(static_cast<std::uint64_t>(candidates.rows), run, [&](const qvox::PartRange& rows) {
        for (std::uint64_t y = rows.first; y < rows.end; ++y) {
            float* row = candidates.ptr<float>(static_cast<int>(y));
            std::transform(row, row + candidates.cols, row,
                           [](float code) { return code == kCandidateCode ? 1.0f : 0.0f; });
        }
    });
}

/// The first four stages. Every map is dropped as soon as the next one is made.
cv::Mat MakeBlobs(const qvox::VoxelImage<float>& raw, float scale, const AnalysisParameters& parameters,
                  DetectionObserver& observer, const qvox::PartRunner& run) {
    Announce(observer, DetectionStage::kEdges);
    cv::Mat edges = MakeEdgeMap(raw, scale, run);
    ShowFloat(observer, DetectionStage::kEdges, edges);

    Announce(observer, DetectionStage::kCandidates);
    cv::Mat candidates(edges.size(), CV_32FC1);
    DetectCandidates(edges, candidates, scale, parameters.maxRelativeClusterSize, observer, run);
    edges.release();
    ShowFloat(observer, DetectionStage::kCandidates, candidates);

    Announce(observer, DetectionStage::kFiltered);
    KeepCandidates(candidates, run);
    cv::Mat filtered = cv::Mat::zeros(candidates.size(), CV_8UC1);
    FilterCandidates(candidates, filtered, scale, parameters.areaFraction, run);
    candidates.release();
    ShowByte(observer, DetectionStage::kFiltered, filtered);

    Announce(observer, DetectionStage::kSeparated);
    cv::Mat blobs = SeparateClusters(filtered, scale, run);
    ShowFloat(observer, DetectionStage::kSeparated, blobs);
    return blobs;
}

/// The refinement. It is announced when its relief and markers are there and the flooding begins.
void GrowObjects(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels, float scale,
                 DetectionObserver& observer, const qvox::PartRunner& run) {
    const qvox::VoxelImage<float> relief = RefinementRelief(raw, scale, run);
    if (observer.WantsStage(DetectionStage::kRelief)) observer.StageFloat(DetectionStage::kRelief, relief);
    const qvox::LabelImage markers = RefinementMarkers(labels, scale, run);
    if (observer.WantsStage(DetectionStage::kMarkers)) observer.StageLabels(DetectionStage::kMarkers, markers);
    Announce(observer, DetectionStage::kRefined);
    GrowMarkers(relief, markers, labels, run);
}

}  // namespace

void DetectExosomes(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels, const AnalysisParameters& parameters,
                    float xResolution, DetectionObserver& observer, const qvox::PartRunner& run) {
    CheckSinglePlane("Detection", raw);
    CheckIntensities("Detection", raw, run);
    const float scale = CheckedScale("Detection", xResolution, parameters.relativeExosomeSize);
    WithOpenCvMemoryErrors([&] {
        cv::Mat blobs = MakeBlobs(raw, scale, parameters, observer, run);

        Announce(observer, DetectionStage::kLabelled);
        LabelBlobs(blobs, labels, run);
        blobs.release();

        if (parameters.roundnessThreshold > 0.0f) {
            GrowObjects(raw, labels, scale, observer, run);
            RemoveUnroundObjects(labels, parameters.roundnessThreshold, run);
        }
    });
}

std::int64_t DetectionAreaLimit(float xResolution, const AnalysisParameters& parameters) {
    const float scale = CheckedScale("Detection", xResolution, parameters.relativeExosomeSize);
    return MaximumComponentArea(scale, parameters.maxRelativeClusterSize);
}

}  // namespace Korvane
