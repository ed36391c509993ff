#pragma once

#include <opencv2/core.hpp>

#include "reference/PlainComponentSweep.h"

namespace korvane_reference {

/// Fills what the skeleton encloses around the component's seed, holes included, and writes it into the candidate map:
/// 2.0 where that held 0.0, and 3.0 on the ring of 8-neighbours. The skeleton is consumed.
void PlainRegionFilling(cv::Mat& skeleton, cv::Mat& candidateMap, const PlainComponentRecord& record);

}  // namespace korvane_reference
