#pragma once

#include <string>

#include "ImageJob.h"
#include "OptionGroups.h"

namespace Korvane {

/// Ending of the names of true labels that were not made by this program: NAME without its own ending, then this.
inline constexpr const char* kTruthEnding = "_labels.tif";

/// --truth.
void AddTruth(CLI::App& command, std::string& folder);
/// Throws UsageError when the folder is not there. Files that could be true labels are no images: they are left out of
/// the folders that `input` names.
void CheckTruth(const std::string& folder, InputOptions& input);

/// Whether this label file is what ReadTruth reads for the job's image.
bool IsTruthOf(const ImageJob& job, const std::string& folder, const wxString& labels);

/// That an image has no true labels in the folder, and which files they would be; empty where it has them.
wxString MissingTruth(const ImageFiles& files, const std::string& folder);

/// Reads the true labels of the job's image from the folder: seg_NAME as this program saves it or, where there is none,
/// NAME_labels.tif by the rules of `import`. False, with a warning, when there is neither; throws ImageFailure.
bool ReadTruth(ImageJob& job, const std::string& folder, qvox::LabelImage& truth);

}  // namespace Korvane
