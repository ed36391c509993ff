#include "network/FloodClusters.h"

#include <algorithm>

#include "Assert.h"

namespace level_sweep {

void FloodClusters::Clear() {
    floods_.clear();
    relabelled_.clear();
    untraversed_.clear();
}

void FloodClusters::Begin() {
    const auto number = static_cast<std::int32_t>(floods_.size());
    floods_.push_back({number, {relabelled_.size(), relabelled_.size()}});
    hasJoined_ = false;
    hasFound_ = false;
    next_ = 0;
    isOpen_ = true;
}

void FloodClusters::Finish() {
    Flood& flood = floods_.back();
    flood.relabelled.end = relabelled_.size();
    if (flood.relabelled.first < flood.relabelled.end) {
        untraversed_.push_back(Present());
    }
    isOpen_ = false;
}

void FloodClusters::Join(std::int32_t flood) {
    hasJoined_ = true;
    const std::int32_t root = RootOf(flood);
    floods_[static_cast<std::size_t>(root)].parent = RootOf(Present());
}

std::int32_t FloodClusters::RootOf(std::int32_t flood) {
    while (floods_[static_cast<std::size_t>(flood)].parent != flood) {
        Flood& at = floods_[static_cast<std::size_t>(flood)];
        at.parent = floods_[static_cast<std::size_t>(at.parent)].parent;
        flood = at.parent;
    }
    return flood;
}

// Passes over the list until one finds nothing: what the caller does with the patches may join more floods.
bool FloodClusters::TakeUntraversed(Range& patches) {
    const std::int32_t present = RootOf(Present());
    for (;;) {
        for (; next_ < untraversed_.size(); ++next_) {
            const std::int32_t flood = untraversed_[next_];
            if (RootOf(flood) == present) {
                patches = floods_[static_cast<std::size_t>(flood)].relabelled;
                untraversed_[next_] = untraversed_.back();
                untraversed_.pop_back();
                hasFound_ = true;
                return true;
            }
        }
        if (!hasFound_) {
            return false;
        }
        next_ = 0;
        hasFound_ = false;
    }
}

void FloodClusters::CheckInvariants() const {
    const std::size_t count = floods_.size();
    std::size_t end = 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::size_t root = i;
        for (std::size_t steps = 0; static_cast<std::size_t>(floods_[root].parent) != root; ++steps) {
            KORVANE_ASSERT(steps < count);
            root = static_cast<std::size_t>(floods_[root].parent);
        }
        const Range& range = floods_[i].relabelled;
        KORVANE_ASSERT(range.first == end && range.first <= range.end);
        end = range.end;
        const auto listed = std::count(untraversed_.begin(), untraversed_.end(), static_cast<std::int32_t>(i));
        KORVANE_ASSERT(listed <= (range.first < range.end ? 1 : 0));
    }
    KORVANE_ASSERT(isOpen_ || end == relabelled_.size());
}

}  // namespace level_sweep
