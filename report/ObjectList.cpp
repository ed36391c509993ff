#include "ObjectList.h"

#include <algorithm>
#include <array>
#include <exception>
#include <limits>
#include <new>
#include <string_view>
#include <tuple>
#include <utility>

#include "PixelScale.h"
#include "ReportText.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

constexpr std::size_t kPositionColumn = 0;
constexpr std::array kMeasures{"label",        "diameter_nm",  "edge_diameter_nm", "rim_diameter_nm",
                               "feret_max_nm", "feret_min_nm", "roundness",        "touches_edge",
                               "grey_mean",    "contrast",     "measured_share"};
constexpr const char* kReasonColumn = "not_counted_because";

/// The columns of the table of objects that are shown, in their order.
const std::vector<const ObjectColumn*>& ShownColumns() {
    static const std::vector<const ObjectColumn*> shown = [] {
        std::vector<const ObjectColumn*> columns;
        for (const std::string_view name : kMeasures) {
            const auto found = std::find_if(ObjectColumns().begin(), ObjectColumns().end(),
                                            [&](const ObjectColumn& column) { return name == column.name; });
            columns.push_back(&*found);
        }
        return columns;
    }();
    return shown;
}

bool IsLength(const ObjectColumn& column) { return std::string_view(column.unit) == "nm"; }

const ObjectColumn& SizeColumn(const ObjectSelection& selection) {
    const std::string name = selection.diameter.value_or("diameter_nm");
    return *std::find_if(ObjectColumns().begin(), ObjectColumns().end(),
                         [&](const ObjectColumn& column) { return name == column.name; });
}

void AddReasons(const std::string& reasons, std::map<std::string, std::size_t>& counts) {
    for (std::size_t start = 0; start < reasons.size();) {
        const std::size_t end = std::min(reasons.find("; ", start), reasons.size());
        ++counts[reasons.substr(start, end - start)];
        start = end + 2;
    }
}

}  // namespace

MeasuredPosition MeasurePosition(const qvox::VoxelImage<float>& image, const qvox::LabelImage& labels,
                                 const EdgeProfileOptions& options) {
    MeasuredPosition measured;
    const qvox::PixelResolution& resolution = labels.Resolution();
    if (IsDefined(resolution.x) && IsDefined(resolution.y)) {
        measured.pixelSize = MeasuredPosition::PixelSize::kKnown;
        const PixelScale scale = ScaleOf(resolution);
        const ImagePart part = options.part.value_or(ImagePart{0, 0, labels.SizeX(), labels.SizeY()});
        measured.areaUm2 = static_cast<double>(part.width * part.height) * scale.widthNm * scale.heightNm * 1e-6;
    }
    try {
        measured.objects = MeasureEverything(image, labels, options);
        for (ObjectMeasures& object : measured.objects) {
            object.edge.edgeCurve = {};
            object.edge.rimCurve = {};
        }
    } catch (const std::bad_alloc&) {
        measured.failure = "Not enough memory";
    } catch (const std::exception& error) {
        measured.failure = error.what();
    }
    return measured;
}

const std::vector<std::string>& ObjectList::ColumnNames() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all{"position"};
        all.insert(all.end(), kMeasures.begin(), kMeasures.end());
        all.emplace_back(kReasonColumn);
        return all;
    }();
    return names;
}

void ObjectList::Clear() {
    rows_.clear();
    measured_.clear();
}

void ObjectList::Set(std::size_t position, MeasuredPosition measured) {
    rows_.clear();
    measured_[position] = std::move(measured);
    Fill();
}

void ObjectList::List(ListedPositions which, std::size_t current) {
    which_ = which;
    current_ = current;
    Fill();
}

void ObjectList::Select(const ObjectSelection& selection) {
    selection_ = selection;
    Fill();
}

void ObjectList::Sort(std::size_t column, SortOrder order) {
    sortColumn_ = column;
    order_ = order;
    SortRows();
}

void ObjectList::Fill() {
    rows_.clear();
    for (const auto& [position, measured] : measured_) {
        if (which_ == ListedPositions::kCurrent && position != current_) continue;
        const bool known = measured.pixelSize == MeasuredPosition::PixelSize::kKnown;
        for (const ObjectMeasures& object : measured.objects) {
            // Limits in nm say nothing of lengths in pixels.
            rows_.push_back({position, &object, known, known ? WhyNotCounted(selection_, object) : "no pixel size"});
        }
    }
    SortRows();
}

void ObjectList::SortRows() {
    struct Key {
        bool isMissing;
        double number;
        std::string text;
        Row row;
    };
    std::vector<Key> keys;
    keys.reserve(rows_.size());
    const bool byReason = sortColumn_ + 1 == ColumnNames().size();
    for (Row& row : rows_) {
        std::optional<double> value;
        if (sortColumn_ == kPositionColumn) {
            value = static_cast<double>(row.position);
        } else if (!byReason) {
            const ObjectColumn& column = *ShownColumns()[sortColumn_ - 1];
            if (row.hasPixelSize || !IsLength(column)) value = column.value(*row.object);
        }
        std::string text = byReason ? row.whyNotCounted : std::string();
        keys.push_back({!value && !byReason, value.value_or(0.0), std::move(text), std::move(row)});
    }
    const auto place = [](const Key& key) { return std::tuple(key.row.position, key.row.object->extent.label); };
    std::sort(keys.begin(), keys.end(), [&](const Key& a, const Key& b) {
        // What was not measured comes last in either order; equal rows keep one order.
        if (a.isMissing != b.isMissing) return b.isMissing;
        const auto left = std::tie(a.number, a.text);
        const auto right = std::tie(b.number, b.text);
        if (left != right) return order_ == SortOrder::kAscending ? left < right : right < left;
        return place(a) < place(b);
    });
    for (std::size_t i = 0; i < keys.size(); ++i) rows_[i] = std::move(keys[i].row);
}

std::string ObjectList::Text(std::size_t row, std::size_t column) const {
    const Row& shown = rows_[row];
    if (column == kPositionColumn) return std::to_string(shown.position + 1);
    if (column + 1 == ColumnNames().size()) return shown.whyNotCounted;
    const ObjectColumn& measure = *ShownColumns()[column - 1];
    return shown.hasPixelSize || !IsLength(measure) ? ColumnText(measure, *shown.object) : "";
}

ObjectKey ObjectList::At(std::size_t row) const { return {rows_[row].position, rows_[row].object->extent.label}; }

const LabelExtent& ObjectList::ExtentAt(std::size_t row) const { return rows_[row].object->extent; }

std::optional<std::size_t> ObjectList::RowOf(const ObjectKey& key) const {
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        if (At(i) == key) return i;
    }
    return std::nullopt;
}

SizeSummary ObjectList::Sizes() const {
    SizeSummary summary;
    summary.scope = which_ == ListedPositions::kAll ? "all" : "image";
    for (const auto& [position, measured] : measured_) {
        if (which_ == ListedPositions::kCurrent && position != current_) continue;
        ++summary.images;
        summary.areaUm2 += measured.areaUm2;
    }
    const ObjectColumn& size = SizeColumn(selection_);
    for (const Row& row : rows_) {
        ++summary.objects;
        if (row.object->touchesEdge) ++summary.atEdge;
        AddReasons(row.whyNotCounted, summary.leftOut);
        const std::optional<double> value = size.value(*row.object);
        if (row.whyNotCounted.empty() && value) summary.sizes.push_back(*value);
    }
    std::sort(summary.sizes.begin(), summary.sizes.end());
    return summary;
}

std::string ObjectList::Failures() const {
    std::string text;
    for (const auto& [position, measured] : measured_) {
        if (measured.failure.empty() || (which_ == ListedPositions::kCurrent && position != current_)) continue;
        text += (text.empty() ? "" : "\n") + ("Cannot measure position " + std::to_string(position + 1)) + ": " +
                measured.failure;
    }
    return text;
}

SizeOverview OverviewOf(SizeSummary sizes) {
    SizeOverview overview{std::move(sizes), {}};
    const std::vector<double>& values = overview.summary.sizes;
    if (values.empty()) return overview;
    const double width = UsualBinWidth(values);
    overview.summary.statistics = StatisticsOf(values, width);
    try {
        overview.bins = BinsOf(values, width);
    } catch (const qvox::ToolkitError&) {
        // One size far from all others: a histogram would show nothing.
        overview.bins.clear();
    }
    return overview;
}

std::string OverviewText(const SizeSummary& summary) {
    const SizeStatistics& statistics = summary.statistics;
    std::string text = Counted(summary.objects, "object") + ", " + std::to_string(summary.sizes.size()) + " counted";
    if (!summary.leftOut.empty()) text += " (" + ReasonsText(summary.leftOut) + ")";
    if (summary.sizes.empty()) return text;
    const auto interval = [](const std::optional<Interval>& values) {
        return values ? " (95 %: " + IntervalText(values, 1) + ")" : std::string();
    };
    text += "\nMean " + FixedText(statistics.mean, 1) + " nm" + interval(statistics.meanInterval);
    if (statistics.sd) text += ", SD " + FixedText(statistics.sd, 1) + " nm, CV " + FixedText(statistics.cv, 2);
    text += "\nMedian " + FixedText(statistics.median, 1) + " nm" + interval(statistics.medianInterval);
    text += "\nD10 " + FixedText(statistics.d10, 1) + " nm, D90 " + FixedText(statistics.d90, 1) + " nm, mode " +
            FixedText(statistics.mode, 1) + " nm";
    if (statistics.logNormal) {
        text += "\nLog-normal: geometric mean " + FixedText(statistics.logNormal->geometricMean, 1) + " nm, SD " +
                FixedText(statistics.logNormal->geometricSd, 3);
    }
    if (summary.areaUm2 > 0.0) text += "\n" + FixedText(summary.PerUm2(), 2) + " per \xC2\xB5m\xC2\xB2";
    return text;
}

}  // namespace Korvane
