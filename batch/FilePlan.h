#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <wx/string.h>

#include "DetectionStages.h"
#include "ImageList.h"
#include "OptionGroups.h"
#include "ResultFiles.h"

namespace Korvane {

/// Where one image is and where what belongs to it is read and written.
struct ImageFiles {
    wxString input;
    wxString subfolder;       ///< of chosen folders that belongs to the image; mostly empty
    wxString labels;          ///< seg_NAME that is written
    wxString seeds;           ///< seg_NAME that is read by segment, measure and overlay
    wxString picture;         ///< export_NAME
    wxString comparison;      ///< compare_NAME
    wxString copy;            ///< that calibrate writes
    wxString imageJRegions;   ///< rois_NAME.zip
    wxString geoJsonRegions;  ///< rois_NAME.geojson
};

/// Those of an image's files that a run writes.
using WrittenFiles = std::vector<wxString ImageFiles::*>;

/// The images of a run with their files, whose names are made when they are asked for: a long list takes little memory.
class FilePlan {
public:
    /// Throws UsageError when a file would be written twice or over an input image, when two images would have their
    /// labels read from one file, or when a table would be written over one of an image's files or the report of the
    /// run. Links are followed before paths are compared. All images of the listing are looked at, those of other
    /// shards by their names and folders only.
    FilePlan(const Places& places, const WrittenFiles& written, ImageListing listing,
             const std::optional<Shard>& shard = std::nullopt);

    /// Of the shard.
    std::size_t Count() const { return taken_.size(); }
    bool Empty() const { return taken_.empty(); }
    ImageFiles Files(std::size_t index) const { return FilesOf(taken_[index]); }
    /// Every file that the run writes for an image.
    std::vector<wxString> WrittenFor(const ImageFiles& files) const;
    const ImageListing& Listing() const { return listing_; }

private:
    struct Use;
    class Checks;
    ImageFiles FilesOf(std::size_t image) const;

    Places places_;
    WrittenFiles written_;
    ImageListing listing_;
    std::vector<std::size_t> taken_;  // images of the listing
};

/// Path of the report that a run leaves in a folder of labels.
wxString ReportPath(const wxString& folder);

/// Path of the map of a stage that has one, in the --stages folder.
wxString StagePath(const Places& places, const ImageFiles& files, DetectionStage stage);

/// The part of a chosen folder that belongs to an image.
ChosenFolder FolderFor(const std::optional<std::string>& folder, const wxString& subfolder);

}  // namespace Korvane
