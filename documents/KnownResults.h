#pragma once

#include <optional>
#include <set>
#include <string>

#include <wx/string.h>

#include "VoxelImage.h"

namespace Korvane {

/// The result files that this run of the program has read or written. Any other one is somebody's work that was never
/// seen here, and is kept when labels are saved over it.
class KnownResults {
public:
    /// The file at this path holds what the program holds, or held.
    void Know(const wxString& path);

    /// To be called before labels are saved to a path. An unknown file there with other labels, or one that cannot be
    /// read, gets a second name: "seg_a.tif.bak", or ".bak2" and so on where that is taken. That name, or none when
    /// nothing had to be kept. Throws ToolkitError when it cannot be kept.
    std::optional<wxString> Keep(const wxString& path, const qvox::LabelImage& labels) const;

private:
    std::set<std::string> known_;
};

}  // namespace Korvane
