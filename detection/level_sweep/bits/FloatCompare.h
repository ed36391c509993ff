#pragma once

#include <emmintrin.h>

#include "bits/BitGrid.h"

namespace level_sweep {

/// A bit for each of 64 values, or of fewer: whether compare(value) holds, for four at once or for one.
template <typename CompareFour, typename CompareOne>
BitGrid::Word WordOfValues(const float* values, int count, CompareFour compareFour, CompareOne compareOne) {
    BitGrid::Word bits = 0;
    int i = 0;
    for (; i + 16 <= count; i += 16) {
        const auto four = [&](int k) { return _mm_castps_si128(compareFour(_mm_loadu_ps(values + i + 4 * k))); };
        const __m128i eight = _mm_packs_epi32(four(0), four(1));
        const __m128i nextEight = _mm_packs_epi32(four(2), four(3));
        const int sixteen = _mm_movemask_epi8(_mm_packs_epi16(eight, nextEight));
        bits |= static_cast<BitGrid::Word>(static_cast<unsigned>(sixteen)) << i;
    }
    for (; i < count; ++i) {
        bits |= static_cast<BitGrid::Word>(compareOne(values[i])) << i;
    }
    return bits;
}

/// The values, at most 64, that do not exceed a limit, a bit each. One that is not a number exceeds any.
inline BitGrid::Word AtMost(const float* values, int count, float limit) {
    const __m128 limits = _mm_set1_ps(limit);
    return WordOfValues(
        values, count, [&](__m128 four) { return _mm_cmple_ps(four, limits); },
        [&](float value) { return value <= limit; });
}

/// The values, at most 64, that are not below a limit, a bit each. One that is not a number is below any.
inline BitGrid::Word AtLeast(const float* values, int count, float limit) {
    const __m128 limits = _mm_set1_ps(limit);
    return WordOfValues(
        values, count, [&](__m128 four) { return _mm_cmpge_ps(four, limits); },
        [&](float value) { return value >= limit; });
}

}  // namespace level_sweep
