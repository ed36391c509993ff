#include "support/ValueRange.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace Korvane {

ValueRange FindValueRange(const cv::Mat& map, const qvox::PartRunner& run) {
    const auto rowCount = static_cast<std::uint64_t>(map.rows);
    std::vector<ValueRange> ranges(qvox::PartsOf(rowCount, qvox::kFewestRowsOfPart));
    qvox::RunRows(rowCount, run, [&](const qvox::PartRange& rows) {
        ValueRange& range = ranges[rows.part];
        cv::minMaxLoc(map.rowRange(static_cast<int>(rows.first), static_cast<int>(rows.end)), &range.minimum,
                      &range.maximum);
    });
    ValueRange all = ranges.front();
    for (const ValueRange& range : ranges) {
        all.minimum = std::min(all.minimum, range.minimum);
        all.maximum = std::max(all.maximum, range.maximum);
    }
    return all;
}

}  // namespace Korvane
