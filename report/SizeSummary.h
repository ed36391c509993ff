#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "QualityFacts.h"
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

/// One counted object of a group, for a figure.
struct ShapePoint {
    std::size_t group = 0;
    ReportedObject object;
};

/// Everything that tables, figures and page are made from. Of all images only the sizes of their objects are held, and
/// single images are held as far as page and figures show them.
struct ReportNumbers {
    static constexpr std::size_t kMostRows = 5000;
    static constexpr std::size_t kMostRuns = 1000;
    static constexpr std::size_t kMostPoints = 50000;

    std::vector<std::string> groups;  ///< names; empty without groups
    std::string diameter;             ///< column of the table of objects
    std::string selection;            ///< "objects of 30 nm and more; ..."; empty: all objects count
    double binWidth = 0.0;
    std::size_t imagesGiven = 0;  ///< those left out included
    SizeSummary all;
    std::vector<SizeSummary> ofGroups;
    std::vector<SizeSummary> ofImages;  ///< the first images that are part of the report
    std::vector<SizeSummary> ofRuns;    ///< images that follow one another; sizes and names only
    std::size_t imagesPerRun = 1;       ///< more than one where the images are too many for a figure
    std::vector<ShapePoint> shapes;     ///< in the order of the images: every so many-th object
    std::size_t objectsPerShape = 1;
    QualityFacts quality;

    std::size_t LeftOutImages() const { return imagesGiven - all.images; }
};

/// Gives all images of a report to `look`, those left out included, in their order.
using EachImage = std::function<void(const std::function<void(const ReportedImage& image)>& look)>;

/// Summarises all images together and each group, and finds the bin width where it is 0. Throws ToolkitError for bins
/// that are too many.
void SummariseAll(ReportNumbers& numbers, const EachImage& eachImage);

/// Summarises image by image, after all of them together, and gives each that is part of the report to `take`.
void SummariseImages(ReportNumbers& numbers, const EachImage& eachImage,
                     const std::function<void(const SizeSummary& image)>& take);

/// "too small: 3; at the edge: 2"
std::string ReasonsText(const std::map<std::string, std::size_t>& reasons);

}  // namespace Korvane
