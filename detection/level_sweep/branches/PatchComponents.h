#pragma once

#include <array>
#include <cstddef>

#include "bits/Word.h"

namespace level_sweep {

struct Offset {
    int dx;
    int dy;
};

/// The pixels of a 3 x 3 patch from its centre: rows top to bottom, columns left to right.
inline constexpr std::array<Offset, 9> kPatch{
    {{-1, -1}, {0, -1}, {1, -1}, {-1, 0}, {0, 0}, {1, 0}, {-1, 1}, {0, 1}, {1, 1}}};
inline constexpr unsigned kPatchCentre = 1u << 4;

/// Number of 8-connected components among the pixels of a 3 x 3 patch, but for its centre. Bit i of the code stands for
/// pixel i.
constexpr int PatchComponents(unsigned code) {
    unsigned unseen = code & ~kPatchCentre;
    int components = 0;
    while (unseen != 0) {
        unsigned component = unseen & -unseen;
        for (unsigned before = 0; before != component;) {
            before = component;
            for (int i = 0; i < 9; ++i) {
                for (int k = 0; k < 9; ++k) {
                    const int dx = i % 3 - k % 3;
                    const int dy = i / 3 - k / 3;
                    const bool areAdjacent = dx * dx <= 1 && dy * dy <= 1;
                    if (areAdjacent && (component >> i & 1u) != 0 && (unseen >> k & 1u) != 0) {
                        component |= 1u << k;
                    }
                }
            }
        }
        unseen &= ~component;
        ++components;
    }
    return components;
}

constexpr std::array<bool, 512> MakeIsOneComponent() {
    std::array<bool, 512> table{};
    for (unsigned code = 0; code < 512; ++code) {
        table[code] = PatchComponents(code) == 1;
    }
    return table;
}

/// By code, whether the patch has exactly one component.
inline constexpr std::array<bool, 512> kIsOneComponent = MakeIsOneComponent();

}  // namespace level_sweep
