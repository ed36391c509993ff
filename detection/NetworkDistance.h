#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "BitGrid.h"
#include "ZeroedArray.h"

namespace Korvane {

/// City-block distances of a set's pixels to the nearest pixel of the picture outside the set, kept up while the set
/// changes; beyond the picture there is nothing to be near to.
///
/// Where pixels join the set, the distances that rested on them are withdrawn in rising order, one step after the
/// other, and worked out again from what still stands around (Ramalingam, Reps, 1996). Cost: proportional to the pixels
/// whose distance changes.
class NetworkDistance {
public:
    using Distance = std::uint16_t;
    NetworkDistance(int width, int height);

    /// Changes of the set: noted first, then worked in all at once by Update. Each pixel at most once between updates.
    void Add(int x, int y);
    void Remove(int x, int y);
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
    static constexpr Distance kUnknown = 65535;
    static constexpr Distance kBeyond = 65534;

    std::size_t Index(int x, int y) const { return static_cast<std::size_t>((y + 1) * stride_ + x + 1); }
    bool IsKnown(Distance distance) const { return distance < kBeyond; }
    std::array<std::int32_t, 4> Neighbours(std::int32_t pixel) const;
    void Queue(std::vector<std::vector<std::int32_t>>& queue, std::int32_t pixel, std::size_t distance);
    void Set(std::int32_t pixel, Distance distance);
    void Withdraw(std::int32_t pixel);
    void WithdrawUnsupported();
    void Settle();
    void UpdateLargest();

    std::ptrdiff_t stride_;
    ZeroedArray<Distance> distances_;  // one more pixel on every side; 0 outside the set
    std::int32_t wordsPerRow_;
    struct ChangedWord {
        std::int32_t word;
        Distance largestBefore;
    };
    int width_;
    ZeroedArray<Distance> largestInWord_;  // kUnknown while it has to be looked for
    std::vector<ChangedWord> changedWords_;
    std::vector<std::vector<std::int32_t>> wordsByLargest_;  // and words whose largest distance has changed since
    std::vector<std::vector<std::int32_t>> toCheck_;         // per distance
    std::vector<std::vector<std::int32_t>> toSettle_;        // per distance
    std::vector<std::int32_t> withdrawn_;
};

}  // namespace Korvane
