#include "ImageList.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <set>
#include <string_view>
#include <system_error>

#include "ToolkitError.h"

namespace Korvane {

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// The digits that begin at `at`, without leading zeros; moves `at` behind them.
std::string_view TakeNumber(std::string_view text, std::size_t& at) {
    while (at < text.size() && text[at] == '0') ++at;
    const std::size_t start = at;
    while (at < text.size() && IsDigit(text[at])) ++at;
    return text.substr(start, at - start);
}

bool StartsWith(const std::string& text, std::string_view prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool EndsWithAnyCase(const std::string& text, std::string_view ending) {
    return text.size() > ending.size() &&
           std::equal(ending.begin(), ending.end(), text.end() - static_cast<std::ptrdiff_t>(ending.size()),
                      [](char wanted, char found) { return wanted == Lower(found); });
}

bool IsImageName(const std::string& name) {
    const bool tiff = EndsWithAnyCase(name, ".tif") || EndsWithAnyCase(name, ".tiff");
    return tiff && !StartsWith(name, "seg_") && !StartsWith(name, "export_") && !StartsWith(name, ".");
}

std::vector<std::string> ImagesOfFolder(const std::string& folder, const std::string& leftOut) {
    std::error_code failure;
    std::vector<std::string> names;
    std::filesystem::directory_iterator entry(folder, failure);
    while (!failure && entry != std::filesystem::directory_iterator()) {
        std::error_code vanished;
        const std::string name = entry->path().filename().string();
        const bool passedOver = !leftOut.empty() && StartsWith(name, leftOut);
        if (IsImageName(name) && !passedOver && !entry->is_directory(vanished)) names.push_back(name);
        entry.increment(failure);
    }
    if (failure) throw qvox::ToolkitError("The folder '" + folder + "' cannot be read: " + failure.message() + ".");
    if (names.empty()) throw qvox::ToolkitError("The folder '" + folder + "' holds no image (*.tif, *.tiff).");
    std::sort(names.begin(), names.end(), NaturalLess);
    for (std::string& name : names) name = (std::filesystem::path(folder) / name).string();
    return names;
}

}  // namespace

bool NaturalLess(const std::string& a, const std::string& b) {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (IsDigit(a[i]) && IsDigit(b[j])) {
            const std::string_view numberA = TakeNumber(a, i);
            const std::string_view numberB = TakeNumber(b, j);
            if (numberA.size() != numberB.size()) return numberA.size() < numberB.size();
            if (numberA != numberB) return numberA < numberB;
        } else {
            const auto charA = static_cast<unsigned char>(Lower(a[i++]));
            const auto charB = static_cast<unsigned char>(Lower(b[j++]));
            if (charA != charB) return charA < charB;
        }
    }
    if ((i < a.size()) != (j < b.size())) return j < b.size();
    return a < b;
}

std::string FullPath(const std::string& path) {
    std::error_code noWorkingFolder;
    std::filesystem::path full = std::filesystem::absolute(path, noWorkingFolder);
    if (noWorkingFolder) return path;
    // ".." stays: behind a link it leads elsewhere than the text suggests.
    const bool climbs = std::any_of(full.begin(), full.end(), [](const auto& part) { return part == ".."; });
    if (!climbs) full = full.lexically_normal();
    std::string text = full.string();
    while (text.size() > 1 && text.back() == '/') text.pop_back();
    return text;
}

std::vector<std::string> ListImages(const std::vector<std::string>& arguments, const std::string& leftOut) {
    std::vector<std::string> inputs;
    std::set<std::string> known;
    const auto add = [&](const std::string& path) {
        std::string full = FullPath(path);
        if (known.insert(full).second) inputs.push_back(std::move(full));
    };
    for (const std::string& argument : arguments) {
        if (argument.empty()) throw qvox::ToolkitError("An image needs a name.");
        std::error_code unreachable;
        if (std::filesystem::is_directory(argument, unreachable)) {
            for (const std::string& image : ImagesOfFolder(argument, leftOut)) add(image);
        } else {
            add(argument);
        }
    }
    return inputs;
}

}  // namespace Korvane
