#pragma once

#include <memory>
#include <string>

#include "files/ImageFile.h"

namespace qvox {

/// An image file that is looked at and then read without being opened a second time.
class OpenImageFile {
public:
    /// Looks at the file as InspectImageFile, but for whether somebody writes to it meanwhile: Load tells that. Throws
    /// ToolkitError.
    explicit OpenImageFile(const std::string& path, const ReadOptions& options = {});
    ~OpenImageFile();
    OpenImageFile(const OpenImageFile&) = delete;
    OpenImageFile& operator=(const OpenImageFile&) = delete;

    const ImageFileInfo& Info() const { return info_; }
    /// Throws ToolkitError when somebody has written to the file since it was opened.
    void ThrowIfChanged() const;
    /// Reads the image as LoadImageFile and closes the file: at most once. T is one of its types.
    template <typename T>
    void Load(VoxelImage<T>& image);

private:
    struct State;
    ImageFileInfo info_;
    std::unique_ptr<State> state_;
};

}  // namespace qvox
