#pragma once

#include <opencv2/core.hpp>

namespace Korvane {

/// Looks at every 4-connected component of 1.0 in the component map, in raster order of its first pixel: a component
/// that is too small is erased (0.0), one that is too large is left alone, any other becomes 2.0 and is analysed: what
/// lines in the background around it enclose becomes candidate pixels (2.0) of the candidate map where that held 0.0,
/// with a ring of 3.0, one pixel wide, around them.
///
/// @param componentMap one float channel, codes 0.0, 1.0, 2.0 (analysed), 3.0 (touched background); changed
/// @param candidateMap one float channel, sizes of `componentMap`; changed
/// @param scale        picture pixels per nominal pixel; sizes are scale x maxRelativeClusterSize x 100 .. 50000 pixels
/// A component that fills the whole map touches no background: the whole map is its candidate, nothing is cleared.
/// Throws ToolkitError when a map is not of one float channel, sizes differ, or the component map holds another value.
/// Cost: one pass over the map, and for each analysed component what its touched background covers.
void SweepComponents(cv::Mat& componentMap, cv::Mat& candidateMap, float scale, float maxRelativeClusterSize);

}  // namespace Korvane
