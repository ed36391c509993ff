#pragma once

#include <cstdint>
#include <vector>

#include "bits/BitPlane.h"
#include "components/LockstepSearch.h"
#include "components/PixelNodes.h"

namespace level_sweep {

/// A 4-connected component that has left the open pixels for good.
struct TakenComponent {
    std::int32_t first;  ///< offset of its first pixel in raster order
    std::int64_t area;
    std::vector<WordPixels<BitGrid>> parts;  ///< in raster order, each word once
};

/// The 4-connected components of the open pixels of a map, with their areas, while pixels are removed one by one
/// (decremental connectivity). A component is small when it has at most `limit` pixels.
///
/// Invariants between calls:
///  1. Two open pixels have the same number exactly if they are 4-connected through open pixels.
///  2. area_[number] is the count of open pixels with this number; 0 for numbers in unused_.
///  3. Closed pixels with the same root are 8-connected through closed pixels, where everything outside the map counts
///     as one closed pixel. Closed pixels that are connected and share a side with the same component have the same
///     root; others need not, as no cut depends on them.
///  4. Every small component contains a pixel of firstPixels_ or shares a side with a pixel of toInspect_.
///
/// A removed pixel cuts its component exactly where two of the gaps of closed pixels around it are connected: their
/// connection and the new pixel make a ring. Closed pixels only ever join, hence the forest. At a cut the sides are
/// searched in lockstep until all but one are finished; the last one keeps the number, so the cost follows the smaller
/// pieces (Even and Shiloach, 1981; the ring test is the planar case's).
class ShrinkingComponents {
public:
    /// `open`: at most 2^31 - 65 pixels.
    ShrinkingComponents(BitPlane open, std::int64_t limit);

    const BitPlane& Open() const { return open_; }

    /// Removes open pixels, one after the other.
    void Remove(const std::vector<PixelPosition>& pixels);

    /// Removes the small components and returns them in raster order of their first pixels.
    const std::vector<TakenComponent>& TakeSmall();

    /// Asserts the invariants. Cost: a flood of the whole map; nothing without KORVANE_ASSERTIONS.
    void CheckInvariants() const;

private:
    // The node of a word's westernmost pixel.
    std::int32_t NodeOfWord(std::int32_t word) const {
        const WordPosition at = open_.Grid().PositionOf(word);
        return at.y * open_.Width() + at.column * 64;
    }
    std::int32_t NewNumber();
    bool IsSmall(std::int32_t number) const { return area_[static_cast<std::size_t>(number)] <= limit_; }
    void Prefetch(const PixelPosition& at) const;
    void Remove(const PixelPosition& at);
    void Separate(std::size_t sides, std::int32_t number, std::int32_t pixel);
    std::int32_t NumberSide(const LockstepSearch::Side& side);
    void TakeIfSmall(PixelPosition at);
    void Close(const TakenComponent& component);
    std::int32_t JoinClosedAround(const WordPixels<BitGrid>& part, std::int32_t root);
#ifdef KORVANE_ASSERTIONS
    void CheckOpen() const;
    void CheckClosed() const;
#endif

    BitPlane open_;
    std::int64_t limit_;
    PixelNodes nodes_;
    std::vector<std::int32_t> area_;         // by component number
    std::vector<std::int32_t> unused_;       // numbers that may be given again
    std::vector<std::int32_t> toInspect_;    // removed pixels next to what may be small, since the last TakeSmall
    std::vector<std::int32_t> firstPixels_;  // of the components at the start, until the first TakeSmall
    LockstepSearch search_;
    std::vector<TakenComponent> taken_;
};

}  // namespace level_sweep
