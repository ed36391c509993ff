#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "ReportedImage.h"
#include "SizeStatistics.h"

namespace Korvane {

/// An image, a group of images, or all of them.
struct SizeSummary {
    std::string scope;  ///< "image", "group" or "all"
    std::string name;   ///< empty for all
    std::string group;  ///< of an image
    std::size_t images = 0;
    std::size_t objects = 0;
    std::size_t atEdge = 0;
    std::map<std::string, std::size_t> leftOut;  ///< objects by reason; one may have several
    double areaUm2 = 0.0;
    std::vector<double> sizes;  ///< of the counted objects, ascending
    SizeStatistics statistics;

    double PerUm2() const { return static_cast<double>(sizes.size()) / areaUm2; }
};

/// Everything that tables, figures and page are made from.
struct ReportNumbers {
    std::vector<ReportedImage> images;  ///< in the order given, those left out included
    std::vector<std::string> groups;    ///< names; empty without groups
    std::string diameter;               ///< column of the table of objects
    std::string selection;              ///< "objects of 30 nm and more; ..."; empty: all objects count
    double binWidth = 0.0;
    std::vector<SizeSummary> ofImages;  ///< of the images that are part of the report
    std::vector<SizeSummary> ofGroups;
    SizeSummary all;

    std::size_t LeftOutImages() const { return images.size() - ofImages.size(); }
};

/// Fills the summaries, and the bin width where it is 0, from the images. Throws ToolkitError for bins that are too
/// many.
void Summarise(ReportNumbers& numbers);

/// "too small: 3; at the edge: 2"
std::string ReasonsText(const std::map<std::string, std::size_t>& reasons);

}  // namespace Korvane
