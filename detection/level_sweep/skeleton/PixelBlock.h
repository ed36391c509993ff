#pragma once

#include <array>
#include <cstddef>

#include "bits/BitGrid.h"

namespace level_sweep {

/// Words of eight rows one below the other: 512 pixels, a cache line.
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
    /// The pixels of all rows in one.
    friend Word AnyOf(const PixelBlock& strip) {
        Word any = 0;
        for (const Word row : strip.rows) {
            any |= row;
        }
        return any;
    }
};

/// A strip, in the middle of `centre`, with what lies around it: two rows above and two below, and the words to both
/// sides of all these.
struct BlockSurroundings {
    static constexpr std::size_t kReach = 2;
    static constexpr std::size_t kRows = std::size_t{kBlockRows} + 2 * kReach;
    /// So many more rows there are behind these, for ThinningIteration.
    static constexpr std::size_t kMoreRows = kRows + 2;
    using Rows = std::array<BitGrid::Word, kRows + kMoreRows>;
    Rows west, centre, east;
};

}  // namespace level_sweep
