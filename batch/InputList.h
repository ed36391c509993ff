#pragma once

#include <string>
#include <vector>

#include <wx/string.h>

#include "Options.h"

namespace Korvane {

/// True when `a` comes before `b` in natural order: digits compare by the number they form, of any length, letters
/// without regard to ASCII case; names that are equal this way by their bytes.
bool NaturalLess(const std::string& a, const std::string& b);

/// The full paths of the images that were asked for, in the order given. A folder stands for its *.tif and *.tiff files
/// (any case; not those that begin with "seg_", "export_" or "."), in natural order, without its subfolders. A path
/// that comes twice is kept once. Files of folders that begin with `leftOut` are passed over too. Throws UsageError for
/// a folder that cannot be read or holds no image. A file that does not exist is listed: it fails when its turn comes,
/// and the others are done.
std::vector<std::string> ExpandInputs(const std::vector<std::string>& arguments, const std::string& leftOut = "");

/// What the copies that calibrate writes beside their images begin with.
inline constexpr const char* kCalibratedPrefix = "calibrated_";

/// Where one image is and where what belongs to it is read and written.
struct ImageFiles {
    wxString input;
    wxString labels;   ///< seg_NAME that is written
    wxString seeds;    ///< seg_NAME that is read by segment, measure and overlay
    wxString picture;  ///< export_NAME
    wxString copy;     ///< that calibrate writes
};

/// The files of each image. Throws UsageError when a file would be written twice or over an input image, or the table
/// over one of an image's files or the report of the run; links are followed before paths are compared.
std::vector<ImageFiles> PlanFiles(const BatchOptions& options, const std::vector<std::string>& inputs);

/// Path of the report that a run leaves in a folder of labels.
wxString ReportPath(const wxString& folder);

/// Path of a stage's map in the --stages folder.
wxString StagePath(const BatchOptions& options, const ImageFiles& files, const wxString& prefix);

/// The full form of a path, without "." parts.
std::string FullPath(const std::string& path);

}  // namespace Korvane
