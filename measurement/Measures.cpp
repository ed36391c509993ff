#include "Measures.h"

#include <array>
#include <charconv>

#include "operations/Shape.h"

namespace Korvane {

namespace {

double Label(const MeasuredObject& object) { return object.label; }
double DiameterNm(const MeasuredObject& object) { return qvox::EquivalentDiameter(object.areaNm2); }
double Roundness(const MeasuredObject& object) { return qvox::Roundness(object.areaNm2, object.perimeterNm); }
double PerimeterNm(const MeasuredObject& object) { return object.perimeterNm; }
double AreaNm2(const MeasuredObject& object) { return object.areaNm2; }

}  // namespace

const std::vector<Measure>& Measures() {
    static const std::vector<Measure> measures{
        {"Label", Unit::kNone, 0, "label", &Label},
        {"Diameter", Unit::kNm, 3, "equivalent-diameter", &DiameterNm},
        {"Roundness", Unit::kNone, 3, "roundness", &Roundness},
        {"Perimeter", Unit::kNm, 3, "perimeter", &PerimeterNm},
        {"Area", Unit::kNm2, 3, "area", &AreaNm2},
    };
    return measures;
}

const char* UnitText(Unit unit) {
    switch (unit) {
        case Unit::kNm:
            return "nm";
        case Unit::kNm2:
            return "nm^2";
        case Unit::kNone:
            break;
    }
    return "";
}

std::string ColumnTitle(const Measure& measure) {
    const std::string unit = UnitText(measure.unit);
    return unit.empty() ? measure.column : measure.column + ("(" + unit + ")");
}

std::string ValueText(const Measure& measure, const MeasuredObject& object) {
    // The largest double has 309 digits before the point.
    std::array<char, 340> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), measure.value(object),
                                   std::chars_format::fixed, measure.decimals)
                         .ptr;
    return {text.data(), end};
}

}  // namespace Korvane
