#pragma once

#include <cstddef>
#include <vector>

#include "LabelOverlaps.h"

namespace Korvane {

/// The threshold that comparisons use unless another is asked for.
inline constexpr double kDefaultMatchThreshold = 0.5;

/// A true object and the found one that counts as it; both are indices.
struct ObjectMatch {
    std::size_t truth = 0;
    std::size_t found = 0;
    double iou = 0.0;
};

/// Which objects are the same. All lists are in ascending order.
struct ObjectMatching {
    std::vector<ObjectMatch> matches;  ///< in order of truth
    std::vector<std::size_t> missed;   ///< true objects without a match
    std::vector<std::size_t> extra;    ///< found objects without a match
    std::vector<std::size_t> split;    ///< true objects that hold several found ones
    std::vector<std::size_t> merged;   ///< found objects that hold several true ones
};

/// Matches objects one to one: as many pairs as possible whose intersection over union is at least the threshold, and
/// of those assignments one of the largest sum of it (rounded to 2^-30). Above a threshold of 0.5 there is only one
/// assignment. One object holds another when more than half of the other lies in it and makes up at least
/// kHeldShare of its own pixels.
/// @param threshold above 0, up to 1
/// Cost: that of the assignment in each connected group of overlapping objects; groups are small.
ObjectMatching MatchObjects(const LabelOverlaps& objects, double threshold = kDefaultMatchThreshold);

/// Smaller pieces of an object than this share of it are crumbs: they make no split and no merger.
inline constexpr double kHeldShare = 0.1;

}  // namespace Korvane
