#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ObjectMeasures.h"

namespace Korvane {

enum class ObjectsAtEdge { kCounted, kLeftOut };
/// Objects of which more than kMostFilledShare was filled: what is seen of them is not enough to be sure.
enum class FilledObjects { kLeftOut, kCounted };
inline constexpr double kMostFilledShare = 0.1;

/// Which of the measured objects count. Both ends of a range belong to it.
struct ObjectSelection {
    std::optional<std::string> diameter;  ///< one of SelectableDiameters; none: diameter_nm
    std::optional<double> minDiameterNm;
    std::optional<double> maxDiameterNm;
    std::optional<double> minRoundness;
    ObjectsAtEdge atEdge = ObjectsAtEdge::kCounted;
    FilledObjects filled = FilledObjects::kLeftOut;

    /// Whether objects are left out on request.
    bool LeavesOut() const {
        return diameter || minDiameterNm || maxDiameterNm || minRoundness || atEdge == ObjectsAtEdge::kLeftOut;
    }
};

/// The columns that a selection can go by.
const std::vector<std::string>& SelectableDiameters();

/// Why an object does not count, reasons separated by "; ": "not measured" (its diameter is asked for, and empty), "too
/// small", "too large", "not round", "at the edge", "filled". Empty where it counts.
std::string WhyNotCounted(const ObjectSelection& selection, const ObjectMeasures& object);

}  // namespace Korvane
