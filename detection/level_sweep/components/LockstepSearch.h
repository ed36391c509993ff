#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "bits/BitPlane.h"

namespace level_sweep {

/// Searches 4-connected open pixels from up to four starts in turns, a word at a time each. Pixels that a search has
/// reached are missing from the open pixels until it is over, so that a single read of a word gives what is still to be
/// reached. Keeps nothing between searches but the memory of its lists.
class LockstepSearch {
public:
    using Part = WordPixels<BitGrid>;
    static constexpr std::size_t kMostSides = 4;
    struct Side {
        std::vector<Part> reached;
        std::vector<Part> waiting;
        bool IsFinished() const { return waiting.empty(); }
    };

    /// Begins with `side` at a pixel.
    void Start(std::size_t side, const BitPlane& open, PixelPosition at) {
        sides_[side].waiting.assign(1, {open.Grid().WordAt(at.x, at.y), BitGrid::Bit(at.x)});
    }
    /// Advances sides 0 to count - 1, which are not connected, until all but one are finished. The last one is never
    /// searched to its end.
    void FinishAllButOne(std::size_t count, BitPlane& open);
    /// Makes the pixels that a side has reached open again and forgets them.
    void Restore(std::size_t side, BitPlane& open);
    const Side& At(std::size_t side) const { return sides_[side]; }

    /// Removes the component of an open pixel from the open pixels and returns it in raster order, each word once.
    std::vector<Part> Extract(PixelPosition at, BitPlane& open);

private:
    static void Advance(Side& side, BitPlane& open);

    std::array<Side, kMostSides> sides_;
};

}  // namespace level_sweep
