#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "bits/ColumnGrid.h"

namespace level_sweep {

/// The pixels that a path has released since it was traced last, in the order of the path. Those in 64 words that lie
/// below each other, around the path's end, are found by word.
class ReleasedPixels {
public:
    using Word = ColumnGrid::Word;

    /// `word`: that of the path's end. Nothing must be released.
    void Begin(std::size_t word) { first_ = word - kRows / 2; }
    void Add(std::size_t word, Word bit) {
        if (parts_.empty() || parts_.back().word != word) {
            parts_.emplace_back().word = word;
        }
        parts_.back().pixels |= bit;
        if (word - first_ < kRows) {
            rows_[word - first_] |= bit;
        }
    }
    const std::vector<WordPixels<ColumnGrid>>& Parts() const { return parts_; }
    /// Those released in a word near the path's end; 0 elsewhere.
    Word Near(std::size_t word) const { return word - first_ < kRows ? rows_[word - first_] : 0; }
    void Clear() {
        for (const WordPixels<ColumnGrid>& part : parts_) {
            if (part.word - first_ < kRows) {
                rows_[part.word - first_] = 0;
            }
        }
        parts_.clear();
    }

private:
    static constexpr std::size_t kRows = 64;
    std::vector<WordPixels<ColumnGrid>> parts_;
    std::size_t first_ = 0;
    std::array<Word, kRows> rows_{};
};

}  // namespace level_sweep
