#include "ImageList.h"

#include <fnmatch.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "ProductNames.h"
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

bool EndsWithAnyCase(const std::string& text, std::string_view ending) {
    return text.size() > ending.size() &&
           std::equal(ending.begin(), ending.end(), text.end() - static_cast<std::ptrdiff_t>(ending.size()),
                      [](char wanted, char found) { return wanted == Lower(found); });
}

bool IsImageName(const std::string& name) {
    return name.front() != '.' && (EndsWithAnyCase(name, ".tif") || EndsWithAnyCase(name, ".tiff"));
}

bool Matches(const std::string& name, const std::string& pattern) {
    return ::fnmatch(pattern.c_str(), name.c_str(), FNM_NOESCAPE) == 0;
}

bool MatchesAny(const std::string& name, const std::vector<std::string>& patterns) {
    return std::any_of(patterns.begin(), patterns.end(),
                       [&name](const std::string& pattern) { return Matches(name, pattern); });
}

/// True for a name that a pattern takes although it is a product's: "*_a.tif" is about images, "calibrated_*" is not.
bool IsWantedProduct(const std::string& name, std::string_view prefix, const std::vector<std::string>& patterns) {
    return std::any_of(patterns.begin(), patterns.end(), [&](const std::string& pattern) {
        return pattern.compare(0, prefix.size(), prefix) == 0 && Matches(name, pattern);
    });
}

enum class Verdict { kTaken, kProduct, kUnchosen };

Verdict Judge(const std::string& name, const FolderChoice& choice) {
    const std::string_view prefix = ProductPrefixOf(name);
    if (!prefix.empty() && !IsWantedProduct(name, prefix, choice.include)) return Verdict::kProduct;
    if (!choice.include.empty() && !MatchesAny(name, choice.include)) return Verdict::kUnchosen;
    return MatchesAny(name, choice.exclude) ? Verdict::kUnchosen : Verdict::kTaken;
}

std::string CountText(std::size_t number, const char* one, const char* several) {
    return std::to_string(number) + " " + (number == 1 ? one : several);
}

/// The images of a folder. What is left out is counted in `listing`.
std::vector<std::string> ImagesOfFolder(const std::string& folder, const FolderChoice& choice, ImageListing& listing) {
    ImageListing here;
    std::error_code failure;
    std::filesystem::directory_iterator entry(folder, failure);
    while (!failure && entry != std::filesystem::directory_iterator()) {
        std::error_code vanished;
        const std::string name = entry->path().filename().string();
        if (IsImageName(name) && !entry->is_directory(vanished)) {
            const Verdict verdict = Judge(name, choice);
            if (verdict == Verdict::kTaken) here.images.push_back(name);
            if (verdict == Verdict::kProduct) ++here.products;
            if (verdict == Verdict::kUnchosen) ++here.unchosen;
        }
        entry.increment(failure);
    }
    if (failure) throw qvox::ToolkitError("The folder '" + folder + "' cannot be read: " + failure.message() + ".");
    if (here.images.empty()) {
        const std::string leftOut = LeftOutText(here);
        throw qvox::ToolkitError("The folder '" + folder + "' holds no image (*.tif, *.tiff)." +
                                 (leftOut.empty() ? "" : " " + leftOut + " A file that is named is always taken."));
    }
    listing.products += here.products;
    listing.unchosen += here.unchosen;
    std::sort(here.images.begin(), here.images.end(), NaturalLess);
    for (std::string& name : here.images) name = (std::filesystem::path(folder) / name).string();
    return here.images;
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

ImageListing ListImages(const std::vector<std::string>& arguments, const FolderChoice& choice) {
    ImageListing listing;
    std::set<std::string> known;
    const auto add = [&](const std::string& path) {
        std::string full = FullPath(path);
        if (known.insert(full).second) listing.images.push_back(std::move(full));
    };
    for (const std::string& argument : arguments) {
        if (argument.empty()) throw qvox::ToolkitError("An image needs a name.");
        std::error_code unreachable;
        if (std::filesystem::is_directory(argument, unreachable)) {
            listing.fromFolders = true;
            for (const std::string& image : ImagesOfFolder(argument, choice, listing)) add(image);
        } else {
            add(argument);
        }
    }
    return listing;
}

std::string ProductsText(std::size_t count) {
    return CountText(count, "product of an earlier run", "products of earlier runs");
}

std::string LeftOutText(const ImageListing& listing) {
    const std::size_t all = listing.products + listing.unchosen;
    if (all == 0) return {};
    std::string text = CountText(all, "file of a folder", "files of folders") + " left out: ";
    if (listing.products > 0) {
        text += ProductsText(listing.products);
        if (listing.unchosen > 0) text += ", ";
    }
    if (listing.unchosen > 0) text += std::to_string(listing.unchosen) + " by name patterns";
    return text + ".";
}

}  // namespace Korvane
