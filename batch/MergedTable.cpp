#include "MergedTable.h"

#include <sys/resource.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <numeric>
#include <queue>
#include <system_error>
#include <utility>

#include "PathText.h"
#include "ToolkitError.h"

namespace Korvane {

namespace {

std::string Quoted(const std::string& text) { return "'" + text + "'"; }

std::string DifferenceText(const RowReader& row, const std::string& made, const std::string& first) {
    return "The rows of " + Quoted(row.Image()) + " in " + Quoted(row.Path()) + " are " + made + ", the first ones " +
           first + ".";
}

std::string OptionsText(const std::string& options) {
    return options.empty() ? "of whole images with the pixel sizes that they store" : "measured with " + options;
}

/// The place in the listing for the path of a row.
class ListedPlaces {
public:
    explicit ListedPlaces(const ImageListing& listing) : listing_(listing) {
        keys_.reserve(listing.images.size());
        for (std::size_t i = 0; i < listing.images.size(); ++i) {
            keys_.emplace_back(ImageKey(TextOf(i)), static_cast<std::uint32_t>(i));
        }
        std::sort(keys_.begin(), keys_.end());
    }

    /// False for a path that is not in the listing.
    bool Find(const std::string& path, std::uint32_t& image) const {
        const std::uint64_t key = ImageKey(path);
        auto at = std::lower_bound(keys_.begin(), keys_.end(), std::make_pair(key, std::uint32_t{0}));
        for (; at != keys_.end() && at->first == key; ++at) {
            if (TextOf(at->second) != path) continue;
            image = at->second;
            return true;
        }
        return false;
    }

private:
    /// As tables tell it.
    std::string TextOf(std::size_t image) const { return PathText(listing_.images[image]).utf8_string(); }

    const ImageListing& listing_;
    std::vector<std::pair<std::uint64_t, std::uint32_t>> keys_;
};

/// The numbers below `count` by what they stand for; those of equal keys in their order.
template <typename Key>
std::vector<std::uint32_t> SortedBy(std::size_t count, Key key) {
    std::vector<std::uint32_t> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 0u);
    std::sort(numbers.begin(), numbers.end(), [&key](std::uint32_t a, std::uint32_t b) {
        return key(a) != key(b) ? key(a) < key(b) : a < b;
    });
    return numbers;
}

/// Lets that many parts be open at a time, as far as the system allows: rows of images come from all of them in turn.
void AllowOpenFiles(std::size_t parts) {
    constexpr rlim_t kOtherFiles = 64;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= parts + kOtherFiles) return;
    limit.rlim_cur = std::min<rlim_t>(parts + kOtherFiles, limit.rlim_max);
    // Where it is refused, the part that cannot be opened says why.
    static_cast<void>(::setrlimit(RLIMIT_NOFILE, &limit));
}

/// What to do about an image that is not where the table says.
std::string MovedHint(const std::string& image) {
    std::error_code unreachable;
    if (std::filesystem::exists(PathBytes(wxString::FromUTF8(image)), unreachable)) return "";
    return " It is not there any more: if it was moved, measure writes the table with its new place.";
}

/// Sees rows of an image that come again: labels ascend, so a smaller one begins a second set.
class RowLabels {
public:
    explicit RowLabels(const RowReader& reader) : reader_(reader) {}
    /// Once for each image.
    bool ComeAgain(bool isNewImage) {
        const unsigned long label = reader_.Label();
        if (isNewImage) hasTold_ = false;
        const bool again = !isNewImage && !hasTold_ && label > 0 && last_ > 0 &&
                           (label < last_ || (label == last_ && !reader_.HasPieces()));
        last_ = label;
        hasTold_ = hasTold_ || again;
        return again;
    }

private:
    const RowReader& reader_;
    unsigned long last_ = 0;
    bool hasTold_ = false;
};

}  // namespace

MergedTable::MergedTable(const std::vector<std::string>& parts, MergeProblems& problems) {
    AllowOpenFiles(parts.size());
    Measuring first;
    for (const std::string& path : parts) {
        parts_.push_back(std::make_unique<RowReader>(path));
        if (parts_.back()->Header() != parts_.front()->Header()) {
            throw qvox::ToolkitError(Quoted(path) + " has other columns than " + Quoted(parts.front()) + ".");
        }
        ReadPart(static_cast<std::uint32_t>(parts_.size() - 1), first, problems);
    }
    RequireDistinct(problems);
}

void MergedTable::RequireSame(const RowReader& row, Measuring& first, MergeProblems& problems) {
    const std::string version = row.Version();
    if (first.version.empty()) first.version = version;
    if (version != first.version) {
        problems.Add("were measured by another version",
                     DifferenceText(row, "of version " + version, "of " + first.version));
    }
    const std::string options = row.GivenOptions();
    if (!first.options) first.options = options;
    const std::string whereMissing = row.GivenWhereMissing();
    if (first.whereMissing.empty()) first.whereMissing = whereMissing;
    if (options != *first.options) {
        problems.Add("were measured with other options",
                     DifferenceText(row, OptionsText(options), OptionsText(*first.options)));
    } else if (!whereMissing.empty() && whereMissing != first.whereMissing) {
        problems.Add("were measured with other options",
                     DifferenceText(row, OptionsText(whereMissing), OptionsText(first.whereMissing)));
    }
}

void MergedTable::ReadPart(std::uint32_t part, Measuring& first, MergeProblems& problems) {
    RowReader& reader = *parts_[part];
    std::string last;
    RowLabels labels(reader);
    while (reader.Next()) {
        const std::string image = reader.Image();
        const bool isNew = blocks_.empty() || blocks_.back().part != part || image != last;
        if (labels.ComeAgain(isNew)) {
            problems.Add("have rows that come twice",
                         "The rows of " + Quoted(image) + " come twice in " + Quoted(reader.Path()) + ".");
        }
        if (!isNew) {
            blocks_.back().length += reader.Length();
            continue;
        }
        last = image;
        blocks_.push_back({ImageKey(image), reader.Offset(), reader.Length(), part, 0});
        RequireSame(reader, first, problems);
    }
}

void MergedTable::RequireDistinct(MergeProblems& problems) const {
    const std::vector<std::uint32_t> sorted =
        SortedBy(blocks_.size(), [this](std::uint32_t block) { return blocks_[block].key; });
    for (std::size_t i = 0; i + 1 < sorted.size(); ++i) {
        const RowBlock& first = blocks_[sorted[i]];
        const RowBlock& second = blocks_[sorted[i + 1]];
        if (first.key != second.key) continue;
        const std::string image = ImageOf(first);
        if (image != ImageOf(second)) continue;
        const std::string& one = parts_[first.part]->Path();
        const std::string& other = parts_[second.part]->Path();
        problems.Add("come twice", Quoted(image) +
                                       (one == other ? " comes twice in " + Quoted(one)
                                                     : " is in " + Quoted(one) + " and in " + Quoted(other)) +
                                       ".");
    }
}

std::string MergedTable::ImageOf(const RowBlock& block) const {
    RowReader& reader = *parts_[block.part];
    reader.GoTo(block.offset);
    return reader.Next() ? reader.Image() : std::string();
}

std::vector<std::size_t> MergedTable::Arrange(const ImageListing& listing, MergeProblems& problems) {
    const ListedPlaces places(listing);
    std::vector<bool> hasRows(listing.images.size(), false);
    for (RowBlock& block : blocks_) {
        const std::string image = ImageOf(block);
        if (places.Find(image, block.image)) {
            hasRows[block.image] = true;
        } else {
            problems.Add("are none of those asked for", Quoted(image) + " of " + Quoted(parts_[block.part]->Path()) +
                                                            " is none of the images." + MovedHint(image));
        }
    }
    isArranged_ = true;
    std::vector<std::size_t> without;
    for (std::size_t i = 0; i < hasRows.size(); ++i) {
        if (!hasRows[i]) without.push_back(i);
    }
    return without;
}

std::vector<std::uint32_t> MergedTable::InListedOrder() const {
    return SortedBy(blocks_.size(), [this](std::uint32_t block) { return blocks_[block].image; });
}

std::vector<std::uint32_t> MergedTable::InNaturalOrder() const {
    struct Front {
        std::string image;
        std::uint32_t block;
    };
    const auto isLater = [](const Front& a, const Front& b) { return WalkLess(b.image, a.image); };
    std::priority_queue<Front, std::vector<Front>, decltype(isLater)> fronts(isLater);
    for (std::uint32_t i = 0; i < blocks_.size(); ++i) {
        if (i == 0 || blocks_[i].part != blocks_[i - 1].part) fronts.push({ImageOf(blocks_[i]), i});
    }
    std::vector<std::uint32_t> ordered;
    ordered.reserve(blocks_.size());
    while (!fronts.empty()) {
        const std::uint32_t block = fronts.top().block;
        fronts.pop();
        ordered.push_back(block);
        const bool hasNext = block + 1 < blocks_.size() && blocks_[block + 1].part == blocks_[block].part;
        if (hasNext) fronts.push({ImageOf(blocks_[block + 1]), block + 1});
    }
    return ordered;
}

void MergedTable::Write(const std::function<void(const std::string& bytes)>& put) const {
    std::string pending = parts_.front()->Header();
    constexpr std::size_t kPiece = std::size_t{1} << 20;
    for (const std::uint32_t number : isArranged_ ? InListedOrder() : InNaturalOrder()) {
        const RowBlock& block = blocks_[number];
        RowReader& reader = *parts_[block.part];
        reader.GoTo(block.offset);
        for (std::uint64_t done = 0; done < block.length; done += reader.Length()) {
            if (!reader.Next()) throw qvox::ToolkitError(Quoted(reader.Path()) + " was changed while it was read.");
            pending += reader.Row();
        }
        if (pending.size() < kPiece) continue;
        put(pending);
        pending.clear();
    }
    put(pending);
}

}  // namespace Korvane
