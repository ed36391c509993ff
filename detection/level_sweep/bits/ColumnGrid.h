#pragma once

#include <cstddef>
#include <cstdint>

namespace level_sweep {

/// How the pixels of a picture lie in words of 64, strip by strip of 64 columns, each from the top down: words above
/// each other are beside each other in memory. Bit 0 is the leftmost pixel. Around the picture there is one more strip
/// on either side, and `kMargin` more words above and below.
class ColumnGrid {
public:
    using Word = std::uint64_t;
    static constexpr int kMargin = 2;
    ColumnGrid(int width, int height)
        : strip_(static_cast<std::size_t>(height) + 2 * kMargin),
          words_((static_cast<std::size_t>(width + 63) / 64 + 2) * strip_) {}

    std::size_t Words() const { return words_; }
    /// From a word to the one east of it; the one south of it is the next.
    std::size_t ColumnStride() const { return strip_; }
    std::size_t WordAt(int x, int y) const {
        return static_cast<std::size_t>((x >> 6) + 1) * strip_ + static_cast<std::size_t>(y + kMargin);
    }
    static Word Bit(int x) { return Word{1} << (x & 63); }
    /// Where the leftmost pixel of a word is.
    int FirstColumnOf(std::size_t word) const { return (static_cast<int>(word / strip_) - 1) * 64; }
    int RowOf(std::size_t word) const { return static_cast<int>(word % strip_) - kMargin; }

private:
    std::size_t strip_;
    std::size_t words_;
};

/// Pixels of a word of a ColumnGrid.
struct WordPixels {
    std::size_t word = 0;
    ColumnGrid::Word pixels = 0;
};

}  // namespace level_sweep
