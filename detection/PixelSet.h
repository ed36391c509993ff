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
        grid_.ForEachWord(run, [&](std::int32_t word, BitGrid::Word bits) {
            BitGrid::Word& there = bits_[static_cast<std::size_t>(word)];
            if (there == 0) {
                words_.push_back(word);
            }
            there |= bits;
        });
    }

    /// Empties the set and calls visit(run) for stretches that together were all of it.
    template <typename Visit>
    void TakeRuns(Visit visit) {
        std::vector<std::int32_t> words;
        words.swap(words_);
        for (const std::int32_t word : words) {
            BitGrid::Word left = bits_[static_cast<std::size_t>(word)];
            bits_[static_cast<std::size_t>(word)] = 0;
            const int y = word / grid_.WordsPerRow();
            const int x0 = (word - y * grid_.WordsPerRow()) * 64;
            while (left != 0) {
                const int first = BitGrid::Lowest(left);
                const BitGrid::Word from = left >> first;
                const int length = ~from == 0 ? 64 : BitGrid::Lowest(~from);
                visit(PixelRun{y, x0 + first, x0 + first + length - 1});
                left = first + length == 64 ? 0 : left & (~BitGrid::Word{0} << (first + length));
            }
        }
    }

private:
    BitGrid grid_;
    ZeroedArray<BitGrid::Word> bits_;
    std::vector<std::int32_t> words_;  // those with pixels
};

}  // namespace Korvane
