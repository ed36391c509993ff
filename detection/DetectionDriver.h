#pragma once

#include <cstdint>

#include "AnalysisParameters.h"
#include "DetectionObserver.h"
#include "VoxelImage.h"

namespace Korvane {

/// Label of the background marker in the watersheds of detection and seeded segmentation; what it floods becomes 0.
inline constexpr std::uint16_t kBackgroundMarker = 20000;

/// Pixels per micrometre at which every size of the pipeline has its nominal value.
inline constexpr float kReferenceResolution = 672.0f;

/// Detects the exosomes of one image: edge map, candidates, filtering, separation of clusters, labelling and, when
/// roundnessThreshold > 0, a refinement that grows every object to its border and drops what is not round.
///
/// @param raw         grey image, one plane, any finite intensities; not changed
/// @param labels      receives the objects: sizes of `raw`, 0 = background, objects from 1; with the refinement on the
///                    numbers may have gaps. Resolution, offset and description of `labels` are kept: its resolution
///                    is the scale of the shape measures, as for every label image.
/// @param parameters  edgeContrast and minObjectDiameterUm are not used
/// @param xResolution pixels per micrometre, > 0
/// @param observer    hears five progress steps, six with the refinement, and the stages that it wants
/// Sizes scale with float(xResolution / 672 * (2 - relativeExosomeSize)). An image that is exactly 1024 wide is
/// smoothed by 4 px more than any other. An image that smoothing makes even has no objects. Throws ToolkitError when
/// the image is empty or has several planes, holds NaN or infinity, is the same everywhere, when the pixel size is
/// undefined or absurd, or when the objects outnumber 65535; cv::Exception for a fault inside OpenCV, std::bad_alloc
/// when memory is exhausted. The checks of the input come before the first progress step and leave `labels` alone;
/// later errors may leave a partial result.
void DetectExosomes(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels, const AnalysisParameters& parameters,
                    float xResolution, DetectionObserver& observer);

}  // namespace Korvane
