#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ObjectMeasures.h"
#include "ObjectSelection.h"
#include "SizeBins.h"
#include "SizeSummary.h"

namespace Korvane {

/// One object among those of several positions.
struct ObjectKey {
    std::size_t position = 0;
    std::uint16_t label = 0;
};
inline bool operator==(const ObjectKey& a, const ObjectKey& b) {
    return a.position == b.position && a.label == b.label;
}

/// The objects of a position, measured.
struct MeasuredPosition {
    enum class PixelSize { kUnknown, kKnown } pixelSize = PixelSize::kUnknown;
    double areaUm2 = 0.0;  ///< of the image
    std::vector<ObjectMeasures> objects;
    std::string failure;  ///< for a person, where they could not be measured; UTF-8
};

/// Measures as MeasureEverything, but never throws: what fails is told in the result. Curves are not kept.
MeasuredPosition MeasurePosition(const qvox::VoxelImage<float>& image, const qvox::LabelImage& labels,
                                 const EdgeProfileOptions& options = {});

enum class ListedPositions { kCurrent, kAll };
enum class SortOrder { kAscending, kDescending };

/// The table of objects of one position or of all, sorted by a column, and what is said of the sizes of those that
/// count. Costs: a change of any kind sorts all rows again.
class ObjectList {
public:
    /// Of the columns, as in the table of objects; the first is the position's number.
    static const std::vector<std::string>& ColumnNames();

    // What is listed.

    void Clear();
    void Set(std::size_t position, MeasuredPosition measured);
    void List(ListedPositions which, std::size_t current);
    void Select(const ObjectSelection& selection);
    void Sort(std::size_t column, SortOrder order);

    ListedPositions Which() const { return which_; }
    const ObjectSelection& Selection() const { return selection_; }

    // The rows.

    std::size_t RowCount() const { return rows_.size(); }
    /// Empty where it was not measured, and for lengths where the pixel size is unknown.
    std::string Text(std::size_t row, std::size_t column) const;
    ObjectKey At(std::size_t row) const;
    const LabelExtent& ExtentAt(std::size_t row) const;
    std::optional<std::size_t> RowOf(const ObjectKey& key) const;

    /// Counts, area and sizes of the rows, without their statistics. Where the pixel size is unknown no object counts.
    SizeSummary Sizes() const;
    /// Why positions that are listed have no rows, for a person; empty where all were measured.
    std::string Failures() const;

private:
    struct Row {
        std::size_t position;
        const ObjectMeasures* object;
        bool hasPixelSize;
        std::string whyNotCounted;
    };

    void Fill();
    void SortRows();

    std::map<std::size_t, MeasuredPosition> measured_;
    std::vector<Row> rows_;
    ListedPositions which_ = ListedPositions::kCurrent;
    std::size_t current_ = 0;
    ObjectSelection selection_;
    std::size_t sortColumn_ = 1;
    SortOrder order_ = SortOrder::kAscending;
};

/// What a panel shows of sizes: the summary with its statistics, and the bins of a histogram.
struct SizeOverview {
    SizeSummary summary;
    std::vector<SizeBin> bins;  ///< empty without sizes, and where they would be too many
};

/// Fills in what Sizes leaves out, with the bins that a report would choose. Cost: that of StatisticsOf.
SizeOverview OverviewOf(SizeSummary sizes);

/// Lines for a person, UTF-8: how many objects count and why the others do not, then the statistics that their number
/// allows.
std::string OverviewText(const SizeSummary& summary);

}  // namespace Korvane
