#include "reference/PlainSeededSegmentation.h"

#include <cmath>

#include <opencv2/imgproc.hpp>

#include "operations/Erosion.h"
#include "operations/IntensityHistogram.h"
#include "operations/Labelling.h"
#include "operations/Shape.h"
#include "operations/Threshold.h"
#include "operations/Watershed.h"
#include "reference/PlainGaussianSmoothing.h"
#include "reference/PlainGradientMagnitude.h"
#include "reference/PlainMatConversion.h"
#include "reference/PlainTruncation.h"

namespace korvane_reference {

namespace {

constexpr std::uint16_t kBackground = 20000;

void Check(const qvox::VoxelImage<float>& raw, const qvox::LabelImage& labels, float xResolution) {
    if (raw.Empty()) throw qvox::ToolkitError("Segmentation: the image is empty.");
    if (raw.SizeZ() != 1) throw qvox::ToolkitError("Segmentation: the image has more than one plane.");
    if (!raw.SameSizes(labels)) throw qvox::ToolkitError("Segmentation: image and labels differ in size.");
    if (!(std::isfinite(xResolution) && xResolution > 0.0f)) {
        throw qvox::ToolkitError("Segmentation: the pixel size is undefined.");
    }
}

/// Objects that touch, whatever their labels, become one component.
void LabelForegroundAsOne(qvox::ComponentImage& components, const qvox::LabelImage& labels) {
    qvox::LabelImage foreground(labels);
    for (std::uint16_t& voxel : foreground) voxel = voxel != 0 ? 1 : 0;
    qvox::LabelForegroundRegions(components, foreground, qvox::Neighbourhood8{});
}

}  // namespace

void PlainSegmentFromSeeds(const qvox::VoxelImage<float>& raw, qvox::LabelImage& labels, float xResolution,
                           float minObjectDiameterUm) {
    Check(raw, labels, xResolution);
    const float s = xResolution / 672.0f;
    const double sigma = static_cast<double>(s) * 3.0;
    const int radius = PlainTruncateToInt(static_cast<double>(s * 100.0f));

    qvox::VoxelImage<float> smoothed;
    PlainSmoothWithGaussian(raw, smoothed, sigma);
    const cv::Mat matrix = PlainToMat(smoothed);
    qvox::VoxelImage<float> relief;
    PlainToImage(PlainGradientMagnitude(matrix), relief);

    qvox::LabelImage markers(labels);
    qvox::VoxelImage<bool> background;
    qvox::ThresholdToMask(markers, background, 0, 0);
    qvox::VoxelImage<bool> eroded;
    qvox::ErodeMask(background, eroded, radius);
    for (std::uint64_t i = 0; i < markers.VoxelCount(); ++i) {
        if (eroded[i] || eroded.OnBorder(i)) markers[i] = kBackground;
    }

    qvox::LabelImage grown;
    qvox::WatershedFromMarkers(relief, markers, grown, qvox::Neighbourhood8{});
    for (std::uint64_t i = 0; i < labels.VoxelCount(); ++i) {
        labels[i] = grown[i] == kBackground ? std::uint16_t{0} : grown[i];
    }

    qvox::ComponentImage components;
    LabelForegroundAsOne(components, labels);
    qvox::Histogram histogram;
    qvox::IntensityHistogram(components.Identifiers(), histogram);
    for (std::size_t k = 1; k < histogram.size(); ++k) {
        if (histogram[k] == 0) continue;
        const std::uint16_t identifier = static_cast<std::uint16_t>(k);
        const double area = qvox::EstimateShape(components, identifier, qvox::ShapeMeasure::kArea);
        const double diameter = std::sqrt(area * 4.0 / CV_PI);
        if (static_cast<double>(minObjectDiameterUm) > diameter) qvox::RemoveLabel(components, identifier);
    }
    for (std::uint64_t i = 0; i < labels.VoxelCount(); ++i) {
        if (components.Identifiers()[i] == 0) labels[i] = 0;
    }
}

}  // namespace korvane_reference
