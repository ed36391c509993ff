#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "bits/Word.h"

namespace level_sweep {

struct Step {
    int dx;
    int dy;
};

// Rows top to bottom, columns left to right.
inline constexpr std::array<Step, 8> kAround{{{-1, -1}, {0, -1}, {1, -1}, {-1, 0}, {1, 0}, {-1, 1}, {0, 1}, {1, 1}}};

// Number of 8-connected groups among the eight pixels around a centre that does not count; bit i stands for
// kAround[i].
constexpr std::array<std::uint8_t, 256> MakeNeighbourGroups() {
    std::array<std::uint8_t, 256> table{};
    for (int code = 0; code < 256; ++code) {
        int left = code;
        int groups = 0;
        while (left != 0) {
            int group = left & -left;
            for (int before = 0; before != group;) {
                before = group;
                for (int i = 0; i < 8; ++i) {
                    for (int k = 0; k < 8; ++k) {
                        const Step a = kAround[static_cast<std::size_t>(i)];
                        const Step b = kAround[static_cast<std::size_t>(k)];
                        const int dx = a.dx - b.dx;
                        const int dy = a.dy - b.dy;
                        if ((group >> i & 1) != 0 && (left >> k & 1) != 0 && dx * dx <= 1 && dy * dy <= 1) {
                            group |= 1 << k;
                        }
                    }
                }
            }
            left &= ~group;
            ++groups;
        }
        table[static_cast<std::size_t>(code)] = static_cast<std::uint8_t>(groups);
    }
    return table;
}

inline constexpr std::array<std::uint8_t, 256> kNeighbourGroups = MakeNeighbourGroups();

}  // namespace level_sweep
