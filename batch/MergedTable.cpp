#include "MergedTable.h"

#include <algorithm>
#include <cstdint>
#include <queue>
#include <utility>

#include "PathText.h"
#include "ToolkitError.h"
#include "files/AtomicFile.h"

namespace Korvane {

namespace {

std::string Quoted(const std::string& text) { return "'" + text + "'"; }

std::string VersionText(const std::string& image, const std::string& part, const std::string& made,
                        const std::string& first) {
    return "The rows of " + Quoted(image) + " in " + Quoted(part) + " are of version " + made + ", the first ones of " +
           first + ".";
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

}  // namespace

MergedTable::MergedTable(const std::vector<std::string>& parts, MergeProblems& problems) {
    std::string version;
    for (const std::string& path : parts) {
        parts_.push_back(std::make_unique<RowReader>(path));
        RowReader& reader = *parts_.back();
        const auto part = static_cast<std::uint32_t>(parts_.size() - 1);
        if (reader.Header() != parts_.front()->Header()) {
            throw qvox::ToolkitError(Quoted(path) + " has other columns than " + Quoted(parts.front()) + ".");
        }
        std::string last;
        while (reader.Next()) {
            const std::string image = reader.Image();
            const bool isNew = blocks_.empty() || blocks_.back().part != part || image != last;
            if (!isNew) {
                blocks_.back().length += reader.Length();
                continue;
            }
            last = image;
            blocks_.push_back({ImageKey(image), reader.Offset(), reader.Length(), part, 0});
            const std::string made = reader.Version();
            if (version.empty()) version = made;
            if (made == version) continue;
            problems.Add("were measured by another version", VersionText(image, path, made, version));
        }
    }
    RequireDistinct(problems);
}

void MergedTable::RequireDistinct(MergeProblems& problems) const {
    std::vector<RowBlock> sorted = blocks_;
    std::stable_sort(sorted.begin(), sorted.end(), [](const RowBlock& a, const RowBlock& b) { return a.key < b.key; });
    for (std::size_t i = 0; i + 1 < sorted.size(); ++i) {
        if (sorted[i].key != sorted[i + 1].key) continue;
        const std::string image = ImageOf(sorted[i]);
        if (image != ImageOf(sorted[i + 1])) continue;
        const std::string& one = parts_[sorted[i].part]->Path();
        const std::string& other = parts_[sorted[i + 1].part]->Path();
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
            problems.Add("are none of those asked for",
                         Quoted(image) + " of " + Quoted(parts_[block.part]->Path()) + " is none of the images.");
        }
    }
    std::stable_sort(blocks_.begin(), blocks_.end(),
                     [](const RowBlock& a, const RowBlock& b) { return a.image < b.image; });
    isArranged_ = true;
    std::vector<std::size_t> without;
    for (std::size_t i = 0; i < hasRows.size(); ++i) {
        if (!hasRows[i]) without.push_back(i);
    }
    return without;
}

std::vector<RowBlock> MergedTable::InNaturalOrder() const {
    struct Front {
        std::string image;
        std::size_t block;
    };
    const auto isLater = [](const Front& a, const Front& b) { return NaturalLess(b.image, a.image); };
    std::priority_queue<Front, std::vector<Front>, decltype(isLater)> fronts(isLater);
    for (std::size_t i = 0; i < blocks_.size(); ++i) {
        if (i == 0 || blocks_[i].part != blocks_[i - 1].part) fronts.push({ImageOf(blocks_[i]), i});
    }
    std::vector<RowBlock> ordered;
    ordered.reserve(blocks_.size());
    while (!fronts.empty()) {
        const std::size_t block = fronts.top().block;
        fronts.pop();
        ordered.push_back(blocks_[block]);
        const bool hasNext = block + 1 < blocks_.size() && blocks_[block + 1].part == blocks_[block].part;
        if (hasNext) fronts.push({ImageOf(blocks_[block + 1]), block + 1});
    }
    return ordered;
}

void MergedTable::Write(const std::string& path) const {
    qvox::AtomicFile file(path);
    std::string pending = parts_.front()->Header();
    const auto flush = [&] {
        file.Write(pending.data(), pending.size());
        pending.clear();
    };
    constexpr std::size_t kPiece = std::size_t{1} << 20;
    for (const RowBlock& block : isArranged_ ? blocks_ : InNaturalOrder()) {
        RowReader& reader = *parts_[block.part];
        reader.GoTo(block.offset);
        for (std::uint64_t done = 0; done < block.length; done += reader.Length()) {
            if (!reader.Next()) throw qvox::ToolkitError(Quoted(reader.Path()) + " was changed while it was read.");
            pending += reader.Row();
        }
        if (pending.size() >= kPiece) flush();
    }
    flush();
    // A write that failed makes Commit throw with its cause.
    file.Commit();
}

}  // namespace Korvane
