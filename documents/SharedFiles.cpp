#include "SharedFiles.h"

#include <cstddef>
#include <filesystem>
#include <map>
#include <system_error>

#include "PathText.h"

namespace Korvane {

wxString PlaceOf(const wxString& path) {
    std::error_code unreachable;
    const std::filesystem::path place = std::filesystem::weakly_canonical(PathBytes(path), unreachable);
    return unreachable ? path : PathText(place.string());
}

wxString PlaceFinder::Of(const wxString& path) {
    std::error_code unreachable;
    return std::filesystem::is_symlink(PathBytes(path), unreachable) ? PlaceOf(path) : OfName(path);
}

wxString PlaceFinder::OfName(const wxString& path) {
    const wxString folder = FolderOf(path);
    const auto [place, isNew] = folders_.try_emplace(folder);
    if (isNew) place->second = PlaceOf(folder);
    return JoinPath(place->second, FileNameOf(path));
}

wxString SharedFileText(const std::vector<wxString>& inputs, const std::vector<wxString>& files, FileUse use) {
    std::map<wxString, std::size_t> users;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const auto [other, fresh] = users.emplace(PlaceOf(files[i]), i);
        if (fresh) continue;
        const wxString& first = inputs[other->second];
        if (use == FileUse::kRead && PlaceOf(first) == PlaceOf(inputs[i])) continue;
        return "'" + first + "' and '" + inputs[i] + "' would both be " +
               (use == FileUse::kWrite ? "written to '" : "read from '") + files[i] + "'";
    }
    return wxEmptyString;
}

}  // namespace Korvane
