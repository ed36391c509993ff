#include "ReportQuality.h"

#include <cstddef>

#include "InlineSvg.h"
#include "ProgramVersion.h"
#include "ReportText.h"

namespace Korvane {

namespace {

std::string TallyTable(const char* what, const TextTally& tally) {
    std::string html = "<table><tr>" + HtmlHeading(what) + HtmlHeading("Images") + "</tr>\n";
    for (const std::string& text : tally.Texts()) {
        html += "<tr>" + HtmlCell(text) + HtmlCell(std::to_string(tally.Count(text))) + "</tr>\n";
    }
    if (tally.Others() > 0) html += "<tr>" + HtmlCell("others") + HtmlCell(std::to_string(tally.Others())) + "</tr>\n";
    return html + "</table>\n";
}

/// A row that names how many of them the table does not have.
std::string FurtherRow(std::size_t count, const char* thing) {
    return "<tr>" + HtmlCell("and " + Counted(count, thing) + " more") + HtmlCell("") + "</tr>\n";
}

std::string NamedTable(const NamedImages& named, const char* thing, const std::string& heads) {
    std::string html = "<table><tr>" + heads + "</tr>\n";
    for (const NamedImages::Line& line : named.first) {
        html += "<tr>" + HtmlCell(line.path) + HtmlCell(line.text) + "</tr>\n";
    }
    if (named.count > named.first.size()) html += FurtherRow(named.count - named.first.size(), thing);
    return html + "</table>\n";
}

std::string LeftOutImages(const NamedImages& leftOut) {
    if (leftOut.count == 0) return "<p>No image was left out.</p>\n";
    return NamedTable(leftOut, "image", HtmlHeading("Image left out") + HtmlHeading("Why"));
}

std::string Warnings(const NamedImages& warnings) {
    if (warnings.count == 0) return "<p>There were no warnings.</p>\n";
    return NamedTable(warnings, "warning", HtmlHeading("Image") + HtmlHeading("Warning"));
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

/// As a part of a sentence, which nobody reads when it is a page long.
std::string Listed(const TextTally& tally) {
    constexpr std::size_t kMostInSentence = 40;
    std::string text;
    std::size_t listed = 0;
    for (const std::string& entry : tally.Texts()) {
        if (listed++ == kMostInSentence) return text + "; and others";
        text += (text.empty() ? "" : "; ") + entry;
    }
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
    const QualityFacts& facts = numbers.quality;
    std::string text = "Vesicles in " + Counted(all.images, "electron micrograph") + " (" +
                       Listed(facts.pixelSizes) + "; " +
                       FixedText(all.areaUm2, 2) + " µm²) were outlined (" + Listed(facts.outlined) +
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
    const QualityFacts& facts = numbers.quality;
    if (facts.sizeSources.Texts().size() > 1) {
        html +=
            "<p>The images do not all have one pixel size. Make sure that each is right before they are put "
            "together.</p>\n";
    }
    html += TallyTable("Pixel size and where it was found", facts.sizeSources);
    html += "<h3>Images</h3>\n<p>" + std::to_string(numbers.all.images) + " of " +
            Counted(numbers.imagesGiven, "image") + " are part of this report.</p>\n" + LeftOutImages(facts.leftOut);
    html += "<h3>How the labels were made</h3>\n" + TallyTable("Command and parameters", facts.origins);
    html += TallyTable("Left out of the images, or filled, before the analysis", facts.prepared);
    html += "<p>Measured by Korvane " + VersionText() + ".</p>\n";
    html += "<h3>Objects</h3>\n" + EdgeText(numbers) + NotCounted(numbers);
    html += "<h3>Warnings</h3>\n" + Warnings(facts.warnings);
    return html;
}

}  // namespace Korvane
