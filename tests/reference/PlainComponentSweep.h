#pragma once

#include <opencv2/core.hpp>

namespace korvane_reference {

/// What the sweep hands to the analysis of one component.
struct PlainComponentRecord {
    int area = 0;
    int seedX = 0;
    int seedY = 0;
};

/// Walks the component map once: components (4-connected pixels of 1.0) that are too small are erased, too large
/// ones are left, those in range become 2.0 and are analysed. Both maps are float and changed in place.
void PlainComponentSweep(cv::Mat& componentMap, cv::Mat& candidateMap, float scale, float maxRelativeClusterSize);

/// Analysis of the regions that a component, 2.0 in the component map, encloses together with its surroundings.
void PlainEnclosedRegionAnalysis(cv::Mat& componentMap, const PlainComponentRecord& record, cv::Mat& candidateMap,
                                 float scale);

/// 1.0 on every zero-valued or 3.0-valued region that touches the component, 0.0 elsewhere; marks the same regions
/// with 3.0 in the component map.
cv::Mat PlainTouchedRegions(cv::Mat& componentMap, const PlainComponentRecord& record);

}  // namespace korvane_reference
