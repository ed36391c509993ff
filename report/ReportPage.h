#pragma once

#include <functional>
#include <string>
#include <vector>

#include "SizeSummary.h"

namespace Korvane {

/// Takes the next part of the page; false when it cannot.
using PutPart = std::function<bool(const std::string& html)>;

/// A figure on the page.
struct DrawnFigure {
    std::string name;
    std::string title;
    std::string caption;
    std::string svg;  ///< the element; empty: not drawn
};

/// What the page holds beside the numbers.
struct ReportPageParts {
    std::vector<DrawnFigure> figures;
    std::string figuresNote;  ///< what is missing, and why; empty: nothing
    std::string thumbnailsNote;  ///< above the thumbnails, HTML
    /// Gives the thumbnails, image by image, to `put`; false as soon as `put` is.
    std::function<bool(const PutPart& put)> thumbnails;
};

/// Puts report.html part by part: one file that needs no other. False when `put` is.
bool PutPage(const ReportNumbers& numbers, const ReportPageParts& parts, const PutPart& put);

}  // namespace Korvane
