#pragma once

#include <cstdint>
#include <cstring>
#include <limits>

namespace qvox {

/// A level of a watershed's relief as a whole number.
using Cell = std::int32_t;

/// The level of what lies beyond the image: above all others, which end at infinity's.
constexpr Cell kBeyond = std::numeric_limits<Cell>::max();

/// The relief's bits as a number of the same order. NaN counts as +infinity, -0.0 as 0.0.
inline Cell LevelOf(float relief) {
    constexpr Cell kInfinity = 0x7F800000;
    Cell bits = 0;
    std::memcpy(&bits, &relief, sizeof bits);
    if ((bits & 0x7FFFFFFF) > kInfinity) return kInfinity;  // NaN floods last, with infinity
    return bits >= 0 ? bits : -(bits & 0x7FFFFFFF);         // -0.0 is no lower than 0.0
}

}  // namespace qvox
