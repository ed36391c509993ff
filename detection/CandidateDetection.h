#pragma once

#include <cstdint>

#include <opencv2/core.hpp>

#include "DetectionObserver.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// Second stage: finds the regions that strong edges close around, as a level sinks through the edge map. Levels fall
/// in steps of kLevelStep; each is the one before minus the step, in single precision.
///
/// The strong phase lowers the level from kFirstLevel to the percentile kStrongEdgePercentage of the edge map and
/// removes every pixel above it from a working map. The weak phase starts again with the pixels up to the percentile
/// and the strong phase's candidates, goes on to kLowestLevel, and removes only pixels that are connected to those
/// removed before. After every level, and once before the weak ones, the regions of an exosome's size that lines of
/// removed pixels enclose become candidates (level_sweep/include/LevelSweep.h). The result has those of both phases.
///
/// @param edges      one float channel, edge strength 0 .. 1; NaN counts as removed from the start; not changed
/// @param candidates one float channel, sizes of `edges`; every pixel is overwritten by kFreeCode, kCandidateCode or
///                   kRingCode. A candidate of the strong phase overrides a ring of the weak one.
/// @param scale      image pixels per nominal pixel
/// @param observer   receives one trace line per level, and "thresh" with the percentile between the phases
/// Border: it never counts as an edge. A pixel exactly at a level is not above it, and so stays unless the weak phase
/// reaches it from a pixel above. An empty map: nothing happens. Throws ToolkitError when a map is not of one float
/// channel, the sizes differ, or there are more than LevelSweep::kMaxPixels pixels; std::bad_alloc when memory is
/// exhausted. Cost: proportional to the pixels, and for each analysed component to the network of removed pixels that
/// it touches, in words of 64 pixels (docs/CANDIDATE_DETECTION.md). Ranges of rows are the parts that `run` is given;
/// the levels take one thread.
void DetectCandidates(const cv::Mat& edges, cv::Mat& candidates, float scale, float maxRelativeClusterSize,
                      DetectionObserver& observer, const qvox::PartRunner& run = qvox::RunOneByOne);

/// The largest component, in pixels, that can be a candidate.
std::int64_t MaximumComponentArea(float scale, float maxRelativeClusterSize);

/// The `percentage`-th percentile of the values, in kPercentileBins bins over 0 .. 1: the lower end of the bin before
/// which that share of all pixels is reached, or 1 when only the last bin reaches it. Values below 0 count in the first
/// bin; values above 1 and NaN in none, and where the share is not reached because of them the result is
/// kPercentileFallback.
float EdgePercentile(const cv::Mat& edges, float percentage, const qvox::PartRunner& run = qvox::RunOneByOne);

}  // namespace Korvane
