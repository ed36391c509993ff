#include "branches/PathStore.h"

#include <algorithm>

#include "Assert.h"

namespace level_sweep {

PathStore::Path& PathStore::PathOf(std::size_t word, Rank end) {
    std::int32_t number = words_[word].first;
    while (paths_[static_cast<std::size_t>(number - 1)].end != end) {
        number = paths_[static_cast<std::size_t>(number - 1)].next;
        KORVANE_ASSERT(number != 0);
    }
    return paths_[static_cast<std::size_t>(number - 1)];
}

void PathStore::Add(std::size_t word, Rank end) {
    if (unused_.empty()) {
        unused_.push_back(static_cast<std::int32_t>(paths_.size()));
        paths_.emplace_back();
    }
    const std::int32_t number = unused_.back();
    unused_.pop_back();
    Path& path = paths_[static_cast<std::size_t>(number)];
    path.end = end;
    path.size = 0;
    path.forks = false;
    path.next = words_[word].first;
    words_[word].first = number + 1;
    words_[word].ends |= ColumnGrid::Bit(order_.PositionOf(end).x);
}

void PathStore::Remove(std::size_t word, Rank end) {
    const Path& path = PathOf(word, end);
    const auto number = static_cast<std::int32_t>(&path - paths_.data());
    std::int32_t* link = &words_[word].first;
    while (*link != number + 1) {
        link = &paths_[static_cast<std::size_t>(*link - 1)].next;
    }
    *link = path.next;
    unused_.push_back(number);
    words_[word].ends &= ~ColumnGrid::Bit(order_.PositionOf(end).x);
    Forget(path);
}

// The codes of a long path.
void PathStore::Forget(const Path& path) {
    if (path.size > Path::kCodesAtHand) {
        longPaths_.erase(path.end);
    }
}

void PathStore::Keep(Path& path, const PathCode& codes, std::size_t counts) {
    Forget(path);
    path.forks = counts > 1;
    path.size = codes.Size();
    if (path.size <= Path::kCodesAtHand) {
        std::copy_n(codes.Codes(), path.size, path.codes.begin());
    } else {
        longPaths_[path.end].assign(codes.Codes(), codes.Codes() + path.size);
    }
}

void PathStore::CheckInvariants() const {
    std::size_t listed = 0;
    std::size_t longPaths = 0;
    for (std::size_t word = 0; word < words_.size(); ++word) {
        Word ends = 0;
        for (std::int32_t number = words_[word].first; number != 0; ++listed) {
            const Path& path = paths_[static_cast<std::size_t>(number - 1)];
            const PixelPosition end = order_.PositionOf(path.end);
            KORVANE_ASSERT(grid_.WordAt(end.x, end.y) == word);    // 1
            KORVANE_ASSERT((ends & ColumnGrid::Bit(end.x)) == 0);  // 1
            ends |= ColumnGrid::Bit(end.x);
            if (path.size > Path::kCodesAtHand) {
                ++longPaths;
                const auto codes = longPaths_.find(path.end);
                KORVANE_ASSERT(codes != longPaths_.end() && codes->second.size() == path.size);  // 3
            }
            number = path.next;
        }
        KORVANE_ASSERT(ends == words_[word].ends);  // 1
        KORVANE_ASSERT((words_[word].lostPixels & ~ends) == 0);
    }
    KORVANE_ASSERT(listed + unused_.size() == paths_.size());  // 2
    KORVANE_ASSERT(longPaths == longPaths_.size());            // 3
}

}  // namespace level_sweep
