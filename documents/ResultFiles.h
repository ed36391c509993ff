#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include <wx/string.h>

#include "PathText.h"
#include "VoxelImage.h"
#include "files/ImageFile.h"

namespace Korvane {

/// A folder that a person chose; none means the folder of the input file itself.
using ChosenFolder = std::optional<wxString>;

/// Prefixes of the names of the files that are written for an image.
inline constexpr const char* kLabelsPrefix = "seg_";
inline constexpr const char* kOverlayPrefix = "export_";
inline constexpr const char* kComparisonPrefix = "compare_";
inline constexpr const char* kRegionsPrefix = "rois_";
inline constexpr const char* kMarksPrefix = "marks_";            ///< of masks over bars and writing
inline constexpr const char* kCalibratedPrefix = "calibrated_";  ///< of copies that lie beside their images

/// Where the labels of an input file are kept: "seg_" before its name.
wxString SegResultPath(const wxString& inputPath, const ChosenFolder& folder, PathStyle style = kNativePathStyle);

/// Where the overlay of an input file is written: "export_" before its name.
wxString ExportPath(const wxString& inputPath, const ChosenFolder& folder, PathStyle style = kNativePathStyle);

/// The same in another format: `ending` in place of the name's own.
wxString ExportPathWithEnding(const wxString& inputPath, const ChosenFolder& folder, const wxString& ending,
                              PathStyle style = kNativePathStyle);

/// Where the regions of an input file are written: "rois_" before its name, `ending` in place of its own.
wxString RegionsPath(const wxString& inputPath, const ChosenFolder& folder, const wxString& ending,
                     PathStyle style = kNativePathStyle);

/// The same rule for any other prefix.
wxString PrefixedPath(const wxString& inputPath, const ChosenFolder& folder, const wxString& prefix,
                      PathStyle style = kNativePathStyle);

/// Writes labels as a 16-bit TIFF file, values as they are; complete or absent. Throws ToolkitError.
/// `beforeRename` sees the whole file before it is put in place.
void SaveLabels(const wxString& resultPath, const qvox::LabelImage& labels,
                const qvox::BeforeRename& beforeRename = {});

enum class LabelsFound { kNoFile, kLoaded };

/// Replaces the voxels of `labels` by those of a result file; resolution, offset and description stay. A file that is
/// not there is no failure. Throws UnsupportedPixelType for anything but 16-bit grey, InconsistentImageSize for other
/// sizes than those of `labels`, ToolkitError, std::bad_alloc; `labels` is then unchanged.
LabelsFound LoadLabels(const wxString& resultPath, qvox::LabelImage& labels);

/// The same for an image of these sizes of which nothing is held: makes `labels` what the result file holds, with the
/// file's own resolution. After a failure `labels` holds nothing of use.
LabelsFound LoadNewLabels(const wxString& resultPath, const std::array<std::uint64_t, 3>& sizes,
                          qvox::LabelImage& labels);

}  // namespace Korvane
