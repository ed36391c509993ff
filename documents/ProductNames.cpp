#include "ProductNames.h"

#include "DetectionStages.h"
#include "ResultFiles.h"

namespace Korvane {

const std::vector<std::string_view>& ProductPrefixes() {
    static const std::vector<std::string_view> prefixes = [] {
        std::vector<std::string_view> all{kLabelsPrefix, kOverlayPrefix, kComparisonPrefix, kCalibratedPrefix,
                                          kMarksPrefix};
        for (const DetectionStageRow& row : kDetectionStages) {
            if (!row.filePrefix.empty()) all.push_back(row.filePrefix);
        }
        return all;
    }();
    return prefixes;
}

std::string_view ProductPrefixOf(std::string_view name) {
    for (const std::string_view prefix : ProductPrefixes()) {
        if (name.substr(0, prefix.size()) == prefix) return prefix;
    }
    return {};
}

}  // namespace Korvane
