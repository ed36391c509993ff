#include "skeleton/BlockNeighbourhood.h"

#include <algorithm>
#include <array>

namespace level_sweep {

void BlockNeighbourhood::Find(const BlockSurroundings& pixels) {
    constexpr std::size_t reach = 3;
    constexpr std::size_t rows = BlockSurroundings::kRows;
    std::array<Word, rows + 2 * reach> dilated{};  // along each row; three more rows above and below
    std::array<Word, rows> atWest, atEast;
    for (std::size_t i = 0; i < rows; ++i) {
        const Word west = pixels.west[i] & kLastColumns;
        const Word centre = pixels.centre[i];
        const Word east = pixels.east[i] & kFirstColumns;
        Word& row = dilated[i + reach];
        row = centre;
        for (std::size_t k = 1; k <= reach; ++k) {
            row |= centre << k | centre >> k | west >> (64 - k) | east << (64 - k);
        }
        atWest[i] = west | (centre & 7u);
        atEast[i] = east | centre >> 61;
    }
    std::array<Word, rows> near{};
    for (std::size_t k = 0; k <= 2 * reach; ++k) {
        for (std::size_t i = 0; i < rows; ++i) {
            near[i] |= dilated[i + k];
        }
    }
    std::copy_n(near.begin() + BlockSurroundings::kReach, here_.rows.size(), here_.rows.begin());
    north_ = near[0] | near[1];
    south_ = near[rows - 2] | near[rows - 1];
    const auto any = [](const std::array<Word, rows>& at, std::size_t first, std::size_t end) {
        Word all = 0;
        for (std::size_t i = first; i < end; ++i) {
            all |= at[i];
        }
        return all;
    };
    constexpr std::size_t top = BlockSurroundings::kReach + reach;  // rows near to those above the block
    sides_ = SideIf(north_, kNorth) | SideIf(south_, kSouth) | SideIf(any(atWest, 0, rows), kWest) |
             SideIf(any(atEast, 0, rows), kEast) | SideIf(any(atWest, 0, top), kNorthWest) |
             SideIf(any(atEast, 0, top), kNorthEast) | SideIf(any(atWest, rows - top, rows), kSouthWest) |
             SideIf(any(atEast, rows - top, rows), kSouthEast);
}

}  // namespace level_sweep
