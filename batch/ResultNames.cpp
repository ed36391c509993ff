#include "ResultNames.h"

#include <map>
#include <string>

#include "PathText.h"
#include "RunFolders.h"

namespace Korvane {

namespace {

/// Longest names of folders, queried once for each.
class NameLimits {
public:
    /// 0: there is no limit that is known.
    std::size_t Of(const std::string& folder) {
        const auto [place, isNew] = limits_.try_emplace(folder, 0);
        if (isNew) place->second = LongestNameIn(folder);
        return place->second;
    }

private:
    std::map<std::string, std::size_t> limits_;
};

void RequireNameFits(NameLimits& limits, const wxString& path, const wxString& input) {
    const std::size_t limit = limits.Of(PathBytes(FolderOf(path)));
    const std::size_t length = PathBytes(FileNameOf(path)).size();
    if (limit == 0 || length <= limit) return;
    throw UsageError(PathBytes("'" + input + "' has too long a name: '" + FileNameOf(path) + "' would have " +
                               wxString(std::to_string(length)) + " bytes, and its folder takes at most " +
                               wxString(std::to_string(limit)) + "."));
}

}  // namespace

void RequireNamesFit(const FilePlan& plan) {
    NameLimits limits;
    for (std::size_t i = 0; i < plan.Count(); ++i) {
        const ImageFiles files = plan.Files(i);
        for (const wxString& path : plan.WrittenFor(files)) RequireNameFits(limits, path, files.input);
    }
}

}  // namespace Korvane
