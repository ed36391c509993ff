#pragma once

#include <array>
#include <cstddef>

#include "BitGrid.h"

namespace Korvane {

/// Words of eight rows one below the other: 512 pixels, a cache line.
constexpr int kStripRows = 8;
struct Strip {
    using Word = BitGrid::Word;
    std::array<Word, std::size_t{kStripRows}> rows;

    Word& operator[](std::size_t i) { return rows[i]; }
    Word operator[](std::size_t i) const { return rows[i]; }
    Word Top() const { return rows.front(); }
    Word Bottom() const { return rows.back(); }
    bool operator==(const Strip& other) const { return AnyOf(*this ^ other) == 0; }

    friend Strip operator^(const Strip& a, const Strip& b) {
        Strip difference;
        for (std::size_t i = 0; i < difference.rows.size(); ++i) {
            difference.rows[i] = a.rows[i] ^ b.rows[i];
        }
        return difference;
    }
    /// The pixels of all rows in one.
    friend Word AnyOf(const Strip& strip) {
        Word any = 0;
        for (const Word row : strip.rows) {
            any |= row;
        }
        return any;
    }
};

/// A strip, in the middle of `centre`, with what lies around it: two rows above and two below, and the words to both
/// sides of all these.
struct StripNeighbourhood {
    static constexpr std::size_t kReach = 2;
    static constexpr std::size_t kRows = std::size_t{kStripRows} + 2 * kReach;
    /// So many more rows there are behind these, for ThinningStep.
    static constexpr std::size_t kMoreRows = kRows + 2;
    using Rows = std::array<BitGrid::Word, kRows + kMoreRows>;
    Rows west, centre, east;
};

}  // namespace Korvane
