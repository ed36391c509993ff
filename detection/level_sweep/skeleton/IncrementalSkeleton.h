#pragma once

#include <cstdint>
#include <vector>

#include "bits/BitGrid.h"
#include "skeleton/ThinningHistory.h"
#include "bits/ColumnGrid.h"
#include "bits/ZeroedArray.h"

namespace level_sweep {

/// The lines, one pixel wide, that thinning (Guo and Hall, 1989) leaves of a set of pixels, kept up while the set
/// changes. Beyond the picture everything counts as set and is never removed.
class IncrementalSkeleton {
public:
    using Word = ColumnGrid::Word;

    IncrementalSkeleton(int width, int height);

    const ColumnGrid& Grid() const { return grid_; }
    bool IsLine(int x, int y) const { return (lines_[grid_.WordAt(x, y)] & ColumnGrid::Bit(x)) != 0; }

    /// Changes of the set: noted first, then worked in all at once by Update.
    void Add(std::int32_t word, BitGrid::Word pixels) { set_.Add(word, pixels); }
    void Remove(std::int32_t word, BitGrid::Word pixels) { set_.Remove(word, pixels); }
    void Update();

    /// Whether a pixel is of a line and has exactly one neighbour that is; none at the border is.
    bool IsEnd(int x, int y) const { return (isEnd_[grid_.WordAt(x, y)] & ColumnGrid::Bit(x)) != 0; }

    /// The pixels of which the last update changed whether they are of a line, and those of which it changed whether
    /// they are an end: each word once.
    const std::vector<WordPixels<ColumnGrid>>& LineChanges() const { return lineChanges_; }
    const std::vector<WordPixels<ColumnGrid>>& EndChanges() const { return endChanges_; }

private:
    void LookForEndsAround(std::size_t word, Word changed);
    void LookForEndsIn(std::size_t word, Word changed);
    void LookForEnds(std::size_t word);
    Word LineEnds(std::size_t word) const;
    Word OffTheBorder(std::size_t word) const;

    int width_;
    int height_;
    ThinningHistory set_;
    ColumnGrid grid_;
    ZeroedArray<Word> lines_;
    ZeroedArray<Word> isEnd_;
    ZeroedArray<std::uint8_t> isNoted_;     // per word: is in lookForEnds_
    std::vector<std::size_t> lookForEnds_;  // words with lines, or ends, on or next to lines that have changed
    std::vector<WordPixels<ColumnGrid>> lineChanges_;
    std::vector<WordPixels<ColumnGrid>> endChanges_;
};

}  // namespace level_sweep
