#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <vector>

#include <opencv2/core.hpp>

#include "AnalysisParameters.h"
#include "LabelOverlaps.h"
#include "Scores.h"
#include "VoxelImage.h"

namespace Korvane {

/// How often each step of detection was computed.
struct StepCounts {
    std::size_t edgeMaps = 0;
    std::size_t candidateMaps = 0;
    std::size_t filteredMaps = 0;
    std::size_t grownImages = 0;  ///< separation, labelling and the refinement's growth

    StepCounts& operator+=(const StepCounts& other);
};

/// The objects that detection finds before those that are not round are dropped, beside the true ones.
struct ObjectsWithRoundness {
    LabelOverlaps overlaps;
    std::vector<double> roundness;  ///< of each found object
    LabelOverlaps unrefined;        ///< those of a run without the refinement
};

/// Detection of one image for many parameters. Each step is computed once for what it depends on:
///
///     edge map, relief        relativeExosomeSize
///     candidates              the edge map, maxRelativeClusterSize
///     filtered map            the candidates, areaFraction
///     grown objects           the filtered map itself, whichever parameters made it
///     result                  the grown objects, roundnessThreshold: for all thresholds at once
///
/// Bit-equal to DetectExosomes: the same functions are called on the same maps. Recent maps are kept, up to
/// kKeptMapBytes, and all objects. Use by one thread at a time.
class SharedDetection {
public:
    /// @param raw   as for DetectExosomes; must live as long as this
    /// @param truth the true labels, sizes of `raw`; the same
    /// Throws ToolkitError as DetectExosomes for an image that it cannot analyse, and when the sizes differ.
    SharedDetection(const qvox::VoxelImage<float>& raw, const qvox::LabelImage& truth, float xResolution);
    ~SharedDetection();
    SharedDetection(const SharedDetection&) = delete;
    SharedDetection& operator=(const SharedDetection&) = delete;

    /// The objects of these parameters, whatever their roundnessThreshold. Valid until the next call. Throws as
    /// DetectExosomes.
    const ObjectsWithRoundness& Objects(const AnalysisParameters& parameters);
    /// The same labels as DetectExosomes.
    qvox::LabelImage Labels(const AnalysisParameters& parameters);

    const StepCounts& Counts() const { return counts_; }

private:
    struct EdgeStep;
    struct CandidateStep;
    struct GrownStep;

    EdgeStep& Edges(const AnalysisParameters& parameters);
    CandidateStep& Candidates(const AnalysisParameters& parameters);
    cv::Mat Filtered(const AnalysisParameters& parameters);
    qvox::LabelImage Blobs(const cv::Mat& filtered, float scale) const;
    qvox::LabelImage Grown(const qvox::LabelImage& blobs, EdgeStep& step) const;

    const qvox::VoxelImage<float>& raw_;
    const qvox::LabelImage& truth_;
    float xResolution_;
    std::size_t keptSteps_;
    std::list<EdgeStep> edges_;            ///< the most recent first
    std::list<CandidateStep> candidates_;  ///< the same
    std::list<GrownStep> grown_;           ///< the same
    StepCounts counts_;
};

/// The counts inside of a run with this threshold.
Tally TallyAtRoundness(const ObjectsWithRoundness& objects, float roundnessThreshold, double matchThreshold);

}  // namespace Korvane
