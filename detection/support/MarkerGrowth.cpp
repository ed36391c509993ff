#include "support/MarkerGrowth.h"

#include <algorithm>
#include <cstdint>

#include "NominalSizes.h"
#include "operations/Erosion.h"
#include "operations/GaussianSmoothing.h"
#include "operations/Threshold.h"
#include "operations/Watershed.h"
#include "support/GradientMagnitude.h"
#include "support/MatConversion.h"
#include "support/OpenCVThreads.h"

namespace Korvane {

qvox::VoxelImage<float> SmoothedGradient(const qvox::VoxelImage<float>& raw, double sigmaPx) {
    qvox::VoxelImage<float> smoothed;
    qvox::SmoothWithGaussian(raw, smoothed, sigmaPx, RunOnOpenCVThreads);
    qvox::VoxelImage<float> relief;
    relief.Resize(raw.SizeX(), raw.SizeY(), 1);
    cv::Mat view = ViewAsMat(relief);
    GradientMagnitude(ViewAsMat(smoothed), view);
    return relief;
}

qvox::LabelImage AddBackgroundMarker(const qvox::LabelImage& labels, int distancePx) {
    qvox::VoxelImage<bool> background;
    qvox::ThresholdToMask(labels, background, 0, 0);
    qvox::VoxelImage<bool> far;
    qvox::ErodeMask(background, far, distancePx);
    background.Release();

    qvox::LabelImage markers(labels);
    for (std::uint64_t i = 0; i < markers.VoxelCount(); ++i) {
        if (far[i]) markers[i] = kBackgroundMarker;
    }
    const std::uint64_t width = markers.SizeX();
    const std::uint64_t height = markers.SizeY();
    std::fill_n(markers.Row(0), width, kBackgroundMarker);
    std::fill_n(markers.Row(height - 1), width, kBackgroundMarker);
    for (std::uint64_t y = 0; y < height; ++y) {
        markers(0, y) = kBackgroundMarker;
        markers(width - 1, y) = kBackgroundMarker;
    }
    return markers;
}

void GrowMarkers(const qvox::VoxelImage<float>& relief, const qvox::LabelImage& markers, qvox::LabelImage& labels) {
    qvox::LabelImage basins;
    qvox::WatershedFromMarkers(relief, markers, basins, qvox::Neighbourhood8{});
    std::transform(basins.begin(), basins.end(), labels.begin(),
                   [](std::uint16_t basin) { return basin == kBackgroundMarker ? std::uint16_t{0} : basin; });
}

}  // namespace Korvane
