#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "bits/BitPlane.h"
#include "LargePages.h"

namespace level_sweep {

/// A 4-connected component that has left the open pixels for good.
struct TakenComponent {
    std::int32_t first;  ///< offset of its first pixel in raster order
    std::int64_t area;
    std::vector<WordPixels<BitGrid>> parts;  ///< in raster order, each word once
};

/// The 4-connected components of the open pixels of a map, with their areas, kept up while pixels are removed one by
/// one.
///
/// Open pixels carry the number of their component. All others are 8-connected, together with everything beyond the
/// border, in a union-find forest. A removed pixel cuts its component exactly where two of the closed pixels around it
/// hang together already: their connection and the new pixel make a ring. Only then are the sides of the cut searched,
/// in turns, until all but one are known whole; so the cost follows the smaller pieces. (Even, Shiloach, 1981: searches
/// in lockstep; the ring test is the planar case's.)
class ShrinkingComponents {
public:
    /// `open`: at most 2^31 - 65 pixels; small is a component of at most `limit` pixels.
    ShrinkingComponents(BitPlane open, std::int64_t limit);

    const BitPlane& Open() const { return open_; }

    /// Open pixels are open no longer: one after the other.
    void Remove(const std::vector<PixelPosition>& pixels);

    /// Takes the small components out: they are no longer open. In raster order of their first pixels.
    const std::vector<TakenComponent>& TakeSmall();

private:
    using Word = BitGrid::Word;
    struct Side {
        std::vector<WordPixels<BitGrid>> reached;
        std::vector<WordPixels<BitGrid>> waiting;
        bool Finished() const { return waiting.empty(); }
    };

    bool Inside(int x, int y) const { return x >= 0 && y >= 0 && x < width_ && y < height_; }
    std::int32_t NodeAt(int x, int y) const { return Inside(x, y) ? y * width_ + x : beyond_; }
    // The node of a word's leftmost pixel.
    std::int32_t NodeOfWord(std::int32_t word) const {
        const std::int32_t y = word / grid_.WordsPerRow();
        return y * width_ + (word - y * grid_.WordsPerRow()) * 64;
    }
    std::int32_t Find(std::int32_t node);
    void Unite(std::int32_t a, std::int32_t b);
    void LinkRow(int y);
    void UniteWithClosed(const PixelRun& run, int y);
    template <typename PixelsOf>
    void UniteWithRun(std::int32_t node, const PixelRun& run, PixelsOf pixelsOf);
    int EndOfRun(int x, int y) const;
    void NumberComponents();
    std::int32_t NewNumber();
    bool IsSmall(std::int32_t number) const { return area_[static_cast<std::size_t>(number)] <= limit_; }
    void FetchAhead(const PixelPosition& at) const;
    void Remove(const PixelPosition& at);
    void Separate(int sides, std::int32_t number, std::int32_t pixel);
    void Advance(Side& side);
    std::int32_t NumberSide(const Side& side);
    void TakeIfSmall(int x, int y);
    void FloodFrom(int x, int y, std::vector<WordPixels<BitGrid>>& parts);
    void Close(const TakenComponent& component);

    BitPlane open_;
    BitGrid grid_;
    int width_;
    int height_;
    std::int64_t limit_;
    std::int32_t beyond_;                      // the forest's node for everything beyond the border
    qvox::LargePageArray<std::int32_t> link_;  // open: number of the component; closed: parent in the forest
    std::vector<std::int32_t> area_;           // per component number
    std::vector<std::int32_t> unused_;         // numbers that may be given again
    std::vector<std::int32_t> lookAt_;       // removed since the last call of TakeSmall, with a small component beside
    std::vector<std::int32_t> firstPixels_;  // of the components at the start, until the first call of TakeSmall
    std::array<Side, 4> sides_;
    std::vector<TakenComponent> taken_;
};

}  // namespace level_sweep
