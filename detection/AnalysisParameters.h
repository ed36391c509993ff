#pragma once

#include <array>

namespace Korvane {

/// The six numbers that steer detection and seeded segmentation, with their defaults.
struct AnalysisParameters {
    float edgeContrast =
        0.005f;  ///< shown, kept and passed on; the diffusion's contrast is fixed, no result depends on it
    float areaFraction = 0.15f;
    float roundnessThreshold = 0.75f;  ///< 0 switches the refinement of detection off
    float minObjectDiameterUm = 0.03f;
    float maxRelativeClusterSize = 1.0f;
    float relativeExosomeSize = 1.0f;
};

/// What a person may enter for one parameter, both ends included.
struct ParameterRange {
    float AnalysisParameters::*field;
    const char* key;    ///< in records and parameter files
    const char* label;  ///< the text beside the value in the parameters dialog
    int decimals;
    float minimum;
    float maximum;
};

/// In the order in which a person meets them.
inline constexpr std::array<ParameterRange, 6> kParameterRanges{{
    {&AnalysisParameters::edgeContrast, "edgeContrast", "Edge contrast (lambda):", 4, 0.0f, 1.0f},
    {&AnalysisParameters::areaFraction, "areaFraction", "Area fraction (alpha):", 2, 0.0f, 1.0f},
    {&AnalysisParameters::roundnessThreshold, "roundnessThreshold", "Roundness threshold:", 2, 0.0f, 1.0f},
    {&AnalysisParameters::maxRelativeClusterSize, "maxRelativeClusterSize", "Maximum relative cluster size:", 2, 0.1f, 1.9f},
    {&AnalysisParameters::relativeExosomeSize, "relativeExosomeSize", "Relative size of expected exosomes:", 2, 0.1f, 1.9f},
    {&AnalysisParameters::minObjectDiameterUm, "minObjectDiameterUm", "Minimum object diameter (in um):", 3, 0.0f, 0.5f},
}};

}  // namespace Korvane
