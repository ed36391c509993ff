#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "AnalysisParameters.h"

namespace Korvane {

/// Values of the three parameters for which detection has to run again, in hundredths, as the parameters dialog shows
/// them.
struct ParameterPoint {
    int exosomeSize = 100;
    int clusterSize = 100;
    int areaFraction = 15;

    bool operator==(const ParameterPoint& other) const {
        return exosomeSize == other.exosomeSize && clusterSize == other.clusterSize &&
               areaFraction == other.areaFraction;
    }
    /// Points that share maps come together.
    bool operator<(const ParameterPoint& other) const;
};

/// The default of the roundness threshold and the largest value, in hundredths.
inline constexpr int kDefaultRoundness = 75;
inline constexpr int kLargestRoundness = 100;

/// The parameters at a point, all others at their defaults.
AnalysisParameters ParametersAt(const ParameterPoint& point, int roundness);

/// The best that a point allows.
struct PointScore {
    double score = 0.0;
    int roundness = kDefaultRoundness;  ///< hundredths
};

/// Scores of points, in their order. May throw; what it throws ends the search.
using PointScorer = std::function<std::vector<PointScore>(const std::vector<ParameterPoint>& points)>;

struct SearchOptions {
    std::size_t evaluations = 200;  ///< different points that are scored, at least 1
    double designShare = 0.6;       ///< of them for the design; 0: the pattern alone, from the default
    std::function<bool()> goesOn = [] { return true; };  ///< queried between batches; false ends with the best so far
};

struct SearchResult {
    ParameterPoint point;
    PointScore best;
    std::size_t evaluations = 0;
};

/// Looks for the point of the largest score. First a design that covers the ranges: the default, then strata of the
/// exosome size, in each shifted strata of the cluster size, in each of those shifted strata of the area fraction. Then
/// a pattern search (Hooke, Jeeves 1961) from the best point: both neighbours along each axis are scored, the best
/// is taken if it is better, else the steps are halved; with steps of a hundredth it ends, and the best point that no
/// pattern has come near starts the next. Of equal scores the one nearest to the default is better. Deterministic:
/// the same scores lead to the same result.
SearchResult SearchParameters(const PointScorer& score, const SearchOptions& options);

/// The design of about this many points, the default first; never more.
std::vector<ParameterPoint> DesignPoints(std::size_t count);

}  // namespace Korvane
