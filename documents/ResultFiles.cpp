#include "ResultFiles.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>

#include "FailureText.h"
#include "files/ImageFile.h"

namespace Korvane {

wxString PrefixedPath(const wxString& inputPath, const ChosenFolder& folder, const wxString& prefix, PathStyle style) {
    return JoinPath(folder ? *folder : FolderOf(inputPath, style), prefix + FileNameOf(inputPath, style), style);
}

wxString SegResultPath(const wxString& inputPath, const ChosenFolder& folder, PathStyle style) {
    return PrefixedPath(inputPath, folder, "seg_", style);
}

wxString ExportPath(const wxString& inputPath, const ChosenFolder& folder, PathStyle style) {
    return PrefixedPath(inputPath, folder, "export_", style);
}

void SaveLabels(const wxString& resultPath, const qvox::LabelImage& labels) {
    qvox::SaveImageFile(PathBytes(resultPath), labels);
}

LabelsFound LoadLabels(const wxString& resultPath, qvox::LabelImage& labels) {
    const std::string bytes = PathBytes(resultPath);
    std::error_code unreachable;
    // A path that cannot be examined is read all the same: the reader then tells why it cannot.
    if (!std::filesystem::exists(bytes, unreachable) && !unreachable) return LabelsFound::kNoFile;
    if (qvox::ProbeVoxelType(bytes) != qvox::VoxelType::kUint16) throw UnsupportedPixelType();
    qvox::VoxelImage<std::uint16_t> read;
    qvox::LoadImageFile(bytes, read);
    if (!read.SameSizes(labels)) throw InconsistentImageSize();
    std::copy(read.begin(), read.end(), labels.begin());
    return LabelsFound::kLoaded;
}

}  // namespace Korvane
