#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include "bits/BitGrid.h"

namespace level_sweep {

/// A block of 64 x 8 pixels, a word per row: 512 pixels, a cache line.
constexpr int kBlockRows = 8;
struct PixelBlock {
    using Word = BitGrid::Word;
    std::array<Word, std::size_t{kBlockRows}> rows;

    Word& operator[](std::size_t i) { return rows[i]; }
    Word operator[](std::size_t i) const { return rows[i]; }
    Word Top() const { return rows.front(); }
    Word Bottom() const { return rows.back(); }
    bool operator==(const PixelBlock& other) const { return AnyOf(*this ^ other) == 0; }

    friend PixelBlock operator^(const PixelBlock& a, const PixelBlock& b) {
        PixelBlock difference;
        for (std::size_t i = 0; i < difference.rows.size(); ++i) {
            difference.rows[i] = a.rows[i] ^ b.rows[i];
        }
        return difference;
    }
    /// The union of all rows.
    friend Word AnyOf(const PixelBlock& block) {
        Word any = 0;
        for (const Word row : block.rows) {
            any |= row;
        }
        return any;
    }
};

/// A block, in the middle of `centre`, with its surroundings: two rows above, two below, and the words west and east of
/// all these rows.
struct BlockSurroundings {
    static constexpr std::size_t kReach = 2;
    static constexpr std::size_t kRows = std::size_t{kBlockRows} + 2 * kReach;
    /// Rows behind these, scratch memory of ThinningIteration.
    static constexpr std::size_t kMoreRows = kRows + 2;
    using Rows = std::array<BitGrid::Word, kRows + kMoreRows>;
    Rows west, centre, east;

    /// Fills the first kRows rows. blockAt(rows, columns): the block that many blocks further south and east.
    template <typename BlockAt>
    void Gather(BlockAt blockAt) {
        const auto fill = [&](std::ptrdiff_t column, Rows& rows) {
            const PixelBlock& north = blockAt(-1, column);
            const PixelBlock& middle = blockAt(0, column);
            const PixelBlock& south = blockAt(1, column);
            std::copy(north.rows.end() - kReach, north.rows.end(), rows.begin());
            std::copy(middle.rows.begin(), middle.rows.end(), rows.begin() + kReach);
            std::copy(south.rows.begin(), south.rows.begin() + kReach, rows.begin() + kReach + kBlockRows);
        };
        fill(-1, west);
        fill(0, centre);
        fill(1, east);
    }
};

}  // namespace level_sweep
