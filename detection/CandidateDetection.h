#pragma once

#include <opencv2/core.hpp>

#include "DetectionObserver.h"

namespace Korvane {

/// Finds the regions that strong edges close around, as a level sinks through the edge map.
///
/// Phase one lowers the level from 1 to the edge map's 97.5th percentile in steps of 0.005 and removes every pixel
/// above it from a working map; phase two goes on to 0.05 but removes only what touches the network of removed pixels.
/// After every level the component sweep (ComponentSweep.h) marks the closed regions of a vesicle's size in the
/// candidate map.
///
/// @param edges      one float channel, edge strength 0 .. 1; NaN counts as removed from the start; not changed
/// @param candidates one float channel, sizes of `edges`, all 0.0 on entry; on return 2.0 = candidate, 3.0 = ring
/// @param scale      picture pixels per nominal pixel
/// @param observer   hears one trace line per level, and "thresh" with the percentile between the phases
/// The picture's border never counts as an edge. An empty map has no levels worth a line: nothing happens.
/// Throws ToolkitError when a map is not of one float channel, the sizes differ, or there are more than 2^31 - 65
/// pixels.
/// Cost: proportional to the pixels, and for each analysed component to the network of removed pixels that it touches,
/// of which 64 are passed at a time. docs/CANDIDATE_DETECTION.md tells how.
void DetectCandidates(const cv::Mat& edges, cv::Mat& candidates, float scale, float maxRelativeClusterSize,
                      DetectionObserver& observer);

/// The `percentage`-th percentile of the values, in 65536 bins over 0 .. 1: the lower end of the bin before which that
/// share of all pixels is reached. Values below 0 count in the first bin; values above 1 and NaN in none, and where the
/// share is not reached because of them the result is 0.3.
float EdgePercentile(const cv::Mat& edges, float percentage);

}  // namespace Korvane
