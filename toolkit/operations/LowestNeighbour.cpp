#include "operations/LowestNeighbour.h"

#include <emmintrin.h>

#include <utility>

namespace qvox {

namespace {

constexpr std::size_t kAtOnce = 16;

std::size_t RoundedUp(std::size_t width) { return (width + kAtOnce - 1) / kAtOnce * kAtOnce; }

__m128i Load(const void* values) { return _mm_loadu_si128(static_cast<const __m128i*>(values)); }
void Store(void* values, __m128i stored) { _mm_storeu_si128(static_cast<__m128i*>(values), stored); }

__m128i Choose(__m128i mask, __m128i yes, __m128i no) {
    return _mm_or_si128(_mm_and_si128(mask, yes), _mm_andnot_si128(mask, no));
}

/// The directions of four voxels from the lowest of three rows.
__m128i Directions(const Cell* row, const Cell* const* lowest, const std::int32_t* const* columns, AmongEquals equals) {
    __m128i least = Load(lowest[0]);
    __m128i direction = Load(columns[0]);
    for (int i = 1; i < 3; ++i) {
        const __m128i other = Load(lowest[i]);
        const __m128i isLower = _mm_cmpgt_epi32(least, other);
        least = Choose(isLower, other, least);
        direction = Choose(isLower, _mm_add_epi32(Load(columns[i]), _mm_set1_epi32(3 * i)), direction);
    }
    if (equals == AmongEquals::kFirst) return direction;
    return Choose(_mm_cmpgt_epi32(Load(row), least), direction, _mm_set1_epi32(kHere));
}

}  // namespace

LowestNeighbour::LowestNeighbour(std::size_t width) : width_(width) {
    for (Row* row : {&above_, &here_, &below_}) {
        row->lowest.assign(RoundedUp(width), kBeyond);
        row->columns.assign(RoundedUp(width), 0);
    }
}

void LowestNeighbour::Fill(const Cell* row, Row& result) const {
    for (std::size_t x = 0; x < width_; x += 4) {
        __m128i least = Load(row + x - 1);
        __m128i column = _mm_setzero_si128();
        for (int i = 1; i < 3; ++i) {
            const __m128i other = Load(row + x - 1 + i);
            const __m128i isLower = _mm_cmpgt_epi32(least, other);
            least = Choose(isLower, other, least);
            column = Choose(isLower, _mm_set1_epi32(i), column);
        }
        Store(&result.lowest[x], least);
        Store(&result.columns[x], column);
    }
}

void LowestNeighbour::Start(const Cell* above, const Cell* row) {
    Fill(above, here_);
    Fill(row, below_);
}

void LowestNeighbour::Next(const Cell* row, const Cell* below, AmongEquals equals, std::uint8_t* directions) {
    std::swap(above_, here_);
    std::swap(here_, below_);
    Fill(below, below_);
    for (std::size_t x = 0; x < width_; x += kAtOnce) {
        __m128i four[4];
        for (std::size_t i = 0; i < 4; ++i) {
            const std::size_t at = x + 4 * i;
            const Cell* const lowest[]{&above_.lowest[at], &here_.lowest[at], &below_.lowest[at]};
            const std::int32_t* const columns[]{&above_.columns[at], &here_.columns[at], &below_.columns[at]};
            four[i] = at < width_ ? Directions(row + at, lowest, columns, equals) : _mm_setzero_si128();
        }
        Store(directions + x, _mm_packs_epi16(_mm_packs_epi32(four[0], four[1]), _mm_packs_epi32(four[2], four[3])));
    }
}

}  // namespace qvox
