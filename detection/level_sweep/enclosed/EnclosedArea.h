#pragma once

#include <cstddef>
#include <vector>

#include "bits/BitPlane.h"
#include "bits/ColumnGrid.h"
#include "bits/ZeroedArray.h"

namespace level_sweep {

/// What lines enclose together with a component: all that is 4-connected with the component through pixels that are of
/// no line, and the holes of that, which are those of its complement's 4-connected parts that do not reach the border
/// of the picture or of a box around it.
class EnclosedArea {
public:
    using Word = ColumnGrid::Word;
    EnclosedArea(int width, int height);

    const ColumnGrid& Grid() const { return grid_; }

    /// Finds the area of a component; linesIn(column, y) are the pixels of lines in row y from column 64 * column on,
    /// and visit(word, inside, ring) is called for words of `Grid`, each once, with the area's pixels and those outside
    /// that touch it, also across corners.
    /// Cost: some tens of instructions for each word that the area lies in, and fewer for all others of its box.
    template <typename LinesIn, typename Visit>
    void Find(const std::vector<WordPixels<BitGrid>>& component, LinesIn linesIn, Visit visit);

private:
    struct Position {
        int column;
        int y;
    };
    struct Seeds {
        Position at;
        Word pixels;
    };
    struct BoxSeeds {
        std::size_t word;
        Word pixels;
    };

    std::size_t WordAt(Position at) const {
        return static_cast<std::size_t>(at.column + 1) * grid_.ColumnStride() +
               static_cast<std::size_t>(at.y + ColumnGrid::kMargin);
    }
    Word PixelsOfColumn(int column) const { return column == lastColumn_ ? inLastColumn_ : ~Word{0}; }
    void Seed(Position at, std::size_t word, Word pixels) {
        if ((pixels & ~closed_[word]) != 0) {
            seeds_.push_back({at, pixels});
        }
    }
    template <typename LinesIn>
    void Fill(LinesIn linesIn);
    void FindBox();
    void FindHoles();
    void FillOutside();
    template <typename Visit>
    void VisitWords(Visit visit);

    int height_;
    int lastColumn_;
    Word inLastColumn_;
    ColumnGrid grid_;
    // Both all 0 between calls, but for words beyond the picture, which are closed.
    ZeroedArray<Word> filled_;
    ZeroedArray<Word> closed_;  // filled, or of a line; 0 where nothing has been looked at
    std::vector<Seeds> seeds_;
    std::vector<Position> lookedAt_;
    // The box, with one word more on each side, strip by strip.
    int firstColumn_ = 0;
    int boxColumns_ = 0;
    int firstRow_ = 0;
    int boxRows_ = 0;
    std::size_t boxStrip_ = 0;
    std::vector<Word> box_;  // what is not filled, then the area
    std::vector<BoxSeeds> boxSeeds_;
};

template <typename LinesIn, typename Visit>
void EnclosedArea::Find(const std::vector<WordPixels<BitGrid>>& component, LinesIn linesIn, Visit visit) {
    for (const WordPixels<BitGrid>& part : component) {
        const int y = part.word / (lastColumn_ + 1);
        seeds_.push_back({{part.word - y * (lastColumn_ + 1), y}, part.pixels});
    }
    Fill(linesIn);
    FindBox();
    FindHoles();
    VisitWords(visit);
    for (const Position& at : lookedAt_) {
        filled_[WordAt(at)] = 0;
        closed_[WordAt(at)] = 0;
    }
    lookedAt_.clear();
}

template <typename LinesIn>
void EnclosedArea::Fill(LinesIn linesIn) {
    while (!seeds_.empty()) {
        const Position at = seeds_.back().at;
        const Word seeds = seeds_.back().pixels;
        seeds_.pop_back();
        const std::size_t word = WordAt(at);
        Word closed = closed_[word];
        if (closed == 0) {
            closed = linesIn(at.column, at.y) | ~PixelsOfColumn(at.column);
            lookedAt_.push_back(at);
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

template <typename Visit>
void EnclosedArea::VisitWords(Visit visit) {
    const auto around = [&](std::size_t word) { return box_[word - 1] | box_[word] | box_[word + 1]; };
    for (int column = 0; column < boxColumns_; ++column) {
        const Word pixels = PixelsOfColumn(firstColumn_ + column);
        const std::size_t first = WordAt({firstColumn_ + column, firstRow_});
        const std::size_t firstInBox = static_cast<std::size_t>(column + 1) * boxStrip_ + 1;
        for (std::size_t row = 0; row < static_cast<std::size_t>(boxRows_); ++row) {
            const std::size_t word = firstInBox + row;
            const Word beside = around(word);
            const Word near =
                beside | beside << 1 | beside >> 1 | around(word - boxStrip_) >> 63 | around(word + boxStrip_) << 63;
            if ((near & pixels) != 0) {
                visit(first + row, box_[word], near & pixels & ~box_[word]);
            }
        }
    }
}

}  // namespace level_sweep
