#include "KnownResults.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <new>
#include <system_error>

#include "PathText.h"
#include "ResultFiles.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

namespace fs = std::filesystem;

bool HoldsTheSame(const wxString& path, const qvox::LabelImage& labels) {
    qvox::LabelImage read;
    try {
        const LabelsFound found = LoadNewLabels(path, {labels.SizeX(), labels.SizeY(), labels.SizeZ()}, read);
        return found == LabelsFound::kLoaded && std::equal(read.begin(), read.end(), labels.begin());
    } catch (const std::exception&) {
        // Without memory for a look neither: a copy too many harms nobody.
        return false;
    }
}

/// Another name for the same file where the file system knows that, else a copy. False when the name is taken.
bool GiveSecondName(const std::string& path, const std::string& name) {
    std::error_code failure;
    fs::create_hard_link(path, name, failure);
    if (!failure) return true;
    if (failure == std::errc::file_exists) return false;
    failure.clear();
    const bool copied = fs::copy_file(path, name, failure);
    if (failure == std::errc::file_exists) return false;
    if (failure || !copied) {
        throw qvox::FileError(qvox::FileError::Task::kWrite, name, failure.message());
    }
    return true;
}

}  // namespace

void KnownResults::Know(const wxString& path) { known_.insert(PathBytes(path)); }

std::optional<wxString> KnownResults::Keep(const wxString& path, const qvox::LabelImage& labels) const {
    const std::string bytes = PathBytes(path);
    std::error_code unreachable;
    if (known_.count(bytes) > 0 || !fs::exists(bytes, unreachable) || HoldsTheSame(path, labels)) return std::nullopt;
    // Of a link what it leads to: that is what saving replaces.
    const fs::path file = fs::canonical(bytes, unreachable);
    const std::string replaced = unreachable ? bytes : file.string();
    for (int number = 1;; ++number) {
        const std::string name = bytes + ".bak" + (number == 1 ? "" : std::to_string(number));
        if (GiveSecondName(replaced, name)) return PathText(name);
    }
}

}  // namespace Korvane
