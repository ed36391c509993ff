#include "ReportQuality.h"

#include <map>
#include <set>
#include <vector>

#include "InlineSvg.h"
#include "ProgramVersion.h"
#include "ReportText.h"

namespace Korvane {

namespace {

/// How many images have a text, in the order in which it first comes.
class Tally {
public:
    void Add(const std::string& text) {
        if (counts_[text]++ == 0) order_.push_back(text);
    }
    const std::vector<std::string>& Texts() const { return order_; }
    std::size_t Count(const std::string& text) const { return counts_.at(text); }

private:
    std::vector<std::string> order_;
    std::map<std::string, std::size_t> counts_;
};

std::string TallyTable(const char* what, const Tally& tally) {
    std::string html = "<table><tr>" + HtmlHeading(what) + HtmlHeading("Images") + "</tr>\n";
    for (const std::string& text : tally.Texts()) {
        html += "<tr>" + HtmlCell(text) + HtmlCell(std::to_string(tally.Count(text))) + "</tr>\n";
    }
    return html + "</table>\n";
}

template <typename Text>
Tally TallyOf(const ReportNumbers& numbers, Text text) {
    Tally tally;
    for (const ReportedImage& image : numbers.images) {
        if (image.leftOutBecause.empty()) tally.Add(text(image));
    }
    return tally;
}

std::string OriginText(const LabelOrigin& origin) {
    if (origin.command.empty()) return "no record: drawn or changed by hand, or made elsewhere";
    return origin.command + ", " + origin.program + (origin.parameters.empty() ? "" : ": " + origin.parameters);
}

/// The same as a part of a sentence.
std::string OutlinedText(const LabelOrigin& origin) {
    const std::string made = origin.command.empty() ? "how is not recorded: fill it in" : OriginText(origin);
    return made + (origin.prepared.empty() ? "" : "; " + origin.prepared);
}

std::string PixelSizeOf(const ReportedImage& image) { return image.pixelSize + " (" + image.pixelSizeSource + ")"; }

std::string LeftOutImages(const ReportNumbers& numbers) {
    if (numbers.LeftOutImages() == 0) return "<p>No image was left out.</p>\n";
    std::string html = "<table><tr>" + HtmlHeading("Image left out") + HtmlHeading("Why") + "</tr>\n";
    for (const ReportedImage& image : numbers.images) {
        if (image.leftOutBecause.empty()) continue;
        html += "<tr>" + HtmlCell(image.path) + HtmlCell(image.leftOutBecause) + "</tr>\n";
    }
    return html + "</table>\n";
}

std::string Warnings(const ReportNumbers& numbers) {
    std::string rows;
    for (const ReportedImage& image : numbers.images) {
        for (const std::string& warning : image.warnings) {
            rows += "<tr>" + HtmlCell(image.path) + HtmlCell(warning) + "</tr>\n";
        }
    }
    if (rows.empty()) return "<p>There were no warnings.</p>\n";
    return "<table><tr>" + HtmlHeading("Image") + HtmlHeading("Warning") + "</tr>\n" + rows + "</table>\n";
}

std::string EdgeText(const ReportNumbers& numbers) {
    const SizeSummary& all = numbers.all;
    const std::string share =
        all.objects > 0 ? FixedText(100.0 * static_cast<double>(all.atEdge) / static_cast<double>(all.objects), 1)
                        : "0";
    return "<p>" + Counted(all.atEdge, "object") + " of " + std::to_string(all.objects) + " (" + share +
           " %) touch the edge of their image. Such an object may be cut off, and is then measured too small.</p>\n";
}

std::string NotCounted(const ReportNumbers& numbers) {
    const SizeSummary& all = numbers.all;
    if (all.objects == all.sizes.size()) return "<p>All objects count.</p>\n";
    std::string html = "<p>" + Counted(all.objects - all.sizes.size(), "object") + " of " +
                       std::to_string(all.objects) +
                       " do not count. One object may have several reasons:</p>\n<table><tr>" + HtmlHeading("Reason") +
                       HtmlHeading("Objects") + "</tr>\n";
    for (const auto& [reason, count] : all.leftOut) {
        html += "<tr>" + HtmlCell(reason) + HtmlCell(std::to_string(count)) + "</tr>\n";
    }
    return html + "</table>\n";
}

std::string Listed(const Tally& tally) {
    std::string text;
    for (const std::string& entry : tally.Texts()) text += (text.empty() ? "" : "; ") + entry;
    return text;
}

/// ", 95 % interval 65.1 to 67.9 nm"
std::string WithInterval(const std::optional<Interval>& interval) {
    return interval ? ", 95 % interval " + IntervalText(interval, 1) + " nm" : "";
}

}  // namespace

std::string HtmlCell(const std::string& text) { return "<td>" + HtmlText(text) + "</td>"; }
std::string HtmlHeading(const std::string& text) { return "<th>" + HtmlText(text) + "</th>"; }

std::string MethodsText(const ReportNumbers& numbers) {
    const SizeSummary& all = numbers.all;
    const SizeStatistics& s = all.statistics;
    const Tally origins = TallyOf(numbers, [](const ReportedImage& image) { return OutlinedText(image.origin); });
    const Tally sizes = TallyOf(numbers, [](const ReportedImage& image) { return image.pixelSize; });
    std::string text = "Vesicles in " + Counted(all.images, "electron micrograph") + " (" + Listed(sizes) + "; " +
                       FixedText(all.areaUm2, 2) + " µm²) were outlined (" + Listed(origins) +
                       ") and measured with Korvane " + VersionText() + "; the size is the " +
                       DiameterText(numbers.diameter) + ", and of " + Counted(all.objects, "object") + " " +
                       std::to_string(all.sizes.size()) + " were counted (" +
                       (numbers.selection.empty() ? "no selection" : numbers.selection) + ").";
    if (!s.sd) return text;
    text += " The mean diameter was " + FixedText(s.mean, 1) + " nm (SD " + FixedText(s.sd, 1) +
            " nm, n = " + std::to_string(s.n) + WithInterval(s.meanInterval) + " from Student's t), the median " +
            FixedText(s.median, 1) + " nm (" + std::to_string(kBootstrapResamples) + " bootstrap resamples" +
            WithInterval(s.medianInterval) + "), D10 and D90 " + FixedText(s.d10, 1) + " and " + FixedText(s.d90, 1) +
            " nm";
    if (s.logNormal) {
        text += ", and a log-normal fit had the geometric mean " + FixedText(s.logNormal->geometricMean, 1) +
                " nm and the geometric SD " + FixedText(s.logNormal->geometricSd, 3);
    }
    return text + ".";
}

std::string QualitySection(const ReportNumbers& numbers) {
    std::string html = "<h2 id=\"quality\">Quality</h2>\n<h3>Pixel sizes</h3>\n";
    const Tally sizes = TallyOf(numbers, PixelSizeOf);
    if (sizes.Texts().size() > 1) {
        html +=
            "<p>The images do not all have one pixel size. Make sure that each is right before they are put "
            "together.</p>\n";
    }
    html += TallyTable("Pixel size and where it was found", sizes);
    html += "<h3>Images</h3>\n<p>" + std::to_string(numbers.all.images) + " of " +
            Counted(numbers.images.size(), "image") + " are part of this report.</p>\n" + LeftOutImages(numbers);
    html += "<h3>How the labels were made</h3>\n" +
            TallyTable("Command and parameters",
                       TallyOf(numbers, [](const ReportedImage& image) { return OriginText(image.origin); }));
    html +=
        TallyTable("Left out of the images, or filled, before the analysis", TallyOf(numbers, [](const auto& image) {
                       return image.origin.prepared.empty() ? std::string("nothing") : image.origin.prepared;
                   }));
    html += "<p>Measured by Korvane " + VersionText() + ".</p>\n";
    html += "<h3>Objects</h3>\n" + EdgeText(numbers) + NotCounted(numbers);
    html += "<h3>Warnings</h3>\n" + Warnings(numbers);
    return html;
}

}  // namespace Korvane
