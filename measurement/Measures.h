#pragma once

#include <string>
#include <vector>

#include "MeasuredObject.h"

namespace Korvane {

enum class Unit { kNone, kNm, kNm2 };

/// One measure of objects, with everything that the programs need to know of it.
struct Measure {
    const char* column;  ///< the name above its column, without its unit
    Unit unit;
    int decimals;              ///< that are printed, at most 15
    const char* manualAnchor;  ///< the heading of docs/MEASUREMENTS.md that has the formula, as a link names it
    double (*value)(const MeasuredObject&);
};

/// All measures, in the order of the columns.
const std::vector<Measure>& Measures();

/// "nm", "nm^2"; empty for numbers without a unit.
const char* UnitText(Unit unit);

/// The name above the column: "Diameter(nm)", or "Roundness" where there is no unit.
std::string ColumnTitle(const Measure& measure);

/// The object's value with the measure's decimals and "." in every locale; "inf" or "nan" where it is no number.
std::string ValueText(const Measure& measure, const MeasuredObject& object);

}  // namespace Korvane
