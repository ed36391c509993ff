#pragma once

#include <cstdint>
#include <vector>

#include "bits/BitGrid.h"
#include "bits/ColumnGrid.h"
#include "bits/ZeroedArray.h"
#include "skeleton/ThinningHistory.h"

namespace level_sweep {

/// The lines, one pixel wide, to which thinning (Guo and Hall, 1989) reduces a set of pixels, and the ends of these
/// lines, maintained incrementally as the set changes. Beyond the image everything counts as set and is never removed.
///
/// A line pixel is an end if exactly one of its eight neighbours is a line pixel too. No pixel of the image's border is
/// an end: it has neighbours beyond the image.
///
/// Invariants, outside of Update, once it has processed all changes of the set:
/// 1. The lines are the pixels that remain after the last step of thinning.
/// 2. The ends are those of the lines.
/// 3. No word is noted to look for ends in.
class IncrementalSkeleton {
public:
    using Word = ColumnGrid::Word;

    IncrementalSkeleton(int width, int height);

    const ColumnGrid& Grid() const { return grid_; }

    /// Changes of the set. They are collected until Update processes all of them.
    void Add(std::int32_t word, BitGrid::Word pixels) { history_.Add(word, pixels); }
    void Remove(std::int32_t word, BitGrid::Word pixels) { history_.Remove(word, pixels); }
    void Update();

    /// Of a word of the grid, the pixels of lines and the ends.
    Word LinesIn(std::size_t word) const { return lines_[word]; }
    Word EndsIn(std::size_t word) const { return ends_[word]; }

    /// The pixels that have become pixels of lines, or ends, in the last update, or no longer are: each word once.
    const std::vector<WordPixels<ColumnGrid>>& LineChanges() const { return lineChanges_; }
    const std::vector<WordPixels<ColumnGrid>>& EndChanges() const { return endChanges_; }

    void CheckInvariants() const;

private:
    void NoteWordsAround(std::size_t word, Word changed);
    void NoteWord(std::size_t word, Word nearChanges);
    void UpdateEnds(std::size_t word);
    Word FindEnds(std::size_t word) const;
    Word OffTheBorder(std::size_t word) const;

    int width_;
    int height_;
    ThinningHistory history_;
    ColumnGrid grid_;
    ZeroedArray<Word> lines_;
    ZeroedArray<Word> ends_;
    ZeroedArray<std::uint8_t> isNoted_;    // per word: is in notedWords_
    std::vector<std::size_t> notedWords_;  // with lines or ends that have changed or are adjacent to changed lines
    std::vector<WordPixels<ColumnGrid>> lineChanges_;
    std::vector<WordPixels<ColumnGrid>> endChanges_;
};

}  // namespace level_sweep
