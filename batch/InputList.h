#pragma once

#include <string>
#include <vector>

#include <wx/string.h>

#include "DetectionStages.h"
#include "ImageList.h"
#include "OptionGroups.h"

namespace Korvane {

/// ListImages, with a UsageError for what it refuses and for patterns where no folder is among the arguments.
ImageListing ExpandInputs(const std::vector<std::string>& arguments, const FolderChoice& choice = {});

/// Where one image is and where what belongs to it is read and written.
struct ImageFiles {
    wxString input;
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

/// The files of each image. Throws UsageError when a file would be written twice or over an input image, when two
/// images would have their labels read from one file, or when the table would be written over one of an image's files
/// or the report of the run; links are followed before paths are compared.
std::vector<ImageFiles> PlanFiles(const Places& places, const WrittenFiles& written,
                                  const std::vector<std::string>& inputs);

/// Path of the report that a run leaves in a folder of labels.
wxString ReportPath(const wxString& folder);

/// Path of the map of a stage that has one, in the --stages folder.
wxString StagePath(const Places& places, const ImageFiles& files, DetectionStage stage);

}  // namespace Korvane
