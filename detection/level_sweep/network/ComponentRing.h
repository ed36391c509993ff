#pragma once

#include <cstddef>
#include <vector>

#include "bits/BitPlane.h"

namespace level_sweep {

/// The ring of a component: the pixels of the image that share a side with one of its pixels, by words of 64 pixels. A
/// word may also have pixels of the component itself.
class ComponentRing {
public:
    using Word = BitGrid::Word;

    ComponentRing(const BitGrid& grid, int height) : grid_(grid), height_(height) {}

    /// `component`: in raster order.
    void Set(const std::vector<WordPixels<BitGrid>>& component);

    /// The words that may have pixels of the ring: columns of words by rows.
    const PixelBox& Words() const { return words_; }
    Word In(int column, int y) const;

private:
    BitGrid grid_;
    int height_;
    PixelBox words_;
    std::vector<Word> component_;  // its pixels in words_
};

}  // namespace level_sweep
