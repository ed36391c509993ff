#include "ResultFiles.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <string>

#include "FailureText.h"

namespace Korvane {

namespace {

wxString PathWithEnding(const wxString& inputPath, const ChosenFolder& folder, const wxString& prefix,
                        const wxString& ending, PathStyle style) {
    const wxString name = FileNameOf(inputPath, style);
    const std::size_t dot = name.rfind('.');
    const wxString stem = dot == wxString::npos || dot == 0 ? name : name.substr(0, dot);
    return JoinPath(folder ? *folder : FolderOf(inputPath, style), prefix + stem + ending, style);
}

/// Whether label images of other programs may have this type.
bool CanBeImported(qvox::VoxelType type) {
    switch (type) {
        case qvox::VoxelType::kUnsupported:
        case qvox::VoxelType::kRgb8:
        case qvox::VoxelType::kRgb16:
        case qvox::VoxelType::kBilevel:
            return false;
        default:
            return true;
    }
}

}  // namespace

wxString PrefixedPath(const wxString& inputPath, const ChosenFolder& folder, const wxString& prefix, PathStyle style) {
    return JoinPath(folder ? *folder : FolderOf(inputPath, style), prefix + FileNameOf(inputPath, style), style);
}

wxString SegResultPath(const wxString& inputPath, const ChosenFolder& folder, PathStyle style) {
    return PrefixedPath(inputPath, folder, kLabelsPrefix, style);
}

wxString ExportPath(const wxString& inputPath, const ChosenFolder& folder, PathStyle style) {
    return PrefixedPath(inputPath, folder, kOverlayPrefix, style);
}

wxString ExportPathWithEnding(const wxString& inputPath, const ChosenFolder& folder, const wxString& ending,
                              PathStyle style) {
    return PathWithEnding(inputPath, folder, kOverlayPrefix, ending, style);
}

wxString RegionsPath(const wxString& inputPath, const ChosenFolder& folder, const wxString& ending, PathStyle style) {
    return PathWithEnding(inputPath, folder, kRegionsPrefix, ending, style);
}

void SaveLabels(const wxString& resultPath, const qvox::LabelImage& labels, const qvox::BeforeRename& beforeRename) {
    qvox::SaveImageFile(PathBytes(resultPath), labels, qvox::FileFormat::kTiff, qvox::TiffCompression::kDeflate,
                        beforeRename);
}

LabelsFound LoadLabels(const wxString& resultPath, qvox::LabelImage& labels) {
    qvox::LabelImage read;
    const LabelsFound found = LoadNewLabels(resultPath, {labels.SizeX(), labels.SizeY(), labels.SizeZ()}, read);
    if (found == LabelsFound::kLoaded) std::copy(read.begin(), read.end(), labels.begin());
    return found;
}

LabelsFound LoadNewLabels(const wxString& resultPath, const std::array<std::uint64_t, 3>& sizes,
                          qvox::LabelImage& labels) {
    const std::string bytes = PathBytes(resultPath);
    std::error_code unreachable;
    // A path that cannot be examined is read all the same: the reader then tells why it cannot.
    if (!std::filesystem::exists(bytes, unreachable) && !unreachable) return LabelsFound::kNoFile;
    const qvox::ImageFileInfo info = qvox::InspectImageFile(bytes);
    if (info.type != qvox::VoxelType::kUint16) {
        throw UnsupportedPixelType("'" + bytes + "' holds " + info.typeText + "; wanted is 16-bit grey." +
                                   (CanBeImported(info.type) ? " korvane-batch import makes such a file of it." : ""));
    }
    qvox::LoadImageFile(bytes, labels, qvox::StoredValues());
    const std::array<std::uint64_t, 3> found{labels.SizeX(), labels.SizeY(), labels.SizeZ()};
    if (sizes != found) throw OtherSizes(bytes, found, sizes);
    return LabelsFound::kLoaded;
}

}  // namespace Korvane
