#pragma once

#include "AnalysisParameters.h"
#include "DetectionObserver.h"
#include "VoxelImage.h"

namespace Korvane {

/// Steps by which one position advances the progress; the refinement adds a sixth that this count leaves out.
inline constexpr int kProgressStepsPerPosition = 5;

/// Label of the background marker in the watersheds of detection and seeded segmentation; never kept in a result.
inline constexpr std::uint16_t kBackgroundMarker = 20000;

/// Pixels per micrometre at which every size of the pipeline has its nominal value.
inline constexpr float kReferenceResolution = 672.0f;

/// Detects the exosomes of one image.
///
/// @param raw         grey image, one plane, any float intensities; not changed
/// @param labels      receives the objects: sizes of `raw`, 0 = background, objects from 1; with the refinement on the
///                    numbers may have gaps. Resolution, offset and description of `labels` are kept: its resolution
///                    is the scale of the shape measures, as for every label image.
/// @param parameters  minObjectDiameterUm is not used
/// @param xResolution pixels per micrometre, > 0
/// Throws ToolkitError when the image is empty or has several planes, holds one constant value, NaN or infinity, or
/// when the pixel size is undefined; `labels` may then hold a partial result.
void DetectExosomes(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels, const AnalysisParameters& parameters,
                    float xResolution, DetectionObserver& observer);

}  // namespace Korvane
