#pragma once

#include <cstdint>
#include <vector>

#include "BitGrid.h"
#include "ZeroedArray.h"

namespace Korvane {

/// A set of pixels of a picture, which takes no more room however often a pixel is added.
class PixelSet {
public:
    PixelSet(int width, int height) : grid_(width, height), bits_(grid_.Words()) {}

    void Add(const PixelRun& run) {
        grid_.ForEachWord(run, [&](std::int32_t word, BitGrid::Word bits) { Add(word, bits); });
    }
    void Add(std::int32_t word, BitGrid::Word pixels) {
        BitGrid::Word& there = bits_[static_cast<std::size_t>(word)];
        if (there == 0) {
            words_.push_back(word);
        }
        there |= pixels;
    }

    /// Empties the set and calls visit(word, pixels) for the words that have pixels of it, of a BitGrid.
    template <typename Visit>
    void TakeWords(Visit visit) {
        taken_.swap(words_);
        for (const std::int32_t word : taken_) {
            const BitGrid::Word pixels = bits_[static_cast<std::size_t>(word)];
            bits_[static_cast<std::size_t>(word)] = 0;
            visit(word, pixels);
        }
        taken_.clear();
    }

private:
    BitGrid grid_;
    ZeroedArray<BitGrid::Word> bits_;
    std::vector<std::int32_t> words_;  // those with pixels
    std::vector<std::int32_t> taken_;
};

}  // namespace Korvane
