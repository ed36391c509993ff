#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <wx/string.h>

#include "ObjectMeasures.h"
#include "ObjectTable.h"
#include "ReportImages.h"
#include "ReportedImage.h"
#include "RowSpool.h"
#include "SizeSummary.h"
#include "VoxelImage.h"

namespace Korvane {

class FolderLock;
struct ReportPageParts;
struct ReportPartImage;

/// With more of them a page would be larger than some 40 MB.
inline constexpr std::size_t kUsualThumbnails = 500;

enum class ExistingReport { kRefuse, kReplace };

/// A report of some of the images, to be merged with those of the others.
struct ReportShare {
    std::string name;                 ///< "3/16"
    std::size_t imagesOfAll = 0;      ///< of all parts
    std::vector<std::size_t> places;  ///< of the part's images among them
};

/// The first file or folder of a report that a folder holds already; empty where it is free for one, or not there.
/// Paths are in the file system's bytes.
std::string ExistingReportFile(const std::string& folder);

/// What a report is about and where it goes.
struct ReportOptions {
    std::string folder;                     ///< of the files, in the file system's bytes; made where it is not there
    ReportImages images;                    ///< in the order of the report
    std::vector<std::string> groups;        ///< names, UTF-8; empty: no groups
    std::vector<std::size_t> groupOfImage;  ///< as long as `images`, where there are groups
    ObjectSelection selection;              ///< its diameter is the report's
    std::optional<double> binWidthNm;       ///< none: chosen by the sizes
    std::size_t thumbnails = kUsualThumbnails;  ///< at most so many, at equal distances in the list of images
    ExistingReport existing = ExistingReport::kRefuse;
    std::optional<ReportShare> share;  ///< none: it is the whole report
};

/// An image with its labels, and what is known of them.
struct ReportSource {
    const qvox::VoxelImage<float>& image;
    const qvox::LabelImage& labels;
    wxString pixelSizeSource;
    LabelOrigin origin;
    std::vector<wxString> warnings;
    const qvox::VoxelImage<std::uint8_t>* excluded = nullptr;  ///< pixels other than 0 were filled; null: none
    std::optional<ImagePart> part = std::nullopt;              ///< that was analysed; none: all of the image
    std::function<void()> beforeEachObject = nullptr;          ///< what it throws ends the measuring; null: nothing
};

/// Throws ToolkitError where the folder holds a report that is not to be replaced.
void RequireFree(const ReportOptions& options);
/// The files that a report writes, without the figures', and the folder of these.
std::vector<std::string> ReportFiles(const ReportOptions& options);

/// Makes a report image by image. Of an image nothing is held: what is known of it, the rows of its objects and the
/// thumbnail wait in files without a name.
class ReportBuilder {
public:
    /// Throws ToolkitError where the folder cannot be made, or holds a report that is not to be replaced.
    explicit ReportBuilder(ReportOptions options);

    /// Measures an image, at most once for each index. Any thread may call it, and several at once. The pixel size is
    /// defined on both axes. Throws ToolkitError and std::bad_alloc; the image is then left out.
    void Add(std::size_t image, const ReportSource& source);
    /// An image that is not part of the report; the last reason counts. Any thread may call it.
    void LeaveOut(std::size_t image, const wxString& reason);
    /// An image as a part of the report tells of it.
    void AddKnown(std::size_t image, const ReportPartImage& known);
    /// Whether an image is part of the report.
    bool HasImages() const;

    /// Writes figures/, objects.csv, summary.csv, bins.csv and, last, report.html; each file complete or absent.
    /// Returns what is missing, for a person; empty where nothing is. `notify` gets what is done next; what it throws
    /// ends the work, and a page that was there is then as it was. Throws ToolkitError, also where another program has
    /// made a report there meanwhile that is not to be replaced. Holds the lock of the folder: of several programs the
    /// report is that of one as a whole.
    wxString Write(const std::function<void(const wxString& step)>& notify);
    /// The same for who has the lock of the folder already.
    wxString Write(const FolderLock& lock, const std::function<void(const wxString& step)>& notify);

    /// Writes the one file that a part of a report is (ReportPart.h), complete or not at all. Throws as Write.
    void WritePart();

private:
    std::size_t ImagesOfAll() const { return options_.share ? options_.share->imagesOfAll : options_.images.count; }
    std::size_t Thumbnails() const { return std::min(options_.thumbnails, ImagesOfAll()); }
    bool HasThumbnail(std::size_t image) const;
    std::string ThumbnailsNote() const;
    ReportedImage Blank(std::size_t image) const;
    ReportedImage ImageAt(std::size_t image);
    void Keep(std::size_t index, const ReportedImage& image);
    void EachImage(const std::function<void(const ReportedImage& image)>& look);
    void WriteObjects();
    ReportPageParts DrawFigures(const std::function<void(const wxString& step)>& notify) const;
    void WritePage(const ReportPageParts& parts);
    std::string FileIn(const std::string& name) const;

    ReportOptions options_;
    ReportNumbers numbers_;
    ObjectTable table_;
    mutable std::mutex mutex_;  // of isPart_
    std::vector<bool> isPart_;
    RowSpool images_;
    RowSpool rows_;
    RowSpool thumbnails_;
};

/// Files and folders of a report, inside its folder.
inline constexpr const char* kReportPage = "report.html";

}  // namespace Korvane
