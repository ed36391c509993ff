#pragma once

#include <cstddef>
#include <vector>

#include "bits/BitPlane.h"
#include "bits/ColumnGrid.h"
#include "bits/ZeroedArray.h"

namespace level_sweep {

/// The area that lines enclose together with a component, and its ring.
///
/// The area is everything that is 4-connected with the component through pixels that are not on a line, and the holes of
/// that: the 4-connected parts of its complement that do not reach the border of the map. Lines that a hole contains
/// belong to the area, and lines that the fill can flow around do not stop it: where no line closes, the area may be the
/// whole map. The ring is the pixels outside the area that touch it, also across corners.
///
/// Invariant between calls: filled_ is 0 everywhere, and closed_ is 0 on the map and all ones around it.
class EnclosedArea {
public:
    using Word = ColumnGrid::Word;
    EnclosedArea(int width, int height);

    const ColumnGrid& Grid() const { return grid_; }

    /// Finds the area of a component. linesIn(column, y) returns the pixels of lines in a word; use(word, area, ring) is
    /// called for words of `Grid`, each once, with the pixels of the area and of its ring.
    /// Cost: some tens of instructions for each word that the area lies in, and fewer for all others of its box.
    template <typename LinesIn, typename Use>
    void Find(const std::vector<WordPixels<BitGrid>>& component, LinesIn linesIn, Use use);

    /// Asserts the invariant. Cost: all words; nothing without KORVANE_ASSERTIONS.
    void CheckInvariants() const;

private:
    struct Seeds {
        WordPosition at;
        Word pixels;
    };

    Word PixelsOfColumn(int column) const { return column == lastColumn_ ? inLastColumn_ : ~Word{0}; }
    void Seed(WordPosition at, std::size_t word, Word pixels) {
        if ((pixels & ~closed_[word]) != 0) {
            seeds_.push_back({at, pixels});
        }
    }
    template <typename LinesIn>
    void Fill(LinesIn linesIn);
    void FindBox();
    void FindHoles();
    void FillOutside();
    template <typename Use>
    void UseWords(Use use);

    int height_;
    int lastColumn_;
    Word inLastColumn_;
    ColumnGrid grid_;
    ZeroedArray<Word> filled_;
    ZeroedArray<Word> closed_;  // filled, on a line or outside the map; 0 in words that the fill has not reached
    std::vector<Seeds> seeds_;
    std::vector<WordPosition> reachedWords_;
    // The box, with one word more on each side, column by column.
    int firstColumn_ = 0;
    int boxColumns_ = 0;
    int firstRow_ = 0;
    int boxRows_ = 0;
    std::size_t boxStride_ = 0;
    std::vector<Word> box_;  // first what is not filled, then the area
    std::vector<WordPixels<ColumnGrid>> boxSeeds_;  // by words of the box
};

template <typename LinesIn, typename Use>
void EnclosedArea::Find(const std::vector<WordPixels<BitGrid>>& component, LinesIn linesIn, Use use) {
    for (const WordPixels<BitGrid>& part : component) {
        const int y = part.word / (lastColumn_ + 1);
        seeds_.push_back({{part.word - y * (lastColumn_ + 1), y}, part.pixels});
    }
    Fill(linesIn);
    FindBox();
    FindHoles();
    UseWords(use);
    for (const WordPosition& at : reachedWords_) {
        filled_[grid_.WordAt(at)] = 0;
        closed_[grid_.WordAt(at)] = 0;
    }
    reachedWords_.clear();
}

template <typename LinesIn>
void EnclosedArea::Fill(LinesIn linesIn) {
    while (!seeds_.empty()) {
        const WordPosition at = seeds_.back().at;
        const Word seeds = seeds_.back().pixels;
        seeds_.pop_back();
        const std::size_t word = grid_.WordAt(at);
        Word closed = closed_[word];
        if (closed == 0) {
            closed = linesIn(at.column, at.y) | ~PixelsOfColumn(at.column);
            reachedWords_.push_back(at);
        }
        const Word found = RunsContaining(seeds & ~closed, ~closed);
        closed_[word] = closed | found;
        if (found == 0) {
            continue;
        }
        filled_[word] |= found;
        Seed({at.column, at.y - 1}, word - 1, found);
        Seed({at.column, at.y + 1}, word + 1, found);
        if ((found & 1u) != 0) {
            Seed({at.column - 1, at.y}, word - grid_.ColumnStride(), Word{1} << 63);
        }
        if (found >> 63 != 0) {
            Seed({at.column + 1, at.y}, word + grid_.ColumnStride(), 1);
        }
    }
}

template <typename Use>
void EnclosedArea::UseWords(Use use) {
    const auto around = [&](std::size_t word) { return box_[word - 1] | box_[word] | box_[word + 1]; };
    for (int column = 0; column < boxColumns_; ++column) {
        const Word pixels = PixelsOfColumn(firstColumn_ + column);
        const std::size_t first = grid_.WordAt(WordPosition{firstColumn_ + column, firstRow_});
        const std::size_t firstInBox = static_cast<std::size_t>(column + 1) * boxStride_ + 1;
        for (std::size_t row = 0; row < static_cast<std::size_t>(boxRows_); ++row) {
            const std::size_t word = firstInBox + row;
            const Word near = DilateRow(around(word)) | around(word - boxStride_) >> 63 | around(word + boxStride_) << 63;
            if ((near & pixels) != 0) {
                use(first + row, box_[word], near & pixels & ~box_[word]);
            }
        }
    }
}

}  // namespace level_sweep
