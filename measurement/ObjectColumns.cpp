#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "ObjectMeasures.h"
#include "operations/Shape.h"

namespace Korvane {

namespace {

using Value = std::optional<double>;
using Object = ObjectMeasures;

Value Number(std::uint64_t value) { return static_cast<double>(value); }

Value Diameter(const Object& o) { return qvox::EquivalentDiameter(o.areaNm2); }
Value Roundness(const Object& o) { return qvox::Roundness(o.areaNm2, o.perimeterNm); }
// ISO 9276-6: the perimeter of the disc of the same area over the object's, the square root of the roundness.
Value Circularity(const Object& o) { return std::sqrt(qvox::Roundness(o.areaNm2, o.perimeterNm)); }
Value AspectRatio(const Object& o) { return o.moments.majorNm / o.moments.minorNm; }
// The hull cuts the corners of pixels, and may so be smaller than what it holds.
Value Solidity(const Object& o) { return std::min(1.0, o.areaNm2 / o.hull.areaNm2); }

const char* RimKindText(const Object& o) {
    switch (o.edge.kind) {
        case RimKind::kRim:
            return "rim";
        case RimKind::kEdge:
            return "edge";
        case RimKind::kNone:
            break;
    }
    return "";
}

}  // namespace

const std::vector<ObjectColumn>& ObjectColumns() {
    static const std::vector<ObjectColumn> columns{
        {"label", "", 0, "label", [](const Object& o) { return Number(o.extent.label); }, nullptr},
        {"pieces", "", 0, "pieces", [](const Object& o) -> Value { return o.pieces; }, nullptr},
        {"x_px", "px", 3, "position", [](const Object& o) -> Value { return o.moments.xPx; }, nullptr},
        {"y_px", "px", 3, "position", [](const Object& o) -> Value { return o.moments.yPx; }, nullptr},
        {"x_nm", "nm", 3, "position", [](const Object& o) -> Value { return o.xNm; }, nullptr},
        {"y_nm", "nm", 3, "position", [](const Object& o) -> Value { return o.yNm; }, nullptr},
        {"box_x_px", "px", 0, "position", [](const Object& o) { return Number(o.extent.minX); }, nullptr},
        {"box_y_px", "px", 0, "position", [](const Object& o) { return Number(o.extent.minY); }, nullptr},
        {"box_width_px", "px", 0, "position", [](const Object& o) { return Number(o.extent.maxX - o.extent.minX + 1); },
         nullptr},
        {"box_height_px", "px", 0, "position",
         [](const Object& o) { return Number(o.extent.maxY - o.extent.minY + 1); }, nullptr},
        {"area_nm2", "nm^2", 3, "area", [](const Object& o) -> Value { return o.areaNm2; }, nullptr},
        {"diameter_nm", "nm", 3, "equivalent-diameter", &Diameter, nullptr},
        {"perimeter_nm", "nm", 3, "perimeter", [](const Object& o) -> Value { return o.perimeterNm; }, nullptr},
        {"roundness", "", 3, "roundness", &Roundness, nullptr},
        {"circularity", "", 3, "circularity", &Circularity, nullptr},
        {"edge_diameter_nm", "nm", 3, "edge-and-rim", [](const Object& o) { return o.edge.edgeDiameterNm; }, nullptr},
        {"rim_diameter_nm", "nm", 3, "edge-and-rim", [](const Object& o) { return o.edge.rimDiameterNm; }, nullptr},
        {"rim_sd_nm", "nm", 3, "edge-and-rim", [](const Object& o) { return o.edge.rimSdNm; }, nullptr},
        {"rim_kind", "", 0, "edge-and-rim", nullptr, &RimKindText},
        {"flank_width_nm", "nm", 3, "edge-and-rim", [](const Object& o) { return o.edge.flankWidthNm; }, nullptr},
        {"contrast", "", 4, "edge-and-rim", [](const Object& o) { return o.edge.contrast; }, nullptr},
        {"measured_share", "", 3, "edge-and-rim", [](const Object& o) -> Value { return o.edge.measuredShare; },
         nullptr},
        {"feret_max_nm", "nm", 3, "feret-diameters", [](const Object& o) -> Value { return o.hull.feretMaxNm; },
         nullptr},
        {"feret_min_nm", "nm", 3, "feret-diameters", [](const Object& o) -> Value { return o.hull.feretMinNm; },
         nullptr},
        {"ellipse_major_nm", "nm", 3, "ellipse", [](const Object& o) -> Value { return o.moments.majorNm; }, nullptr},
        {"ellipse_minor_nm", "nm", 3, "ellipse", [](const Object& o) -> Value { return o.moments.minorNm; }, nullptr},
        {"ellipse_angle_deg", "deg", 2, "ellipse", [](const Object& o) -> Value { return o.moments.angleDegrees; },
         nullptr},
        {"aspect_ratio", "", 3, "ellipse", &AspectRatio, nullptr},
        {"solidity", "", 3, "solidity", &Solidity, nullptr},
        {"grey_mean", "", 4, "grey-levels", [](const Object& o) -> Value { return o.greyMean; }, nullptr},
        {"grey_sd", "", 4, "grey-levels", [](const Object& o) -> Value { return o.greySd; }, nullptr},
        {"grey_min", "", 4, "grey-levels", [](const Object& o) -> Value { return o.greyMin; }, nullptr},
        {"grey_max", "", 4, "grey-levels", [](const Object& o) -> Value { return o.greyMax; }, nullptr},
        {"background", "", 4, "grey-levels", [](const Object& o) { return o.edge.background; }, nullptr},
        {"touches_edge", "", 0, "position", [](const Object& o) -> Value { return o.touchesEdge ? 1.0 : 0.0; },
         nullptr},
        {"neighbour_nm", "nm", 3, "position", [](const Object& o) { return o.neighbourDistanceNm; }, nullptr},
        {"filled_share", "", 3, "filled-share", [](const Object& o) -> Value { return o.filledShare; }, nullptr},
    };
    return columns;
}

std::string ColumnText(const ObjectColumn& column, const ObjectMeasures& object) {
    if (column.text != nullptr) return column.text(object);
    const std::optional<double> value = column.value(object);
    if (!value || !std::isfinite(*value)) return "";
    // The largest double has 309 digits before the point.
    std::array<char, 340> text;
    const auto end =
        std::to_chars(text.data(), text.data() + text.size(), *value, std::chars_format::fixed, column.decimals).ptr;
    return {text.data(), end};
}

}  // namespace Korvane
