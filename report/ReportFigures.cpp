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
            data.Row({line->sizes[i], 100.0 * static_cast<double>(i + 1) / n});
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
    made.caption =
        "Every counted object. Roundness is 1 for a circle; it falls where objects are oblong, bent or stuck "
        "together.";
    Figure& figure = made.figure;
    figure.name = "roundness";
    figure.settings = Labels(DiameterLabel(), "roundness (no unit)") + "set key outside top center horizontal\n";
    const std::vector<const SizeSummary*> lines = LinesOf(numbers);
    std::size_t index = 0;
    for (const SizeSummary* const line : lines) {
        data.BeginBlock({"diameter_nm", "roundness"});
        for (const ReportedImage& image : numbers.images) {
            const bool isPart = line->name.empty() || numbers.groups[image.group] == line->name;
            if (!image.leftOutBecause.empty() || !isPart) continue;
            for (const ReportedObject& object : image.counted) data.Row({object.diameterNm, object.roundness});
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

void AddFarSizes(FigureData& points, double place, const SizeSummary& summary) {
    const double low = Quantile(summary.sizes, 0.25);
    const double high = Quantile(summary.sizes, 0.75);
    const double reach = kWhisker * (high - low);
    for (const double size : summary.sizes) {
        if (size < low - reach || size > high + reach) points.Row({place, size});
    }
}

ReportFigure Boxes(const ReportNumbers& numbers) {
    const bool isOfGroups = !numbers.ofGroups.empty();
    const std::vector<SizeSummary>& parts = isOfGroups ? numbers.ofGroups : numbers.ofImages;
    FigureData data;
    data.BeginBlock(
        {"place", "whisker_low_nm", "quarter_nm", "median_nm", "three_quarters_nm", "whisker_high_nm", "name"});
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (!parts[i].sizes.empty()) AddBox(data, static_cast<double>(i + 1), parts[i]);
    }
    data.BeginBlock({"place", "far_size_nm"});
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (!parts[i].sizes.empty()) AddFarSizes(data, static_cast<double>(i + 1), parts[i]);
    }
    data.Row({-1.0, -1.0});  // gnuplot wants a point in every block; this one lies outside the axes
    ReportFigure made;
    made.title = isOfGroups ? "Sizes by group" : "Sizes by image";
    made.caption = std::string("Box: quarter, median and three quarters of the sizes of a") +
                   (isOfGroups ? " group" : "n image") +
                   "; whiskers: the farthest sizes within 1.5 heights of the box; points: sizes beyond them.";
    Figure& figure = made.figure;
    figure.name = "boxes";
    constexpr std::size_t kMostNames = 12;
    const bool isNamed = isOfGroups && parts.size() <= kMostNames;
    figure.settings = Labels(isNamed      ? ""
                             : isOfGroups ? "group, by its place in the table"
                                          : "image, by its place in the table",
                             DiameterLabel()) +
                      NumberAxis(parts.size()) + "set yrange [0:*]\nset style fill solid 1 " +
                      (IsCrowded(parts.size()) ? "noborder" : "border lc rgb '#000000'") + "\nset key off\n";
    figure.settings += "set title " +
                       Title("n = " + std::to_string(numbers.all.sizes.size()) + " objects in " +
                             Counted(numbers.all.images, "image")) +
                       "\n";
    const std::string names = isNamed ? ":xticlabels(7)" : "";
    if (isNamed)
        figure.settings +=
            "set xtics autofreq noenhanced rotate by " + std::string(parts.size() > 4 ? "-30" : "0") + "\n";
    const std::string frame = IsCrowded(parts.size()) ? "lt 1 lw 0.3" : "lt 1 lw 1";
    figure.plot =
        "BOX = 0.5\nplot DATA index 0 using 1:3:2:6:5:(BOX)" + names + " with candlesticks " + frame +
        " fc rgb '#b8c4d0' whiskerbars 0.5, \\\n    DATA index 0 using 1:4:4:4:4:(BOX) with candlesticks lt 1 lw " +
        (IsCrowded(parts.size()) ? "1" : "2") + ", \\\n    DATA index 1 using 1:2 with points pt 6 ps " +
        (IsCrowded(parts.size()) ? "0.15" : "0.4") + " lc rgb '#000000'\n";
    figure.data = data.Text();
    return made;
}

ReportFigure Order(const ReportNumbers& numbers) {
    FigureData data;
    data.BeginBlock({"image", "quarter_nm", "median_nm", "three_quarters_nm"});
    for (std::size_t i = 0; i < numbers.ofImages.size(); ++i) {
        const std::vector<double>& sizes = numbers.ofImages[i].sizes;
        if (sizes.empty()) continue;
        data.Row({static_cast<double>(i + 1), Quantile(sizes, 0.25), Quantile(sizes, 0.5), Quantile(sizes, 0.75)});
    }
    ReportFigure made;
    made.title = "Sizes in the order of the images";
    made.caption =
        "Median (point) and the middle half of the sizes (line) of every image, in the order of the list; "
        "dashed: the median of all. Where files are named in the order in which they were taken, a slope or a "
        "step here is drift.";
    Figure& figure = made.figure;
    figure.name = "order";
    figure.settings = Labels("image, by its place in the table", DiameterLabel()) +
                      "set key outside top center horizontal\nset yrange [0:*]\n" + NumberAxis(numbers.ofImages.size());
    figure.plot = "plot " + GnuplotNumber(*numbers.all.statistics.median) + " with lines lt 2 title " +
                  GnuplotString("median of all, " + NText(numbers.all)) +
                  ", \\\n    DATA index 0 using 1:2:(0):($4 - $2) with vectors nohead " +
                  (IsCrowded(numbers.ofImages.size()) ? "lt 1 lw 0.4 lc rgb '#909090'" : "lt 1 lw 1") +
                  " notitle, \\\n    DATA index 0 using 1:3 with points lt 1" +
                  (IsCrowded(numbers.ofImages.size()) ? " ps 0.2" : "") +
                  " title 'median of an image (line: middle half)'\n";
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
