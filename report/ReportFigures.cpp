#include "ReportFigures.h"

#include <algorithm>
#include <charconv>

#include "FigureData.h"
#include "ReportText.h"
#include "SizeBins.h"

namespace Korvane {

namespace {

constexpr std::size_t kMostLines = 8;
constexpr double kWhisker = 1.5;  // times the box's height (Tukey, 1977)

std::string Title(const std::string& text) { return GnuplotString(text) + " noenhanced"; }

std::string Labels(const std::string& x, const std::string& y) {
    return "set xlabel " + Title(x) + "\nset ylabel " + Title(y) + "\n";
}

std::string NText(const SizeSummary& summary) { return "n = " + std::to_string(summary.sizes.size()); }

std::string DiameterLabel() { return "diameter (nm)"; }

/// The groups that have sizes, where they can be told apart in a figure; else all sizes together.
std::vector<const SizeSummary*> LinesOf(const ReportNumbers& numbers) {
    std::vector<const SizeSummary*> lines;
    for (const SizeSummary& group : numbers.ofGroups) {
        if (!group.sizes.empty()) lines.push_back(&group);
    }
    if (lines.empty() || lines.size() > kMostLines) lines.assign(1, &numbers.all);
    return lines;
}

std::string NameOf(const SizeSummary& summary) { return summary.name.empty() ? "all images" : summary.name; }

std::string IndexText(std::size_t index) { return std::to_string(index); }

/// Sizes at equal distances from 0 to a little beyond the largest.
std::vector<double> CurvePlaces(const SizeSummary& summary) {
    constexpr int kPlaces = 200;
    std::vector<double> places;
    for (int i = 0; i <= kPlaces; ++i) places.push_back(summary.sizes.back() * 1.05 * i / kPlaces);
    return places;
}

/// Whether parts lie so close together that frames of the usual width would hide what is in them.
bool IsCrowded(std::size_t parts) { return parts > 40; }

/// The axis of parts that have numbers from 1 on.
std::string NumberAxis(std::size_t parts) {
    constexpr std::size_t kMostTics = 20;
    return "set xrange [0.4:" + GnuplotNumber(static_cast<double>(parts) + 0.6) + "]\n" +
           (parts <= kMostTics ? "set xtics 1\n" : "");
}

/// A computed value with the digits that are the same on every processor.
double SevenDigits(double value) {
    const std::string text = TableNumber(value);
    double rounded = 0.0;
    std::from_chars(text.data(), text.data() + text.size(), rounded);
    return rounded;
}

ReportFigure Histogram(const ReportNumbers& numbers) {
    const SizeSummary& all = numbers.all;
    FigureData data;
    data.BeginBlock({"middle_nm", "counted", "width_nm"});
    for (const SizeBin& bin : BinsOf(all.sizes, numbers.binWidth)) {
        data.Row({(bin.from + bin.to) / 2.0, static_cast<double>(bin.count), numbers.binWidth});
    }
    const std::optional<LogNormalFit>& fit = all.statistics.logNormal;
    ReportFigure made;
    made.title = "Size distribution";
    made.caption = "Counted objects by diameter in bins of " + TableNumber(numbers.binWidth) +
                   " nm, lower ends included; the bins are in bins.csv.";
    Figure& figure = made.figure;
    figure.name = "histogram";
    figure.settings =
        Labels(DiameterLabel(), "objects per bin of " + TableNumber(numbers.binWidth) + " nm") +
        "set key outside top center horizontal\nset yrange [0:*]\nset style fill solid 1 border lc rgb '#404040'\n";
    figure.plot = "plot DATA index 0 using 1:2:3 with boxes lc rgb '#b8c4d0' title " + GnuplotString(NText(all));
    if (fit) {
        data.BeginBlock({"diameter_nm", "fitted_per_bin"});
        for (const double size : CurvePlaces(all)) {
            const double perBin = DensityAt(*fit, size) * static_cast<double>(all.sizes.size()) * numbers.binWidth;
            data.Row({size, SevenDigits(perBin)});
        }
        figure.plot += ", \\\n    DATA index 1 using 1:2 with lines lt 1 title " +
                       GnuplotString("log-normal fit, geometric mean " + FixedText(fit->geometricMean, 1) + " nm, SD " +
                                     FixedText(fit->geometricSd, 3));
        made.caption += " Line: log-normal distribution of the geometric mean and SD of the sizes.";
    }
    figure.plot += "\n";
    figure.data = data.Text();
    return made;
}

/// Of more steps than a figure can show some are left out, at equal distances; the last one is always there.
bool IsStep(std::size_t i, std::size_t steps) {
    const std::size_t shown = std::min(steps, ReportNumbers::kMostPoints);
    return (i + 1) * shown / steps > i * shown / steps;
}

ReportFigure Cumulative(const ReportNumbers& numbers) {
    FigureData data;
    ReportFigure made;
    made.title = "Cumulative distribution";
    made.caption = "Share of the counted objects with at most this diameter.";
    Figure& figure = made.figure;
    figure.name = "cumulative";
    figure.settings =
        Labels(DiameterLabel(), "share of objects (%)") + "set yrange [0:100]\nset key outside top center horizontal\n";
    std::size_t index = 0;
    for (const SizeSummary* const line : LinesOf(numbers)) {
        data.BeginBlock({"diameter_nm", "share_percent"});
        const auto n = static_cast<double>(line->sizes.size());
        data.Row({line->sizes.front(), 0.0});
        for (std::size_t i = 0; i < line->sizes.size(); ++i) {
            if (IsStep(i, line->sizes.size())) data.Row({line->sizes[i], 100.0 * static_cast<double>(i + 1) / n});
        }
        figure.plot += (index == 0 ? "plot " : ", \\\n    ") + std::string("DATA index ") + IndexText(index) +
                       " using 1:2 with steps lt " + IndexText(index + 1) + " title " +
                       GnuplotString(NameOf(*line) + ", " + NText(*line));
        ++index;
    }
    const std::optional<LogNormalFit>& fit = numbers.all.statistics.logNormal;
    if (fit && index == 1) {
        data.BeginBlock({"diameter_nm", "fitted_share_percent"});
        for (const double size : CurvePlaces(numbers.all))
            data.Row({size, SevenDigits(100.0 * ShareBelow(*fit, size))});
        figure.plot += ", \\\n    DATA index 1 using 1:2 with lines lt 2 title 'log-normal fit'";
    }
    figure.plot += "\n";
    figure.data = data.Text();
    return made;
}

ReportFigure Shapes(const ReportNumbers& numbers) {
    FigureData data;
    ReportFigure made;
    made.title = "Diameter and roundness";
    const std::size_t every = numbers.objectsPerShape;
    made.caption =
        (every == 1 ? "Every counted object" : "One of every " + std::to_string(every) + " counted objects") +
        std::string(". Roundness is 1 for a circle; it falls where objects are oblong, bent or stuck together.");
    Figure& figure = made.figure;
    figure.name = "roundness";
    figure.settings = Labels(DiameterLabel(), "roundness (no unit)") + "set key outside top center horizontal\n";
    const std::vector<const SizeSummary*> lines = LinesOf(numbers);
    std::size_t index = 0;
    for (const SizeSummary* const line : lines) {
        data.BeginBlock({"diameter_nm", "roundness"});
        for (const ShapePoint& point : numbers.shapes) {
            if (!line->name.empty() && numbers.groups[point.group] != line->name) continue;
            data.Row({point.object.diameterNm, point.object.roundness});
        }
        figure.plot += (index == 0 ? "plot " : ", \\\n    ") + std::string("DATA index ") + IndexText(index) +
                       " using 1:2 with points lt " + IndexText(index + 1) + " title " +
                       GnuplotString(NameOf(*line) + ", " + NText(*line));
        ++index;
    }
    figure.plot += "\n";
    figure.data = data.Text();
    return made;
}

void AddBox(FigureData& boxes, double place, const SizeSummary& summary) {
    const std::vector<double>& sizes = summary.sizes;
    const double low = Quantile(sizes, 0.25);
    const double high = Quantile(sizes, 0.75);
    const double reach = kWhisker * (high - low);
    const double first = *std::lower_bound(sizes.begin(), sizes.end(), low - reach);
    const double last = *(std::upper_bound(sizes.begin(), sizes.end(), high + reach) - 1);
    boxes.Row({place, std::min(first, low), low, Quantile(sizes, 0.5), high, std::max(last, high),
               NameOf(summary) + ", " + NText(summary)});
}

/// Parts of the report side by side along an axis: groups, or the images, several of which share a place where they
/// are too many.
struct PartsInRow {
    const std::vector<SizeSummary>& parts;
    bool isOfGroups;
    std::size_t perPlace;  // images or groups
    std::size_t all;

    /// Of a part among all images, counted from 1.
    double PlaceOf(std::size_t part) const {
        const std::size_t first = part * perPlace;
        return static_cast<double>(first + 1) + static_cast<double>(std::min(perPlace, all - first) - 1) / 2.0;
    }
    std::string AxisText() const {
        const std::string axis = std::string(isOfGroups ? "group" : "image") + ", by its place in the table";
        return perPlace == 1 ? axis : axis + " (" + std::to_string(perPlace) + " images together)";
    }
    /// "an image", "50 images that follow one another"
    std::string OneText() const {
        if (isOfGroups) return "a group";
        return perPlace == 1 ? "an image" : std::to_string(perPlace) + " images that follow one another";
    }
};

PartsInRow ImagesInRow(const ReportNumbers& numbers) {
    return {numbers.ofRuns, false, numbers.imagesPerRun, numbers.all.images};
}

PartsInRow GroupsOrImages(const ReportNumbers& numbers) {
    const std::size_t groups = numbers.ofGroups.size();
    if (groups == 0 || groups > ReportNumbers::kMostRuns) return ImagesInRow(numbers);
    return {numbers.ofGroups, true, 1, groups};
}

struct FarSize {
    double place;
    double size;
};

std::vector<FarSize> FarSizes(const PartsInRow& row) {
    std::vector<FarSize> far;
    for (std::size_t i = 0; i < row.parts.size(); ++i) {
        const std::vector<double>& sizes = row.parts[i].sizes;
        if (sizes.empty()) continue;
        const double low = Quantile(sizes, 0.25);
        const double high = Quantile(sizes, 0.75);
        const double reach = kWhisker * (high - low);
        for (const double size : sizes) {
            if (size < low - reach || size > high + reach) far.push_back({row.PlaceOf(i), size});
        }
    }
    return far;
}

std::string BoxData(const PartsInRow& row, const std::vector<FarSize>& far) {
    FigureData data;
    data.BeginBlock(
        {"place", "whisker_low_nm", "quarter_nm", "median_nm", "three_quarters_nm", "whisker_high_nm", "name"});
    for (std::size_t i = 0; i < row.parts.size(); ++i) {
        if (!row.parts[i].sizes.empty()) AddBox(data, row.PlaceOf(i), row.parts[i]);
    }
    data.BeginBlock({"place", "far_size_nm"});
    for (std::size_t i = 0; i < far.size(); ++i) {
        if (IsStep(i, far.size())) data.Row({far[i].place, far[i].size});
    }
    data.Row({-1.0, -1.0});  // gnuplot wants a point in every block; this one lies outside the axes
    return data.Text();
}

ReportFigure Boxes(const ReportNumbers& numbers) {
    const PartsInRow row = GroupsOrImages(numbers);
    const std::vector<FarSize> far = FarSizes(row);
    const bool isCrowded = IsCrowded(row.parts.size());
    ReportFigure made;
    made.title = row.isOfGroups ? "Sizes by group" : "Sizes by image";
    made.caption = "Box: quarter, median and three quarters of the sizes of " + row.OneText() +
                   "; whiskers: the farthest sizes within 1.5 heights of the box; points: " +
                   (far.size() > ReportNumbers::kMostPoints ? "some of the " : "") + "sizes beyond them.";
    Figure& figure = made.figure;
    figure.name = "boxes";
    figure.data = BoxData(row, far);
    constexpr std::size_t kMostNames = 12;
    const bool isNamed = row.isOfGroups && row.parts.size() <= kMostNames;
    figure.settings = Labels(isNamed ? "" : row.AxisText(), DiameterLabel()) + NumberAxis(row.all) +
                      "set yrange [0:*]\nset style fill solid 1 " +
                      (isCrowded ? "noborder" : "border lc rgb '#000000'") + "\nset key off\n";
    figure.settings += "set title " +
                       Title("n = " + std::to_string(numbers.all.sizes.size()) + " objects in " +
                             Counted(numbers.all.images, "image")) +
                       "\n";
    const std::string names = isNamed ? ":xticlabels(7)" : "";
    if (isNamed) {
        figure.settings +=
            "set xtics autofreq noenhanced rotate by " + std::string(row.parts.size() > 4 ? "-30" : "0") + "\n";
    }
    const std::string frame = isCrowded ? "lt 1 lw 0.3" : "lt 1 lw 1";
    figure.plot = "BOX = " + GnuplotNumber(0.5 * static_cast<double>(row.perPlace)) +
                  "\nplot DATA index 0 using 1:3:2:6:5:(BOX)" + names + " with candlesticks " + frame +
                  " fc rgb '#b8c4d0' whiskerbars 0.5, \\\n    DATA index 0 using 1:4:4:4:4:(BOX) with candlesticks "
                  "lt 1 lw " +
                  (isCrowded ? "1" : "2") + ", \\\n    DATA index 1 using 1:2 with points pt 6 ps " +
                  (isCrowded ? "0.15" : "0.4") + " lc rgb '#000000'\n";
    return made;
}

ReportFigure Order(const ReportNumbers& numbers) {
    const PartsInRow row = ImagesInRow(numbers);
    FigureData data;
    data.BeginBlock({"image", "quarter_nm", "median_nm", "three_quarters_nm"});
    for (std::size_t i = 0; i < row.parts.size(); ++i) {
        const std::vector<double>& sizes = row.parts[i].sizes;
        if (sizes.empty()) continue;
        data.Row({row.PlaceOf(i), Quantile(sizes, 0.25), Quantile(sizes, 0.5), Quantile(sizes, 0.75)});
    }
    const bool isCrowded = IsCrowded(row.parts.size());
    ReportFigure made;
    made.title = "Sizes in the order of the images";
    made.caption =
        "Median (point) and the middle half of the sizes (line) of " +
        (row.perPlace == 1 ? "every image" : row.OneText()) +
        ", in the order of the list; "
        "dashed: the median of all. Where files are named in the order in which they were taken, a slope or a "
        "step here is drift.";
    Figure& figure = made.figure;
    figure.name = "order";
    figure.settings = Labels(row.AxisText(), DiameterLabel()) +
                      "set key outside top center horizontal\nset yrange [0:*]\n" + NumberAxis(row.all);
    figure.plot = "plot " + GnuplotNumber(*numbers.all.statistics.median) + " with lines lt 2 title " +
                  GnuplotString("median of all, " + NText(numbers.all)) +
                  ", \\\n    DATA index 0 using 1:2:(0):($4 - $2) with vectors nohead " +
                  (isCrowded ? "lt 1 lw 0.4 lc rgb '#909090'" : "lt 1 lw 1") +
                  " notitle, \\\n    DATA index 0 using 1:3 with points lt 1" + (isCrowded ? " ps 0.2" : "") +
                  " title 'median of " + row.OneText() + " (line: middle half)'\n";
    figure.data = data.Text();
    return made;
}

}  // namespace

const std::vector<std::string>& ReportFigureNames() {
    static const std::vector<std::string> names{"histogram", "cumulative", "roundness", "boxes", "order"};
    return names;
}

std::vector<ReportFigure> ReportFigures(const ReportNumbers& numbers) {
    if (numbers.all.sizes.empty()) return {};
    return {Histogram(numbers), Cumulative(numbers), Shapes(numbers), Boxes(numbers), Order(numbers)};
}

}  // namespace Korvane
