#include "PixelSizeSource.h"

#include "PathText.h"
#include "ToolkitError.h"
#include "files/ImageFile.h"

namespace Korvane {

wxString PixelSizeSource(const wxString& path, const qvox::PixelResolution& used) {
    constexpr const char* kUnknown = "the file";
    try {
        const qvox::ImageFileInfo info = qvox::InspectImageFile(PathBytes(path));
        const bool same = info.resolution.x == used.x && info.resolution.y == used.y;
        return same ? PathText(info.resolutionNote) : wxString(kUnknown);
    } catch (const qvox::ToolkitError&) {
        return kUnknown;
    }
}

}  // namespace Korvane
