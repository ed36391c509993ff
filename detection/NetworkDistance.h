#pragma once

#include <cstdint>
#include <vector>

#include "BitGrid.h"
#include "ShrinkingSet.h"

namespace Korvane {

/// Takes the pixels away that share a side with one outside the set, 64 pixels at a time.
struct ErosionStep {
    static constexpr int kPeriod = 1;
    static constexpr int kStepsAtHand = 5;
    static BitGrid::Word Left(const WordNeighbourhood& around, int) {
        return around.centre & around.north & around.west & around.east & around.south;
    }
};

/// City-block distances of a set's pixels to the nearest pixel of the picture outside the set, kept up while the set
/// changes; beyond the picture there is nothing to be near to. A pixel's distance is the erosion that takes it away.
class NetworkDistance {
public:
    NetworkDistance(int width, int height) : set_(width, height) {}

    /// Changes of the set: noted first, then worked in all at once by Update.
    void Add(std::int32_t word, BitGrid::Word pixels) { set_.Add(word, pixels); }
    void Remove(std::int32_t word, BitGrid::Word pixels) { set_.Remove(word, pixels); }
    void Update();

    /// Largest distance of those pixels of a word of a BitGrid that are given; `all` are those of the set.
    int LargestIn(std::int32_t word, BitGrid::Word pixels, BitGrid::Word all) const;

    /// Largest distance of the whole set, or more.
    int Largest() const { return static_cast<int>(wordsByLargest_.size()) - 1; }
    /// The words whose largest distance is `distance`, above 0; a word may come more than once.
    const std::vector<std::int32_t>& WordsWithLargest(int distance);
    /// What WordsWithLargest costs, in words.
    std::size_t WordsToLookAt(int distance) const { return wordsByLargest_[static_cast<std::size_t>(distance)].size(); }

private:
    ShrinkingSet<ErosionStep> set_;
    std::vector<std::vector<std::int32_t>> wordsByLargest_;  // and words whose largest distance has changed since
};

}  // namespace Korvane
