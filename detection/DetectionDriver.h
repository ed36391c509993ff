#pragma once

#include <cstdint>

#include "AnalysisParameters.h"
#include "DetectionObserver.h"
#include "VoxelImage.h"
#include "operations/PartRunner.h"
#include "support/OpenCVThreads.h"

namespace Korvane {

/// Detects the exosomes of one image. The stages, each of which takes the map before it and makes the next:
///
///     MakeEdgeMap         grey image        -> edge strength, 0 .. 1
///     DetectCandidates    edge strength     -> candidate codes
///     FilterCandidates    candidate mask    -> 255 on the candidates that are compact enough
///     SeparateClusters    filtered map      -> 1 on one blob per object
///     LabelBlobs          blobs             -> labels from 1
///     refinement          labels and image  -> labels grown to the objects' borders; what is not round is dropped.
///                         Only when roundnessThreshold > 0 (Refinement.h)
///
/// @param raw         grey image, one plane, any finite intensities; not changed
/// @param labels      receives the objects: sizes of `raw`, 0 = background, objects from 1; with the refinement on the
///                    numbers may have gaps. Resolution, offset and description of `labels` are kept: its resolution
///                    is the scale of the shape measures, as for every label image.
/// @param parameters  edgeContrast and minObjectDiameterUm are not used
/// @param xResolution pixels per micrometre, > 0
/// @param observer    is notified of five stages, six with the refinement, and receives the maps that it wants
/// @param run         runs the parts of a stage; the result does not depend on it
/// Every nominal size (NominalSizes.h) is multiplied by float(xResolution / 672 * (2 - relativeExosomeSize)). An image
/// that smoothing makes even has no objects. Throws ToolkitError when the image is empty or has several planes, holds
/// NaN or infinity, is the same everywhere, when the pixel size is undefined or absurd, or when the objects outnumber
/// 65535; cv::Exception for a fault inside OpenCV, std::bad_alloc when memory is exhausted. The checks of the input
/// come before the first progress step and leave `labels` alone; later errors may leave a partial result.
void DetectExosomes(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels, const AnalysisParameters& parameters,
                    float xResolution, DetectionObserver& observer,
                    const qvox::PartRunner& run = RunOnOpenCVThreads);

/// The largest area, in pixels, that detection takes for an object or a cluster of them. An image that has no more
/// pixels is such an area as a whole, before any edge has divided it. Throws ToolkitError as DetectExosomes for a pixel
/// size that is undefined or absurd.
std::int64_t DetectionAreaLimit(float xResolution, const AnalysisParameters& parameters);

}  // namespace Korvane
