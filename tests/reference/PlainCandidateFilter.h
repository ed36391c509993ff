#pragma once

#include <vector>

#include <opencv2/core.hpp>

namespace korvane_reference {

struct PlainRegion {
    int area = 0;
    int label = 0;
};

struct PlainRegionEnumeration {
    cv::Mat image;  ///< float; every pixel of a region holds the region's label, 0.0 elsewhere
    std::vector<PlainRegion> regions;
};

/// The 8-connected regions of a map, numbered from 2 in raster order of their first pixels. A map that does not span
/// 0.0 to 1.0 exactly is binarised in place first.
PlainRegionEnumeration PlainEnumerateRegions(cv::Mat& map);

/// Writes 255 into `filtered` (8 bit) on every region of the mask that is not too large and keeps at least 90 % of
/// its pixels under an opening that grows with the region.
void PlainFilterCandidates(const cv::Mat& candidateMask, cv::Mat& filtered, float scale, float areaFraction);

}  // namespace korvane_reference
