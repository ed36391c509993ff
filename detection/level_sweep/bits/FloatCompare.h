#pragma once

#include <emmintrin.h>

#include "bits/Word.h"

namespace level_sweep {

/// A bit for each of at most 64 values: whether the comparison holds, which is given for four values and for one.
template <typename CompareFour, typename CompareOne>
Word WordOfValues(const float* values, int count, CompareFour compareFour, CompareOne compareOne) {
    Word bits = 0;
    int i = 0;
    for (; i + 16 <= count; i += 16) {
        const auto four = [&](int k) { return _mm_castps_si128(compareFour(_mm_loadu_ps(values + i + 4 * k))); };
        const __m128i eight = _mm_packs_epi32(four(0), four(1));
        const __m128i nextEight = _mm_packs_epi32(four(2), four(3));
        const int sixteen = _mm_movemask_epi8(_mm_packs_epi16(eight, nextEight));
        bits |= static_cast<Word>(static_cast<unsigned>(sixteen)) << i;
    }
    for (; i < count; ++i) {
        bits |= static_cast<Word>(compareOne(values[i])) << i;
    }
    return bits;
}

/// A bit for each of at most 64 values that does not exceed a limit. A value that is not a number exceeds any.
inline Word AtMost(const float* values, int count, float limit) {
    const __m128 limits = _mm_set1_ps(limit);
    return WordOfValues(
        values, count, [&](__m128 four) { return _mm_cmple_ps(four, limits); },
        [&](float value) { return value <= limit; });
}

/// A bit for each of at most 64 values that is not below a limit. A value that is not a number is below any.
inline Word AtLeast(const float* values, int count, float limit) {
    const __m128 limits = _mm_set1_ps(limit);
    return WordOfValues(
        values, count, [&](__m128 four) { return _mm_cmpge_ps(four, limits); },
        [&](float value) { return value >= limit; });
}

}  // namespace level_sweep
