#pragma once

#include <cstdint>
#include <vector>

#include "BitGrid.h"
#include "ShrinkingSet.h"
#include "ZeroedArray.h"

namespace Korvane {

/// The lines, one pixel wide, that thinning (Guo and Hall, 1989) leaves of a set of pixels, kept up while the set
/// changes. Beyond the picture everything counts as set and is never removed.
class NetworkSkeleton {
public:
    using Code = std::uint8_t;
    static constexpr Code kLine = 1;
    static constexpr Code kBeyond = 2;  ///< beyond the picture

    NetworkSkeleton(int width, int height);

    /// A code per pixel, 0 where there is no line; one more pixel on every side.
    const Code* At(int x, int y) const { return &codes_[Index(x, y)]; }
    std::ptrdiff_t Stride() const { return stride_; }

    /// Changes of the set: noted first, then worked in all at once by Update.
    void Add(std::int32_t word, BitGrid::Word pixels) { set_.Add(word, pixels); }
    void Remove(std::int32_t word, BitGrid::Word pixels) { set_.Remove(word, pixels); }
    void Update();

    /// Whether a pixel is of a line and has exactly one neighbour that is; none at the border is.
    bool IsEnd(int x, int y) const {
        return (isEnd_[static_cast<std::size_t>(set_.Grid().WordAt(x, y))] & BitGrid::Bit(x)) != 0;
    }

    /// The pixels, by index from At(-1, -1), of which the last update changed whether they are of a line, and those of
    /// which it changed whether they are an end: each once.
    const std::vector<std::int32_t>& LineChanges() const { return lineChanges_; }
    const std::vector<std::int32_t>& EndChanges() const { return endChanges_; }

private:
    std::size_t Index(int x, int y) const { return static_cast<std::size_t>((y + 1) * stride_ + x + 1); }
    void LinesChanged(std::int32_t word, BitGrid::Word changed);
    void LookForEnds(std::int32_t word);
    BitGrid::Word LineEnds(int column, int y) const;

    int width_;
    int height_;
    std::ptrdiff_t stride_;
    ShrinkingSet set_;
    ZeroedArray<Code> codes_;
    ZeroedArray<BitGrid::Word> isEnd_;
    ZeroedArray<std::uint8_t> isNoted_;      // per word: is in lookForEnds_
    std::vector<std::int32_t> lookForEnds_;  // words with pixels on or next to lines that have changed
    std::vector<std::int32_t> lineChanges_;
    std::vector<std::int32_t> endChanges_;
};

}  // namespace Korvane
