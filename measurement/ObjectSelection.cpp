#include "ObjectSelection.h"

#include <algorithm>

#include "Assert.h"
#include "operations/Shape.h"

namespace Korvane {

namespace {

constexpr const char* kUsualDiameter = "diameter_nm";

std::optional<double> ValueOf(const std::string& column, const ObjectMeasures& object) {
    const std::vector<ObjectColumn>& columns = ObjectColumns();
    const auto found =
        std::find_if(columns.begin(), columns.end(), [&](const ObjectColumn& c) { return c.name == column; });
    KORVANE_ASSERT(found != columns.end());
    return found->value(object);
}

}  // namespace

const std::vector<std::string>& SelectableDiameters() {
    static const std::vector<std::string> names{kUsualDiameter, "edge_diameter_nm", "rim_diameter_nm", "feret_max_nm",
                                                "feret_min_nm"};
    return names;
}

std::string WhyNotCounted(const ObjectSelection& selection, const ObjectMeasures& object) {
    std::string reasons;
    const auto add = [&reasons](const char* reason) { reasons += (reasons.empty() ? "" : "; ") + std::string(reason); };
    if (selection.diameter || selection.minDiameterNm || selection.maxDiameterNm) {
        const std::optional<double> diameter = ValueOf(selection.diameter.value_or(kUsualDiameter), object);
        if (!diameter) add("not measured");
        if (diameter && selection.minDiameterNm && *diameter < *selection.minDiameterNm) add("too small");
        if (diameter && selection.maxDiameterNm && *diameter > *selection.maxDiameterNm) add("too large");
    }
    const double roundness = qvox::Roundness(object.areaNm2, object.perimeterNm);
    if (selection.minRoundness && roundness < *selection.minRoundness) add("not round");
    if (selection.atEdge == ObjectsAtEdge::kLeftOut && object.touchesEdge) add("at the edge");
    if (selection.filled == FilledObjects::kLeftOut && object.filledShare > kMostFilledShare) add("filled");
    return reasons;
}

}  // namespace Korvane
