#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace level_sweep {

/// Values of a map, row by row without gaps; borrowed.
struct MapView {
    const float* values;
    int width;
    int height;
};

/// A bit per pixel of a map: 64 pixels a word, each row in whole words, bit 0 the leftmost pixel.
using PixelMask = std::vector<std::uint64_t>;

/// Sizes that decide what becomes of a component, in pixels of the map.
struct ComponentSizes {
    std::int64_t minimumAreaPx = 0;  ///< a smaller component is erased
    std::int64_t maximumAreaPx = 0;  ///< a larger one is left alone, unless it is too small as well
    int longBranchPx = 0;            ///< beyond it, the end of an open branch of the skeleton becomes background again
};

/// The regions that close as a level sinks through an edge map.
///
/// Each pixel is open, background, or analysed, which is neither. At every level the caller removes the open pixels
/// above it (RemoveAbove, or RemoveConnected) and sweeps: each 4-connected component of open pixels that has lost pixels
/// and is small enough is erased, which makes it background, or analysed. The analysis marks the area that the lines of
/// the background enclose around the component as candidate, with a ring one pixel wide around it.
///
/// Cost: proportional to the pixels, and for each analysed component to the background that touches it.
class LevelSweep {
public:
    /// The most pixels that a map may have: offsets are signed 32-bit numbers, and rows whole words.
    static constexpr std::int64_t kMaxPixels = INT32_MAX - 64;

    /// Open at first is each pixel whose value is at most `openUpTo`, and each of `alsoOpen` (empty: none). A value
    /// that is not a number is background from the start.
    /// @param edges     at most kMaxPixels; must outlive the sweep
    /// @param levels    falling; `levelStep` is the approximate difference between adjacent ones
    LevelSweep(const MapView& edges, float openUpTo, const PixelMask& alsoOpen, const std::vector<float>& levels,
               float levelStep, const ComponentSizes& sizes);
    ~LevelSweep();
    LevelSweep(const LevelSweep&) = delete;
    LevelSweep& operator=(const LevelSweep&) = delete;

    /// Removes every open pixel above levels[level]. Levels are taken in their order.
    void RemoveAbove(std::size_t level);

    /// Removes each 8-connected region of open pixels at or above levels[level] in which a pixel above the level is
    /// adjacent, by a side or a corner, to background. A pixel exactly at the level starts no removal but leaves with
    /// its region. The border of the map is not background. Levels are taken in their order.
    void RemoveConnected(std::size_t level);

    /// Erases or analyses every component that has lost pixels since the last sweep, in raster order of first pixels.
    void Sweep();

    /// All pixels marked so far. Rings overwrite candidates; candidates never overwrite rings.
    PixelMask Candidates() const;
    PixelMask Rings() const;

private:
    class State;
    std::unique_ptr<State> state_;
};

}  // namespace level_sweep
