#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ReportBuilder.h"
#include "ReportedImage.h"

namespace Korvane {

// The file that the report of a shard is: a line of JSON with what all parts have in common, then a line for each
// image.

inline constexpr const char* kReportPartName = "report-part.jsonl";

/// What parts have in common. Texts are UTF-8.
struct ReportPartHead {
    std::string version;
    ObjectSelection selection;
    double binWidth = 0.0;  ///< 0: chosen by the sizes
    std::vector<std::string> groups;
    std::size_t images = 0;      ///< of all parts
    std::size_t thumbnails = 0;  ///< most of them, in all parts
    std::string part;        ///< "3/16"
};

/// An image of a part.
struct ReportPartImage {
    std::size_t place = 0;  ///< among the images of all parts
    ReportedImage image;
    std::string rows;
    std::string thumbnail;
};

std::string HeadLine(const ReportPartHead& head);
std::string ImageLine(const ReportPartImage& image);
/// The same bits again. Throws ToolkitError, which names `place`, for a line that holds no image.
ReportPartImage ReadImageLine(const std::string& line, const std::string& place);

/// Reads the part in a folder line by line; one image at a time is held.
class ReportPartReader {
public:
    /// Throws ToolkitError.
    explicit ReportPartReader(const std::string& folder);
    ~ReportPartReader();

    const ReportPartHead& Head() const { return head_; }
    /// False at the end. Throws ToolkitError for a line that holds no image.
    bool Next(ReportPartImage& image);

private:
    struct File;
    std::string path_;
    std::unique_ptr<File> file_;
    ReportPartHead head_;
};

/// Why two parts are not of one report; empty when they are.
std::string PartDifference(const ReportPartHead& one, const ReportPartHead& other);

}  // namespace Korvane
