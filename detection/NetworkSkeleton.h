#pragma once

#include <cstdint>
#include <vector>

#include "BitGrid.h"
#include "ShrinkingSet.h"
#include "ZeroedArray.h"

namespace Korvane {

/// A subiteration of thinning (Guo and Hall, 1989), 64 pixels at a time: the first of the two in odd steps.
struct ThinningStep {
    static constexpr int kPeriod = 2;
    static constexpr int kStepsAtHand = 13;
    static BitGrid::Word Left(const WordNeighbourhood& around, int step);
};

/// The lines, one pixel wide, that thinning (Guo and Hall, 1989) leaves of a set of pixels, kept up while the set
/// changes. Beyond the picture everything counts as set and is never removed.
class NetworkSkeleton {
public:
    using Code = std::uint8_t;
    static constexpr Code kPruned = 1;  ///< for the pruning: a pixel of a line that is taken away for the moment
    static constexpr Code kLine = 2;
    static constexpr Code kBeyond = 3;  ///< beyond the picture

    NetworkSkeleton(int width, int height);

    /// A code per pixel, 0 where there is no line; one more pixel on every side.
    Code* At(int x, int y) { return &codes_[Index(x, y)]; }
    const Code* At(int x, int y) const { return &codes_[Index(x, y)]; }
    std::ptrdiff_t Stride() const { return stride_; }

    /// Changes of the set: noted first, then worked in all at once by Update, which no pixel may enter as kPruned.
    void Add(std::int32_t word, BitGrid::Word pixels) { set_.Add(word, pixels); }
    void Remove(std::int32_t word, BitGrid::Word pixels) { set_.Remove(word, pixels); }
    void Update();

    /// Columns, ascending, of the line pixels of row y with exactly one line neighbour, those at the border excepted.
    const std::vector<int>& EndsInRow(int y) const { return ends_[static_cast<std::size_t>(y)]; }

private:
    std::size_t Index(int x, int y) const { return static_cast<std::size_t>((y + 1) * stride_ + x + 1); }
    void LinesChanged(std::int32_t word, BitGrid::Word changed);
    void LookForEnds(std::int32_t word);
    BitGrid::Word LineEnds(int column, int y) const;

    int width_;
    int height_;
    std::ptrdiff_t stride_;
    ShrinkingSet<ThinningStep> set_;
    ZeroedArray<Code> codes_;
    ZeroedArray<BitGrid::Word> isEnd_;
    ZeroedArray<std::uint8_t> isNoted_;      // per word: is in lookForEnds_
    std::vector<std::int32_t> lookForEnds_;  // words with pixels on or next to lines that have changed
    std::vector<std::vector<int>> ends_;
};

}  // namespace Korvane
