#include "EdgeMap.h"

#include <algorithm>
#include <cstdint>

#include <opencv2/core.hpp>

#include "NominalSizes.h"
#include "operations/Diffusion.h"
#include "operations/GaussianSmoothing.h"
#include "support/GradientMagnitude.h"
#include "support/MatConversion.h"
#include "support/ValueRange.h"

namespace Korvane {
namespace {

/// (x - minimum) / (maximum - minimum), the difference of the extremes in double precision, the rest in single.
/// `source` and `result` may be the same. A constant map becomes NaN.
void Normalise(const cv::Mat& source, cv::Mat& result, const qvox::PartRunner& run) {
    const ValueRange found = FindValueRange(source, run);
    const auto low = static_cast<float>(found.minimum);
    const auto range = static_cast<float>(found.maximum - found.minimum);
    qvox::RunRows(static_cast<std::uint64_t>(source.rows), run, [&](const qvox::PartRange& rows) {
        for (int y = static_cast<int>(rows.first); y < static_cast<int>(rows.end); ++y) {
            const float* from = source.ptr<float>(y);
            std::transform(from, from + source.cols, result.ptr<float>(y),
                           [low, range](float value) { return (value - low) / range; });
        }
    });
}

double SmoothingSigma(std::uint64_t width, float scale) {
    const double bonus = width == kWidthWithBonus ? kSigmaBonusPixels : 0.0;
    return kSmoothingSigmaPx * static_cast<double>(scale) + bonus;
}

qvox::VoxelImage<std::uint16_t> Smoothed(const qvox::VoxelImage<float>& raw, float scale,
                                             const qvox::PartRunner& run) {
    qvox::VoxelImage<float> smoothed;
    {
        qvox::VoxelImage<float> normalised;
        normalised.Resize(raw.SizeX(), raw.SizeY(), 1);
        cv::Mat view = ViewAsMat(normalised);
        Normalise(ViewAsMat(raw), view, run);
        qvox::SmoothWithGaussian(normalised, smoothed, SmoothingSigma(raw.SizeX(), scale), run);
    }
    qvox::VoxelImage<std::uint16_t> levels;
    CopyToSixteenBit(ViewAsMat(smoothed), levels, run);
    return levels;
}

void Diffuse(qvox::VoxelImage<std::uint16_t>& image, float scale, const qvox::PartRunner& run) {
    qvox::EdgeEnhancingDiffusion(image, kDiffusionSigmaPx * scale, kDiffusionContrast, kDiffusionTimeStep,
                                 static_cast<std::uint64_t>(kDiffusionSteps * static_cast<double>(scale)), run);
}

}  // namespace

cv::Mat MakeEdgeMap(const qvox::VoxelImage<float>& raw, float scale, const qvox::PartRunner& run) {
    qvox::VoxelImage<std::uint16_t> levels = Smoothed(raw, scale, run);
    Diffuse(levels, scale, run);
    cv::Mat edges;
    GradientMagnitude(levels, edges, run);
    levels.Release();
    // 0 / 0 everywhere where smoothing left no gradient: candidate detection finds nothing in such a map.
    Normalise(edges, edges, run);
    return edges;
}

}  // namespace Korvane
