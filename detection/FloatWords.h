#pragma once

#include <emmintrin.h>

#include "BitGrid.h"

namespace Korvane {

/// The values, at most 64, that do not exceed a limit, a bit each. One that is not a number exceeds any.
inline BitGrid::Word AtMost(const float* values, int count, float limit) {
    BitGrid::Word bits = 0;
    int i = 0;
    for (const __m128 limits = _mm_set1_ps(limit); i + 4 <= count; i += 4) {
        const int four = _mm_movemask_ps(_mm_cmple_ps(_mm_loadu_ps(values + i), limits));
        bits |= static_cast<BitGrid::Word>(static_cast<unsigned>(four)) << i;
    }
    for (; i < count; ++i) {
        bits |= static_cast<BitGrid::Word>(values[i] <= limit) << i;
    }
    return bits;
}

/// The values, at most 64, that are not below a limit, a bit each. One that is not a number is below any.
inline BitGrid::Word AtLeast(const float* values, int count, float limit) {
    BitGrid::Word bits = 0;
    int i = 0;
    for (const __m128 limits = _mm_set1_ps(limit); i + 4 <= count; i += 4) {
        const int four = _mm_movemask_ps(_mm_cmpge_ps(_mm_loadu_ps(values + i), limits));
        bits |= static_cast<BitGrid::Word>(static_cast<unsigned>(four)) << i;
    }
    for (; i < count; ++i) {
        bits |= static_cast<BitGrid::Word>(values[i] >= limit) << i;
    }
    return bits;
}

}  // namespace Korvane
