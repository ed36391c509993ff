#include "EdgeMap.h"

#include <algorithm>
#include <cstdint>

#include <opencv2/core.hpp>

#include "NominalSizes.h"
#include "operations/Diffusion.h"
#include "operations/GaussianSmoothing.h"
#include "support/GradientMagnitude.h"
#include "support/MatConversion.h"
#include "support/OpenCVThreads.h"

namespace Korvane {
namespace {

/// (x - minimum) / (maximum - minimum), the difference of the extremes in double precision, the rest in single.
/// `source` and `result` may be the same. A constant map becomes NaN.
void Normalise(const cv::Mat& source, cv::Mat& result) {
    double minimum = 0.0;
    double maximum = 0.0;
    cv::minMaxLoc(source, &minimum, &maximum);
    const auto low = static_cast<float>(minimum);
    const auto range = static_cast<float>(maximum - minimum);
    for (int y = 0; y < source.rows; ++y) {
        const float* from = source.ptr<float>(y);
        std::transform(from, from + source.cols, result.ptr<float>(y),
                       [low, range](float value) { return (value - low) / range; });
    }
}

double SmoothingSigma(std::uint64_t width, float scale) {
    const double bonus = width == kWidthWithBonus ? kSigmaBonusPixels : 0.0;
    return kSmoothingSigmaPx * static_cast<double>(scale) + bonus;
}

qvox::VoxelImage<std::uint16_t> Smoothed(const qvox::VoxelImage<float>& raw, float scale) {
    qvox::VoxelImage<float> smoothed;
    {
        qvox::VoxelImage<float> normalised;
        normalised.Resize(raw.SizeX(), raw.SizeY(), 1);
        cv::Mat view = ViewAsMat(normalised);
        Normalise(ViewAsMat(raw), view);
        qvox::SmoothWithGaussian(normalised, smoothed, SmoothingSigma(raw.SizeX(), scale), RunOnOpenCVThreads);
    }
    qvox::VoxelImage<std::uint16_t> levels;
    CopyToSixteenBit(ViewAsMat(smoothed), levels);
    return levels;
}

void Diffuse(qvox::VoxelImage<std::uint16_t>& image, float scale) {
    qvox::EdgeEnhancingDiffusion(image, kDiffusionSigmaPx * scale, kDiffusionContrast, kDiffusionTimeStep,
                                 static_cast<std::uint64_t>(kDiffusionSteps * static_cast<double>(scale)),
                                 RunOnOpenCVThreads);
}

}  // namespace

cv::Mat MakeEdgeMap(const qvox::VoxelImage<float>& raw, float scale) {
    qvox::VoxelImage<std::uint16_t> levels = Smoothed(raw, scale);
    Diffuse(levels, scale);
    cv::Mat diffused = ToFloatMat(levels);
    levels.Release();
    cv::Mat edges = GradientMagnitude(diffused);
    diffused.release();
    // 0 / 0 everywhere where smoothing left no gradient: candidate detection finds nothing in such a map.
    Normalise(edges, edges);
    return edges;
}

}  // namespace Korvane
