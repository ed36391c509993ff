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

/// A strip, rows 1 to 8 of `centre`, with what lies around it: the row above and the one below, and the words to both
/// sides of these ten.
struct StripNeighbourhood {
    using Rows = std::array<BitGrid::Word, std::size_t{kStripRows} + 2>;
    Rows west, centre, east;
};

}  // namespace Korvane
