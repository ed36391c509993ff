#pragma once

#include <opencv2/core.hpp>

#include "AnalysisParameters.h"
#include "DetectionObserver.h"
#include "VoxelImage.h"

namespace korvane_reference {

/// resolution scale x (2 - relativeExosomeSize), from which every size of the pipeline derives.
float PlainScaleFactor(float xResolution, float relativeExosomeSize);

/// The edge map of a raw image: normalised, blurred, diffused, its gradient magnitude normalised again.
cv::Mat PlainPreprocess(const qvox::VoxelImage<float>& raw, float scale);

/// The whole detection of one image.
void PlainDetectExosomes(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels,
                         const Korvane::AnalysisParameters& parameters, float xResolution,
                         Korvane::DetectionObserver& observer);

}  // namespace korvane_reference
