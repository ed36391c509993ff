#include "ResultNames.h"

#include <unistd.h>

#include <map>
#include <string>

#include "PathText.h"

namespace Korvane {

namespace {

/// Longest names of folders, queried once for each.
class NameLimits {
public:
    /// 0: there is no limit that is known.
    std::size_t Of(const std::string& folder) {
        const auto [place, isNew] = limits_.try_emplace(folder, 0);
        if (isNew) {
            const long longest = ::pathconf(folder.empty() ? "." : folder.c_str(), _PC_NAME_MAX);
            if (longest > 0) place->second = static_cast<std::size_t>(longest);
        }
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

void RequireNamesFit(const Places& places, const WrittenFiles& written, const std::vector<ImageFiles>& images) {
    NameLimits limits;
    for (const ImageFiles& files : images) {
        for (const auto file : written) RequireNameFits(limits, files.*file, files.input);
        if (!places.stages) continue;
        for (const DetectionStageRow& row : kDetectionStages) {
            if (!row.filePrefix.empty()) RequireNameFits(limits, StagePath(places, files, row.stage), files.input);
        }
    }
}

}  // namespace Korvane
