#include "ImageList.h"

#include <fnmatch.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <limits>
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

bool IsImageName(const std::string& name) { return name.front() != '.' && HasImageEnding(name); }

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

/// The images of a folder and, where they are entered, of its subfolders.
class FolderWalk {
public:
    struct Image {
        std::string subfolder;
        std::string name;
    };

    FolderWalk(std::string folder, const FolderChoice& choice) : folder_(std::move(folder)), choice_(choice) {
        std::error_code unreachable;
        root_ = std::filesystem::canonical(folder_, unreachable);
        if (!choice.results.empty()) results_ = std::filesystem::weakly_canonical(choice.results, unreachable);
        Enter({});
    }

    std::vector<Image> images;
    ImageListing others;  ///< what is left out

private:
    void Enter(const std::filesystem::path& subfolder) {
        const std::filesystem::path here = std::filesystem::path(folder_) / subfolder;
        std::vector<std::string> names;
        std::vector<std::string> folders;
        std::error_code failure;
        std::filesystem::directory_iterator entry(subfolder.empty() ? std::filesystem::path(folder_) : here, failure);
        while (!failure && entry != std::filesystem::directory_iterator()) {
            std::error_code vanished;
            const std::string name = entry->path().filename().string();
            if (entry->is_directory(vanished)) {
                if (IsEntered(*entry, subfolder / name)) folders.push_back(name);
            } else if (IsImageName(name)) {
                Take(name, names);
            }
            entry.increment(failure);
        }
        if (failure) {
            throw qvox::ToolkitError("The folder '" + (subfolder.empty() ? folder_ : here.string()) +
                                     "' cannot be read: " + failure.message() + ".");
        }
        std::sort(names.begin(), names.end(), NaturalLess);
        std::sort(folders.begin(), folders.end(), NaturalLess);
        for (std::string& name : names) images.push_back({subfolder.string(), std::move(name)});
        for (const std::string& folder : folders) Enter(subfolder / folder);
    }

    void Take(const std::string& name, std::vector<std::string>& names) {
        const Verdict verdict = Judge(name, choice_);
        if (verdict == Verdict::kTaken) names.push_back(name);
        if (verdict == Verdict::kProduct) ++others.products;
        if (verdict == Verdict::kUnchosen) ++others.unchosen;
    }

    bool IsEntered(const std::filesystem::directory_entry& entry, const std::filesystem::path& subfolder) {
        if (choice_.subfolders == Subfolders::kPassedOver || subfolder.filename().string().front() == '.') return false;
        std::error_code failure;
        if (!entry.is_symlink(failure)) return results_.empty() || root_ / subfolder != results_;
        const std::filesystem::path target = std::filesystem::canonical(entry.path(), failure);
        const auto holds = [](const std::filesystem::path& outer, const std::filesystem::path& inner) {
            return std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end();
        };
        const char* cause = "leads out of the folder";
        // The folder's own images would be found again: once more, or without end.
        if (holds(root_, target)) cause = "leads to a folder that is entered anyway";
        if (holds(target, root_ / subfolder)) cause = "leads back to a folder that it lies in";
        others.notEntered.push_back("The link '" + entry.path().string() + "' is not followed: it " + cause + ", '" +
                                    target.string() + "'.");
        return false;
    }

    std::string folder_;  // as given
    const FolderChoice& choice_;
    std::filesystem::path root_;
    std::filesystem::path results_;
};

FolderWalk Walk(const std::string& folder, const FolderChoice& choice) {
    FolderWalk walk(folder, choice);
    if (!walk.images.empty()) return walk;
    const std::string leftOut = LeftOutText(walk.others);
    throw qvox::ToolkitError("The folder '" + folder + "' holds no image (*.tif, *.tiff)." +
                             (leftOut.empty() ? "" : " " + leftOut + " A file that is named is always taken."));
}

/// Collects images, each once.
class Collector {
public:
    explicit Collector(ImageListing& listing) : listing_(listing) {}

    void Add(const std::string& path, const std::string& subfolder = {}) {
        const std::string full = FullPath(path);
        const std::uint64_t key = PathKey(path);
        const std::size_t place = PlaceOf(full);
        if (place < listing_.images.size()) {
            listing_.keys[place] = std::min(listing_.keys[place], key);
            return;
        }
        listing_.images.push_back(full);
        listing_.subfolders.push_back(subfolder);
        listing_.keys.push_back(key);
    }

    void AddFolder(const std::string& folder, const FolderChoice& choice) {
        const FolderWalk walk = Walk(folder, choice);
        listing_.fromFolders = true;
        listing_.products += walk.others.products;
        listing_.unchosen += walk.others.unchosen;
        listing_.notEntered.insert(listing_.notEntered.end(), walk.others.notEntered.begin(),
                                   walk.others.notEntered.end());
        for (const FolderWalk::Image& image : walk.images) {
            Add((std::filesystem::path(folder) / image.subfolder / image.name).string(), image.subfolder);
        }
    }

private:
    /// The place of a path in the listing; that of the next one when it is new. The paths are not held again: of each a
    /// slot of the table holds the place, and one at most in two slots is taken.
    std::size_t PlaceOf(const std::string& path) {
        const std::size_t next = listing_.images.size();
        if (2 * next >= slots_.size()) Grow();
        const std::size_t hash = std::hash<std::string>()(path);
        std::size_t slot = FirstFree(
            hash, [&](std::uint32_t place) { return hashes_[place] == hash && listing_.images[place] == path; });
        if (slots_[slot] != kFree) return slots_[slot];
        slots_[slot] = static_cast<std::uint32_t>(next);
        hashes_.push_back(hash);
        return next;
    }

    /// The first slot for a hash that is free or holds a place that `isIt`.
    template <typename IsIt>
    std::size_t FirstFree(std::size_t hash, IsIt isIt) const {
        std::size_t slot = hash % slots_.size();
        while (slots_[slot] != kFree && !isIt(slots_[slot])) slot = (slot + 1) % slots_.size();
        return slot;
    }

    void Grow() {
        slots_.assign(std::max<std::size_t>(64, 2 * slots_.size()), kFree);
        for (std::size_t place = 0; place < hashes_.size(); ++place) {
            slots_[FirstFree(hashes_[place], [](std::uint32_t) { return false; })] = static_cast<std::uint32_t>(place);
        }
    }

    static constexpr std::uint32_t kFree = std::numeric_limits<std::uint32_t>::max();
    ImageListing& listing_;
    std::vector<std::uint32_t> slots_;
    std::vector<std::size_t> hashes_;  // of the paths
};

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

bool WalkLess(const std::string& a, const std::string& b) {
    for (std::size_t at = 0;;) {
        const std::size_t endA = a.find('/', at);
        const std::size_t endB = b.find('/', at);
        const bool isNameA = endA == std::string::npos;
        const bool isNameB = endB == std::string::npos;
        if (isNameA != isNameB) return isNameA;
        const std::string partA = a.substr(at, endA - at);
        const std::string partB = b.substr(at, endB - at);
        if (isNameA || partA != partB) return NaturalLess(partA, partB);
        at = endA + 1;
    }
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

bool HasImageEnding(const std::string& name) { return EndsWithAnyCase(name, ".tif") || EndsWithAnyCase(name, ".tiff"); }

ImageListing ListImages(const std::vector<std::string>& arguments, const FolderChoice& choice, const PathList& files) {
    ImageListing listing;
    Collector collector(listing);
    for (const std::string& argument : arguments) {
        if (argument.empty()) throw qvox::ToolkitError("An image needs a name.");
        std::error_code unreachable;
        if (std::filesystem::is_directory(argument, unreachable)) {
            collector.AddFolder(argument, choice);
        } else {
            collector.Add(argument);
        }
    }
    for (const std::string& file : files) collector.Add(file);
    return listing;
}

std::uint64_t PathKey(const std::string& path) {
    std::uint64_t hash = 14695981039346656037u;
    for (const char c : std::filesystem::path(path).lexically_normal().string()) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
    }
    return hash ^ (hash >> 32u);
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
