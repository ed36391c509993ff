#include "ReportPage.h"

#include <algorithm>

#include "InlineSvg.h"
#include "ReportQuality.h"
#include "ReportText.h"

namespace Korvane {

namespace {

constexpr const char* kHead =
    "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
    "<meta name=\"viewport\" content=\"width=device-width\">\n<title>Sizes of vesicles</title>\n<style>\n"
    "body{font:16px/1.45 \"DejaVu Sans\",Verdana,Arial,sans-serif;color:#111;background:#fff;max-width:62rem;"
    "margin:2rem auto;padding:0 1rem}\n"
    "h1{font-size:1.7rem;margin-bottom:.2rem}h2{font-size:1.3rem;margin-top:2.2rem;border-bottom:1px solid #888}"
    "h3{font-size:1.05rem;margin-top:1.4rem}\n"
    ".lead{font-size:1.15rem}.note{border-left:4px solid #444;padding:.1rem .8rem;background:#f2f2f2}\n"
    "table{border-collapse:collapse;margin:.6rem 0;font-size:.85rem}th,td{border:1px solid #999;padding:.2rem .5rem;"
    "text-align:left;vertical-align:top}td{overflow-wrap:anywhere}th{background:#eee}\n"
    "td.number,th.number{text-align:right}td.number{white-space:nowrap}.wide{overflow-x:auto}\n"
    "figure{margin:1.2rem 0;break-inside:avoid}figure svg{width:100%;max-width:46rem;height:auto}\n"
    "figcaption{font-size:.85rem;max-width:46rem}figure.image svg{max-width:100%}\n"
    ".images{display:flex;flex-wrap:wrap;gap:1rem}figure.image{margin:0;max-width:100%}figure.image svg{width:auto}\n"
    "figure.image figcaption{max-width:40rem;overflow-wrap:anywhere}\n"
    "svg.thumbnail polygon{fill:none;stroke-width:1.6}svg.thumbnail polygon.counted{stroke:#ffd200}\n"
    "svg.thumbnail polygon.other{stroke:#ffffff;stroke-dasharray:2 2}\n"
    "svg.thumbnail text{font:bold 9px \"DejaVu Sans\",Arial,sans-serif;text-anchor:middle;fill:#fff;stroke:#000;"
    "stroke-width:2.2px;paint-order:stroke}\n"
    "svg.thumbnail text.bar{text-anchor:start;font-size:11px}svg.thumbnail path.bar{stroke:#fff;stroke-width:4;"
    "filter:drop-shadow(0 0 1px #000)}\n"
    "@media print{body{margin:0;max-width:none;font-size:10.5pt}.wide{overflow:visible}table{font-size:7.5pt}"
    ".note,tr{break-inside:avoid}h2,h3{break-after:avoid}figure svg{max-width:13.5cm}"
    "figure.image{flex:0 1 8.4cm}figure.image svg{width:8.4cm}}\n"
    "</style>\n</head>\n<body>\n";

std::string Number(const std::string& text) { return "<td class=\"number\">" + HtmlText(text) + "</td>"; }

/// A row of the table of sizes: a name and its text for one summary.
struct SizeRow {
    const char* name;
    std::string (*text)(const SizeSummary& summary);
};

std::string With(const std::string& value, const std::string& interval) {
    return interval.empty() ? value : value + " (" + interval + ")";
}

std::string FurtherText(const SizeSummary& summary, const std::optional<std::uint64_t>& needed) {
    if (!needed) return "";
    return std::to_string(*needed - std::min<std::uint64_t>(*needed, summary.sizes.size()));
}

using Sum = SizeSummary;

std::string FitMean(const Sum& s) {
    const std::optional<LogNormalFit>& fit = s.statistics.logNormal;
    return fit ? With(FixedText(fit->geometricMean, 1), IntervalText(fit->meanInterval, 1)) : "";
}

std::string FitSd(const Sum& s) {
    const std::optional<LogNormalFit>& fit = s.statistics.logNormal;
    return fit ? With(FixedText(fit->geometricSd, 3), IntervalText(fit->sdInterval, 3)) : "";
}

std::string FitGoodness(const Sum& s) {
    const std::optional<LogNormalFit>& fit = s.statistics.logNormal;
    if (!fit || !fit->probability) return "";
    const std::string p = *fit->probability < 0.001 ? "p < 0.001" : "p = " + FixedText(fit->probability, 3);
    return With(FixedText(fit->andersonDarling, 3), p);
}

const std::vector<SizeRow>& SizeRows() {
    static const std::vector<SizeRow> rows{
        {"Images", [](const Sum& s) { return std::to_string(s.images); }},
        {"Objects counted", [](const Sum& s) { return std::to_string(s.sizes.size()); }},
        {"Objects not counted", [](const Sum& s) { return std::to_string(s.objects - s.sizes.size()); }},
        {"Counted per µm²", [](const Sum& s) { return s.images > 0 ? FixedText(s.PerUm2(), 2) : ""; }},
        {"Mean, nm (95 %)",
         [](const Sum& s) {
             return With(FixedText(s.statistics.mean, 1), IntervalText(s.statistics.meanInterval, 1));
         }},
        {"SD, nm", [](const Sum& s) { return FixedText(s.statistics.sd, 1); }},
        {"SEM, nm", [](const Sum& s) { return FixedText(s.statistics.sem, 2); }},
        {"Median, nm (95 %)",
         [](const Sum& s) {
             return With(FixedText(s.statistics.median, 1), IntervalText(s.statistics.medianInterval, 1));
         }},
        {"Mode, nm", [](const Sum& s) { return FixedText(s.statistics.mode, 1); }},
        {"D10, nm", [](const Sum& s) { return FixedText(s.statistics.d10, 1); }},
        {"D50, nm", [](const Sum& s) { return FixedText(s.statistics.median, 1); }},
        {"D90, nm", [](const Sum& s) { return FixedText(s.statistics.d90, 1); }},
        {"Coefficient of variation", [](const Sum& s) { return FixedText(s.statistics.cv, 3); }},
        {"Skewness", [](const Sum& s) { return FixedText(s.statistics.skewness, 3); }},
        {"Log-normal fit: geometric mean, nm (95 %)", FitMean},
        {"Log-normal fit: geometric SD (95 %)", FitSd},
        {"Log-normal fit: Anderson-Darling A² (p)", FitGoodness},
        {"Further objects for the mean to ±5 %",
         [](const Sum& s) { return FurtherText(s, s.statistics.neededForMean); }},
        {"Further objects for D90 to ±5 %", [](const Sum& s) { return FurtherText(s, s.statistics.neededForD90); }},
    };
    return rows;
}

/// Says that a table holds the first of many things only; empty where it holds all.
std::string FirstText(const std::string& things, std::size_t shown, std::size_t all) {
    if (shown >= all) return "";
    return "<p>These are the first " + std::to_string(shown) + " of " + std::to_string(all) + " " + things +
           "; summary.csv has all of them.</p>\n";
}

using SummaryPlace = std::vector<const SizeSummary*>::const_iterator;

std::string SizeTable(SummaryPlace first, SummaryPlace last) {
    std::string html = "<div class=\"wide\"><table><tr><th></th>";
    for (auto summary = first; summary != last; ++summary) {
        html +=
            "<th class=\"number\">" + HtmlText((*summary)->name.empty() ? "All images" : (*summary)->name) + "</th>";
    }
    html += "</tr>\n";
    for (const SizeRow& row : SizeRows()) {
        html += "<tr>" + HtmlHeading(row.name);
        for (auto summary = first; summary != last; ++summary) html += Number(row.text(**summary));
        html += "</tr>\n";
    }
    return html + "</table></div>\n";
}

/// So many columns side by side fit on a printed page.
std::string SizeTables(const ReportNumbers& numbers) {
    constexpr std::ptrdiff_t kMostColumns = 4;
    constexpr std::size_t kMostGroups = 500;
    std::vector<const SizeSummary*> columns{&numbers.all};
    for (const SizeSummary& group : numbers.ofGroups) {
        if (columns.size() <= kMostGroups) columns.push_back(&group);
    }
    std::string html;
    for (auto first = columns.cbegin(); first != columns.cend();) {
        const auto last = first + std::min(kMostColumns, columns.cend() - first);
        html += SizeTable(first, last);
        first = last;
    }
    return html + FirstText("groups", columns.size() - 1, numbers.ofGroups.size());
}

/// The folder that all images of the report lie below, with its last separator; empty where there is none.
std::string CommonFolder(const std::vector<SizeSummary>& images) {
    std::string common = images.empty() ? "" : images.front().name;
    for (const SizeSummary& image : images) {
        const auto [end, other] = std::mismatch(common.begin(), common.end(), image.name.begin(), image.name.end());
        common.erase(end, common.end());
    }
    return common.substr(0, common.rfind('/') + 1);
}

std::string ImageTableRow(std::size_t number, const SizeSummary& image, const std::string& folder, bool hasGroups) {
    const SizeStatistics& s = image.statistics;
    std::string html = "<tr>" + Number(std::to_string(number)) + HtmlCell(image.name.substr(folder.size()));
    if (hasGroups) html += HtmlCell(image.group);
    for (const std::string& text :
         {std::to_string(image.sizes.size()), std::to_string(image.objects - image.sizes.size()),
          FixedText(image.PerUm2(), 2), FixedText(s.mean, 1), FixedText(s.sd, 1), FixedText(s.median, 1),
          FixedText(s.d10, 1), FixedText(s.d90, 1)}) {
        html += Number(text);
    }
    return html + "</tr>\n";
}

bool PutImageTable(const ReportNumbers& numbers, const PutPart& put) {
    const bool hasGroups = !numbers.groups.empty();
    const std::string folder = CommonFolder(numbers.ofImages);
    std::string head = "<h2 id=\"images\">Images</h2>\n<p>Folder: " + HtmlText(folder) +
                       "</p>\n<div class=\"wide\"><table><tr><th class=\"number\">No.</th>" + HtmlHeading("Image");
    if (hasGroups) head += HtmlHeading("Group");
    for (const char* const name :
         {"Counted", "Not counted", "Per µm²", "Mean, nm", "SD, nm", "Median, nm", "D10, nm", "D90, nm"}) {
        head += "<th class=\"number\">" + std::string(name) + "</th>";
    }
    if (!put(head + "</tr>\n")) return false;
    for (std::size_t i = 0; i < numbers.ofImages.size(); ++i) {
        if (!put(ImageTableRow(i + 1, numbers.ofImages[i], folder, hasGroups))) return false;
    }
    return put("</table></div>\n" + FirstText("images", numbers.ofImages.size(), numbers.all.images));
}

std::string Opening(const ReportNumbers& numbers) {
    const SizeSummary& all = numbers.all;
    const SizeStatistics& s = all.statistics;
    std::string html = kHead;
    html += "<h1>Sizes of vesicles</h1>\n<p class=\"lead\">" + Counted(all.sizes.size(), "object") + " counted in " +
            Counted(all.images, "image");
    if (s.sd) {
        html += ": mean diameter " + FixedText(s.mean, 1) + " nm (95 % interval " + IntervalText(s.meanInterval, 1) +
                " nm, SD " + FixedText(s.sd, 1) + " nm), median " + FixedText(s.median, 1) + " nm";
    }
    html += ".</p>\n<p>Diameter: " + HtmlText(DiameterText(numbers.diameter)) + " (" + HtmlText(numbers.diameter) +
            "). Counted: " + HtmlText(numbers.selection.empty() ? "all objects" : numbers.selection) + ".";
    if (numbers.LeftOutImages() > 0) {
        html += " " + Counted(numbers.LeftOutImages(), "image") + " left out (<a href=\"#quality\">why</a>).";
    }
    return html + "</p>\n";
}

std::string Figures(const ReportPageParts& parts) {
    std::string html = "<h2 id=\"figures\">Figures</h2>\n";
    if (!parts.figuresNote.empty()) html += "<p class=\"note\">" + HtmlText(parts.figuresNote) + ".</p>\n";
    for (const DrawnFigure& figure : parts.figures) {
        html += "<figure><h3>" + HtmlText(figure.title) + "</h3>\n" + figure.svg + "<figcaption>" +
                HtmlText(figure.caption) + " File: figures/" + figure.name + "</figcaption></figure>\n";
    }
    return html;
}

constexpr const char* kSizesNote =
    "<p>Intervals of 95 %: Student's t for means, 2000 bootstrap resamples for medians. They take every object for an "
    "independent one; where images or preparations differ, compare the values of the images instead. "
    "D10, D50 and D90: sizes below which 10, 50 and 90 % of the objects lie. "
    "A small p of the fit says that the sizes are not log-normal; the numbers of further objects (ISO 13322-1) are "
    "then a "
    "rough guide only. Formulas are in the manual, under Measurements.</p>\n";

constexpr const char* kFilesNote =
    "<h2 id=\"files\">Files</h2>\n<p>Beside this page: objects.csv (a line for each object), summary.csv (all values "
    "of this page for all images, each group and each image), bins.csv (the histogram), and in figures/ each figure as "
    "SVG and PDF with its data (.dat) and the script that draws it (.gnuplot).</p>\n";

}  // namespace

bool PutPage(const ReportNumbers& numbers, const ReportPageParts& parts, const PutPart& put) {
    if (!put(Opening(numbers))) return false;
    if (!put("<h2 id=\"sizes\">Sizes</h2>\n" + SizeTables(numbers) + kSizesNote)) return false;
    if (!put("<h3>For the methods section</h3>\n<p class=\"note\">" + HtmlText(MethodsText(numbers)) + "</p>\n")) {
        return false;
    }
    if (!put(Figures(parts)) || !PutImageTable(numbers, put)) return false;
    if (!put(parts.thumbnailsNote + "<div class=\"images\">\n") || !parts.thumbnails(put) || !put("</div>\n")) {
        return false;
    }
    return put(QualitySection(numbers) + kFilesNote + "</body>\n</html>\n");
}

}  // namespace Korvane
