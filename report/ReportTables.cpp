#include "ReportTables.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "ReportText.h"
#include "SizeBins.h"

namespace Korvane {

namespace {

struct SummaryColumn {
    const char* name;
    std::string (*text)(const SizeSummary& summary);
};

std::string Low(const std::optional<Interval>& interval) { return interval ? TableNumber(interval->low) : ""; }
std::string High(const std::optional<Interval>& interval) { return interval ? TableNumber(interval->high) : ""; }

/// A value of the log-normal fit; empty without one.
template <typename Value>
std::string OfFit(const SizeSummary& summary, Value value) {
    return summary.statistics.logNormal ? TableNumber(value(*summary.statistics.logNormal)) : "";
}

/// How many more than there are.
std::string Further(const SizeSummary& summary, const std::optional<std::uint64_t>& needed) {
    if (!needed) return "";
    return std::to_string(*needed - std::min<std::uint64_t>(*needed, summary.sizes.size()));
}

using Sum = SizeSummary;
using Fit = LogNormalFit;

const std::vector<SummaryColumn>& Columns() {
    static const std::vector<SummaryColumn> columns{
        {"scope", [](const Sum& s) { return s.scope; }},
        {"name", [](const Sum& s) { return s.name; }},
        {"group", [](const Sum& s) { return s.group; }},
        {"images", [](const Sum& s) { return std::to_string(s.images); }},
        {"objects", [](const Sum& s) { return std::to_string(s.objects); }},
        {"counted", [](const Sum& s) { return std::to_string(s.sizes.size()); }},
        {"not_counted", [](const Sum& s) { return std::to_string(s.objects - s.sizes.size()); }},
        {"not_counted_because", [](const Sum& s) { return ReasonsText(s.leftOut); }},
        {"touching_edge", [](const Sum& s) { return std::to_string(s.atEdge); }},
        {"area_um2", [](const Sum& s) { return TableNumber(s.areaUm2); }},
        {"counted_per_um2", [](const Sum& s) { return s.images > 0 ? TableNumber(s.PerUm2()) : ""; }},
        {"mean_nm", [](const Sum& s) { return TableNumber(s.statistics.mean); }},
        {"sd_nm", [](const Sum& s) { return TableNumber(s.statistics.sd); }},
        {"sem_nm", [](const Sum& s) { return TableNumber(s.statistics.sem); }},
        {"mean_low_nm", [](const Sum& s) { return Low(s.statistics.meanInterval); }},
        {"mean_high_nm", [](const Sum& s) { return High(s.statistics.meanInterval); }},
        {"median_nm", [](const Sum& s) { return TableNumber(s.statistics.median); }},
        {"median_low_nm", [](const Sum& s) { return Low(s.statistics.medianInterval); }},
        {"median_high_nm", [](const Sum& s) { return High(s.statistics.medianInterval); }},
        {"mode_nm", [](const Sum& s) { return TableNumber(s.statistics.mode); }},
        {"d10_nm", [](const Sum& s) { return TableNumber(s.statistics.d10); }},
        {"d50_nm", [](const Sum& s) { return TableNumber(s.statistics.median); }},
        {"d90_nm", [](const Sum& s) { return TableNumber(s.statistics.d90); }},
        {"cv", [](const Sum& s) { return TableNumber(s.statistics.cv); }},
        {"skewness", [](const Sum& s) { return TableNumber(s.statistics.skewness); }},
        {"geometric_mean_nm", [](const Sum& s) { return OfFit(s, [](const Fit& f) { return f.geometricMean; }); }},
        {"geometric_mean_low_nm",
         [](const Sum& s) { return OfFit(s, [](const Fit& f) { return f.meanInterval.low; }); }},
        {"geometric_mean_high_nm",
         [](const Sum& s) { return OfFit(s, [](const Fit& f) { return f.meanInterval.high; }); }},
        {"geometric_sd", [](const Sum& s) { return OfFit(s, [](const Fit& f) { return f.geometricSd; }); }},
        {"geometric_sd_low", [](const Sum& s) { return OfFit(s, [](const Fit& f) { return f.sdInterval.low; }); }},
        {"geometric_sd_high", [](const Sum& s) { return OfFit(s, [](const Fit& f) { return f.sdInterval.high; }); }},
        {"anderson_darling", [](const Sum& s) { return OfFit(s, [](const Fit& f) { return f.andersonDarling; }); }},
        {"anderson_darling_p", [](const Sum& s) { return OfFit(s, [](const Fit& f) { return f.probability; }); }},
        {"further_for_mean", [](const Sum& s) { return Further(s, s.statistics.neededForMean); }},
        {"further_for_d90", [](const Sum& s) { return Further(s, s.statistics.neededForD90); }},
    };
    return columns;
}

std::string BinLines(const SizeSummary& summary, double width) {
    std::string lines;
    const std::optional<LogNormalFit>& fit = summary.statistics.logNormal;
    const auto n = static_cast<double>(summary.sizes.size());
    for (const SizeBin& bin : BinsOf(summary.sizes, width)) {
        const std::string fitted =
            fit ? TableNumber(n * (ShareBelow(*fit, bin.to) - ShareBelow(*fit, bin.from))) : std::string();
        lines += CsvLine({summary.scope, summary.name, TableNumber(bin.from), TableNumber(bin.to),
                          std::to_string(bin.count), fitted});
    }
    return lines;
}

}  // namespace

std::string SummaryLine(const SizeSummary& summary) {
    std::vector<std::string> fields;
    for (const SummaryColumn& column : Columns()) fields.push_back(column.text(summary));
    return CsvLine(fields);
}

std::string SummaryHead(const ReportNumbers& numbers) {
    std::vector<std::string> names;
    for (const SummaryColumn& column : Columns()) names.emplace_back(column.name);
    std::string table = CsvLine(names) + SummaryLine(numbers.all);
    for (const SizeSummary& summary : numbers.ofGroups) table += SummaryLine(summary);
    return table;
}

std::string BinTable(const ReportNumbers& numbers) {
    std::string table = CsvLine({"scope", "name", "from_nm", "to_nm", "counted", "fitted"});
    table += BinLines(numbers.all, numbers.binWidth);
    for (const SizeSummary& summary : numbers.ofGroups) table += BinLines(summary, numbers.binWidth);
    return table;
}

}  // namespace Korvane
