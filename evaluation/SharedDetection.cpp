#include "SharedDetection.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "CandidateDetection.h"
#include "CandidateFilter.h"
#include "ClusterSeparation.h"
#include "EdgeMap.h"
#include "LabelBlobs.h"
#include "LabelComparison.h"
#include "NominalSizes.h"
#include "Refinement.h"
#include "operations/Labelling.h"
#include "operations/Shape.h"
#include "support/InputChecks.h"
#include "support/MarkerGrowth.h"

namespace Korvane {

namespace {

constexpr const char* kOperation = "Detection";

/// Maps of one image are kept up to here, of each kind at least kFewestKept.
constexpr std::size_t kKeptMapBytes = std::size_t{96} << 20;
constexpr std::size_t kFewestKept = 2;
constexpr std::size_t kMostKept = 64;
/// Edge map, relief, candidates and filtered map: 4 + 4 + 4 + 1 bytes a pixel.
constexpr std::size_t kMapBytesOfPixel = 13;

bool SameBytes(const cv::Mat& a, const cv::Mat& b) {
    return a.isContinuous() && b.isContinuous() && std::memcmp(a.data, b.data, a.total() * a.elemSize()) == 0;
}

/// The step that `matches`, moved to the front; null when there is none.
template <typename Step, typename Matches>
Step* Recent(std::list<Step>& steps, Matches matches) {
    const auto found = std::find_if(steps.begin(), steps.end(), matches);
    if (found == steps.end()) return nullptr;
    steps.splice(steps.begin(), steps, found);
    return &steps.front();
}

template <typename Step>
Step& Add(std::list<Step>& steps, Step step, std::size_t kept) {
    steps.push_front(std::move(step));
    while (steps.size() > kept) steps.pop_back();
    return steps.front();
}

}  // namespace

struct SharedDetection::EdgeStep {
    float exosomeSize = 0.0f;
    float scale = 0.0f;
    cv::Mat edges;
    std::optional<qvox::VoxelImage<float>> relief;  ///< made when it is first needed
};

struct SharedDetection::CandidateStep {
    float exosomeSize = 0.0f;
    float clusterSize = 0.0f;
    cv::Mat mask;  ///< 1 on candidates, 0 elsewhere, float
};

struct SharedDetection::GrownStep {
    float exosomeSize = 0.0f;
    cv::Mat filtered;
    ObjectsWithRoundness objects;
};

StepCounts& StepCounts::operator+=(const StepCounts& other) {
    edgeMaps += other.edgeMaps;
    candidateMaps += other.candidateMaps;
    filteredMaps += other.filteredMaps;
    grownImages += other.grownImages;
    return *this;
}

SharedDetection::SharedDetection(const qvox::VoxelImage<float>& raw, const qvox::LabelImage& truth, float xResolution)
    : raw_(raw), truth_(truth), xResolution_(xResolution) {
    CheckSinglePlane(kOperation, raw);
    CheckIntensities(kOperation, raw);
    CheckedResolutionScale(kOperation, xResolution);
    if (!raw.SameSizes(truth)) throw qvox::ToolkitError("Detection: the true labels have other sizes than the image.");
    const std::size_t mapBytes = static_cast<std::size_t>(raw.VoxelCount()) * kMapBytesOfPixel;
    keptSteps_ = std::clamp(kKeptMapBytes / mapBytes, kFewestKept, kMostKept);
}

SharedDetection::~SharedDetection() = default;

SharedDetection::EdgeStep& SharedDetection::Edges(const AnalysisParameters& parameters) {
    const float size = parameters.relativeExosomeSize;
    if (EdgeStep* const step = Recent(edges_, [size](const EdgeStep& s) { return s.exosomeSize == size; })) {
        return *step;
    }
    EdgeStep step;
    step.exosomeSize = size;
    step.scale = CheckedScale(kOperation, xResolution_, size);
    step.edges = MakeEdgeMap(raw_, step.scale);
    ++counts_.edgeMaps;
    return Add(edges_, std::move(step), keptSteps_);
}

SharedDetection::CandidateStep& SharedDetection::Candidates(const AnalysisParameters& parameters) {
    const float size = parameters.relativeExosomeSize;
    const float cluster = parameters.maxRelativeClusterSize;
    const auto matches = [=](const CandidateStep& s) { return s.exosomeSize == size && s.clusterSize == cluster; };
    if (CandidateStep* const step = Recent(candidates_, matches)) return *step;
    const EdgeStep& edges = Edges(parameters);
    CandidateStep step{size, cluster, cv::Mat(edges.edges.size(), CV_32FC1)};
    DetectionObserver nobody;
    DetectCandidates(edges.edges, step.mask, edges.scale, cluster, nobody);
    std::transform(step.mask.begin<float>(), step.mask.end<float>(), step.mask.begin<float>(),
                   [](float code) { return code == kCandidateCode ? 1.0f : 0.0f; });
    ++counts_.candidateMaps;
    return Add(candidates_, std::move(step), keptSteps_);
}

cv::Mat SharedDetection::Filtered(const AnalysisParameters& parameters) {
    const float scale = CheckedScale(kOperation, xResolution_, parameters.relativeExosomeSize);
    const CandidateStep& candidates = Candidates(parameters);
    cv::Mat filtered = cv::Mat::zeros(candidates.mask.size(), CV_8UC1);
    // The filter may change its mask.
    FilterCandidates(candidates.mask.clone(), filtered, scale, parameters.areaFraction);
    ++counts_.filteredMaps;
    return filtered;
}

qvox::LabelImage SharedDetection::Blobs(const cv::Mat& filtered, float scale) const {
    qvox::LabelImage labels;
    labels.SetResolution(raw_.Resolution());
    LabelBlobs(SeparateClusters(filtered, scale), labels);
    return labels;
}

qvox::LabelImage SharedDetection::Grown(const qvox::LabelImage& blobs, EdgeStep& step) const {
    if (!step.relief) step.relief = RefinementRelief(raw_, step.scale);
    qvox::LabelImage grown = blobs;
    GrowMarkers(*step.relief, RefinementMarkers(blobs, step.scale), grown);
    return grown;
}

const ObjectsWithRoundness& SharedDetection::Objects(const AnalysisParameters& parameters) {
    const ObjectsWithRoundness* result = nullptr;
    WithOpenCvMemoryErrors([&] {
        const float size = parameters.relativeExosomeSize;
        const cv::Mat filtered = Filtered(parameters);
        const auto matches = [&](const GrownStep& s) {
            return s.exosomeSize == size && SameBytes(s.filtered, filtered);
        };
        if (const GrownStep* const step = Recent(grown_, matches)) {
            result = &step->objects;
            return;
        }
        EdgeStep& edges = Edges(parameters);
        const qvox::LabelImage blobs = Blobs(filtered, edges.scale);
        GrownStep step;
        step.exosomeSize = size;
        step.filtered = filtered;
        step.objects.unrefined = FindOverlaps(truth_, blobs);
        qvox::ComponentImage components;
        qvox::LabelForegroundRegions(components, Grown(blobs, edges), qvox::Neighbourhood8{});
        step.objects.overlaps = FindOverlaps(truth_, components.Identifiers());
        for (const qvox::ShapeEstimate& shape : qvox::EstimateShapes(components)) {
            step.objects.roundness.push_back(qvox::Roundness(shape.areaUm2, shape.perimeterUm));
        }
        ++counts_.grownImages;
        result = &Add(grown_, std::move(step), keptSteps_).objects;
    });
    return *result;
}

qvox::LabelImage SharedDetection::Labels(const AnalysisParameters& parameters) {
    qvox::LabelImage labels;
    WithOpenCvMemoryErrors([&] {
        const cv::Mat filtered = Filtered(parameters);
        EdgeStep& edges = Edges(parameters);
        labels = Blobs(filtered, edges.scale);
        if (!(parameters.roundnessThreshold > 0.0f)) return;
        labels = Grown(labels, edges);
        RemoveUnroundObjects(labels, parameters.roundnessThreshold);
    });
    return labels;
}

Tally TallyAtRoundness(const ObjectsWithRoundness& objects, float roundnessThreshold, double matchThreshold) {
    if (!(roundnessThreshold > 0.0f)) return TallyInside(objects.unrefined, matchThreshold);
    LabelOverlaps round;
    round.truth = objects.overlaps.truth;
    std::vector<std::size_t> place(objects.roundness.size());
    std::vector<bool> stays(objects.roundness.size());
    for (std::size_t i = 0; i < objects.roundness.size(); ++i) {
        stays[i] = IsRoundEnough(objects.roundness[i], roundnessThreshold);
        place[i] = round.found.size();
        if (stays[i]) round.found.push_back(objects.overlaps.found[i]);
    }
    for (const ObjectOverlap& overlap : objects.overlaps.overlaps) {
        if (stays[overlap.found]) round.overlaps.push_back({overlap.truth, place[overlap.found], overlap.pixels});
    }
    return TallyInside(round, matchThreshold);
}

}  // namespace Korvane
