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

namespace Korvane {

qvox::VoxelImage<float> SmoothedGradient(const qvox::VoxelImage<float>& raw, double sigmaPx,
                                         const qvox::PartRunner& run) {
    qvox::VoxelImage<float> smoothed;
    qvox::SmoothWithGaussian(raw, smoothed, sigmaPx, run);
    qvox::VoxelImage<float> relief;
    relief.Resize(raw.SizeX(), raw.SizeY(), 1);
    cv::Mat view = ViewAsMat(relief);
    GradientMagnitude(ViewAsMat(smoothed), view, run);
    return relief;
}

qvox::LabelImage AddBackgroundMarker(const qvox::LabelImage& labels, int distancePx, const qvox::PartRunner& run) {
    qvox::VoxelImage<bool> background;
    qvox::ThresholdToMask(labels, background, 0, 0, run);
    qvox::VoxelImage<bool> far;
    qvox::ErodeMask(background, far, distancePx, run);
    background.Release();

    qvox::LabelImage markers;
    markers.CopyPropertiesFrom(labels);
    markers.Resize(labels.SizeX(), labels.SizeY(), 1);
    const std::uint64_t width = markers.SizeX();
    const std::uint64_t height = markers.SizeY();
    qvox::RunRows(height, run, [&](const qvox::PartRange& rows) {
        for (std::uint64_t y = rows.first; y < rows.end; ++y) {
            const bool* isFar = far.Row(y);
            const std::uint16_t* from = labels.Row(y);
            std::uint16_t* row = markers.Row(y);
            for (std::uint64_t x = 0; x < width; ++x) row[x] = isFar[x] ? kBackgroundMarker : from[x];
            if (y == 0 || y == height - 1) std::fill_n(row, width, kBackgroundMarker);
            row[0] = kBackgroundMarker;
            row[width - 1] = kBackgroundMarker;
        }
    });
    return markers;
}

void GrowMarkers(const qvox::VoxelImage<float>& relief, const qvox::LabelImage& markers, qvox::LabelImage& labels,
                 const qvox::PartRunner& run) {
    qvox::LabelImage basins;
    qvox::WatershedFromMarkers(relief, markers, basins, qvox::Neighbourhood8{}, run);
    qvox::RunRows(labels.SizeY(), run, [&](const qvox::PartRange& rows) {
        std::transform(basins.Row(rows.first), basins.Row(rows.end - 1) + basins.SizeX(), labels.Row(rows.first),
                       [](std::uint16_t basin) { return basin == kBackgroundMarker ? std::uint16_t{0} : basin; });
    });
}

void CopyLabels(const qvox::LabelImage& from, qvox::LabelImage& to, const qvox::PartRunner& run) {
    qvox::RunRows(to.SizeY(), run, [&](const qvox::PartRange& rows) {
        std::copy(from.Row(rows.first), from.Row(rows.end - 1) + from.SizeX(), to.Row(rows.first));
    });
}

}  // namespace Korvane
