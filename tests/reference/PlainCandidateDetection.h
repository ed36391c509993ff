#pragma once

#include <opencv2/core.hpp>

#include "DetectionObserver.h"

namespace korvane_reference {

/// The value below which `percentage` percent of a map in 0 .. 1 lie, in steps of 1/65536; 0.3 when values above 1
/// keep the walk from reaching its target.
float PlainPercentile(const cv::Mat& map, double percentage);

/// Lowers a level through the edge map and sweeps the regions that stay open after every level. `candidates` is of
/// the same size, all 0.0 on entry; 2.0 on candidates and 3.0 on separating rings on return. Each level and the upper
/// bound go to the observer's Trace.
void PlainDetectCandidates(const cv::Mat& edges, cv::Mat& candidates, float scale, float maxRelativeClusterSize,
                           Korvane::DetectionObserver& observer);

}  // namespace korvane_reference
