#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace korvane_reference {

// Neighbours clockwise from north: bit 0 north, 1 north-east, ... 7 north-west.
constexpr std::array<std::uint8_t, 256> MakeRemovalTable() {
    std::array<std::uint8_t, 256> table{};
    for (int code = 0; code < 256; ++code) {
        const int p2 = code & 1, p3 = (code >> 1) & 1, p4 = (code >> 2) & 1, p5 = (code >> 3) & 1;
        const int p6 = (code >> 4) & 1, p7 = (code >> 5) & 1, p8 = (code >> 6) & 1, p9 = (code >> 7) & 1;
        const int crossings =
            ((1 - p2) & (p3 | p4)) + ((1 - p4) & (p5 | p6)) + ((1 - p6) & (p7 | p8)) + ((1 - p8) & (p9 | p2));
        const int n1 = (p9 | p2) + (p3 | p4) + (p5 | p6) + (p7 | p8);
        const int n2 = (p2 | p3) + (p4 | p5) + (p6 | p7) + (p8 | p9);
        const int n = n1 < n2 ? n1 : n2;
        const int kept0 = (p6 | p7 | (1 - p9)) & p8;
        const int kept1 = (p2 | p3 | (1 - p5)) & p4;
        if (crossings == 1 && n >= 2 && n <= 3) {
            table[static_cast<std::size_t>(code)] =
                static_cast<std::uint8_t>((kept0 == 0 ? 1 : 0) | (kept1 == 0 ? 2 : 0));
        }
    }
    return table;
}

/// What a pixel's neighbours make of it: bit 0 set where a first, bit 1 where a second subiteration removes it.
inline constexpr std::array<std::uint8_t, 256> kThinningRemoval = MakeRemovalTable();

}  // namespace korvane_reference
