#include "ImageWarnings.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "DetectionDriver.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

double WidthNm(float perUm) { return 1000.0 / static_cast<double>(perUm); }

wxString Number(double value) { return wxString::FromCDouble(value); }

wxString AxisText(float perUm) { return perUm > 0.0f ? Number(WidthNm(perUm)) : wxString("undefined"); }

bool IsUsual(double nm) {
    // A size of exactly 0.05 nm is stored as a float of pixels per micrometre, which is a little off.
    constexpr double kRounding = 1e-6;
    return nm >= kSmallestUsualPixelNm * (1.0 - kRounding) && nm <= kLargestUsualPixelNm * (1.0 + kRounding);
}

}  // namespace

wxString PixelSizeText(const qvox::PixelResolution& resolution) {
    const auto& [x, y, z] = resolution;
    if (x <= 0.0f && y <= 0.0f) return "pixel size undefined";
    wxString text = AxisText(x);
    if (y != x) text += " x " + AxisText(y);
    return text + " nm per pixel";
}

wxString PixelSizeWarning(const qvox::PixelResolution& resolution) {
    const auto& [x, y, z] = resolution;
    if (x <= 0.0f || y <= 0.0f) return {};
    const double width = WidthNm(x);
    const double height = WidthNm(y);
    const double difference = std::max(width, height) / std::min(width, height) - 1.0;
    const bool isUsual = IsUsual(width) && IsUsual(height);
    const bool isSquare = difference <= kUsualAspectDifference;
    if (isUsual && isSquare) return {};
    wxString text = "has " + PixelSizeText(resolution);
    if (!isUsual) {
        text += ", outside " + Number(kSmallestUsualPixelNm) + " to " + Number(kLargestUsualPixelNm) +
                " nm: the size may be wrong";
    }
    if (!isSquare) {
        text += wxString(isUsual ? ": " : "; ") + "width and height differ by " +
                wxString::FromCDouble(100.0 * difference, 1) + " %, and the analysis goes by the width";
    }
    return text + ".";
}

wxString ReplacedPixelSizeWarning(const qvox::PixelResolution& stored, const wxString& source,
                                  const qvox::PixelResolution& used, const wxString& option) {
    const bool isStored = stored.x > 0.0f || stored.y > 0.0f;
    const bool isSame = AxisText(stored.x) == AxisText(used.x) && AxisText(stored.y) == AxisText(used.y);
    if (!isStored || isSame) return {};
    wxString text = "stores " + PixelSizeText(stored);
    if (!source.empty()) text += " (" + source + ")";
    return text + "; " + option + " replaces it by " + PixelSizeText(used) + ".";
}

wxString AreaLimitWarning(std::uint64_t pixels, Extent extent, float xResolution,
                          const AnalysisParameters& parameters) {
    std::int64_t limit = 0;
    try {
        limit = DetectionAreaLimit(xResolution, parameters);
    } catch (const qvox::ToolkitError&) {
        return {};
    }
    if (limit < 0 || static_cast<double>(pixels) >= kRoomForDetection * static_cast<double>(limit)) return {};
    const bool isWhole = extent == Extent::kWholeImage;
    const wxString object = "the largest object of detection (" + wxString(std::to_string(limit)) + "): ";
    const wxString begin =
        "has " + wxString(std::to_string(pixels)) + (isWhole ? " pixels, " : " pixels in the analysed part, ");
    if (pixels <= static_cast<std::uint64_t>(limit)) {
        return begin + "no more than " + object + "the whole " + (isWhole ? "image" : "part") +
               " becomes one object, or none.";
    }
    return begin + "few against " + object +
           "its background may pass for an object, and the objects in it are then lost. A smaller cluster size helps.";
}

wxString AnnotationWarning(const Annotations& annotations, const PixelBox& frame, const wxString& remedy) {
    if (annotations.Empty()) return {};
    const PixelBox box = annotations.Bounds();
    const auto whole = [](std::int64_t number) { return wxString(std::to_string(number)); };
    wxString text = "has a scale bar or writing at " + whole(frame.x + box.x) + ", " + whole(frame.y + box.y) + " (" +
                    whole(box.width) + " x " + whole(box.height) + ") that covers " +
                    wxString(std::to_string(annotations.PixelCount())) + " pixels; use " + remedy + ".";
    for (const Annotation& piece : annotations.pieces) {
        if (piece.barLengthPx == 0) continue;
        text += " The bar is " + whole(piece.barLengthPx) + " pixels long.";
        break;
    }
    return text;
}

wxString InformationBarText(const InformationBars& bars) {
    wxString text;
    if (bars.topRows > 0) text = wxString(std::to_string(bars.topRows)) + " rows at the top";
    if (bars.topRows > 0 && bars.bottomRows > 0) text += " and ";
    if (bars.bottomRows > 0) text += wxString(std::to_string(bars.bottomRows)) + " rows at the bottom";
    return text;
}

wxString InformationBarWarning(const InformationBars& bars, const wxString& remedy) {
    if (bars.Empty()) return {};
    return "has an information bar: " + InformationBarText(bars) + "; use " + remedy + ".";
}

wxString BrokenRowsWarning(const wxString& path) {
    if (path.find_first_of("\t\n\r") == wxString::npos) return {};
    return "has a tab or the end of a line in its name: its rows of the table have other columns than the rest. Rename "
           "the file.";
}

void GatheredWarnings::Add(const wxString& path, const wxString& warning) {
    if (!warning.empty()) lines_.push_back("'" + path + "' " + warning);
}

wxString GatheredWarnings::Text() const {
    constexpr std::size_t kMostLines = 20;
    wxString text;
    for (std::size_t i = 0; i < std::min(lines_.size(), kMostLines); ++i) {
        if (i > 0) text += "\n";
        text += lines_[i];
    }
    if (lines_.size() <= kMostLines) return text;
    const std::size_t others = lines_.size() - kMostLines;
    return text + "\nThe same goes for " + wxString(std::to_string(others)) +
           (others == 1 ? " more image." : " more images.");
}

}  // namespace Korvane
