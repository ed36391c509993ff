#include "operations/LowerNeighbours.h"

#include <emmintrin.h>

#include <cstdlib>

namespace qvox {

namespace {

bool AreNeighbours(std::size_t i, std::size_t j) {
    const Neighbourhood8::Offset& a = Neighbourhood8::kOffsets[i];
    const Neighbourhood8::Offset& b = Neighbourhood8::kOffsets[j];
    return std::abs(a.dx - b.dx) <= 1 && std::abs(a.dy - b.dy) <= 1;
}

/// `group` and all of `neighbours` that are connected with it.
unsigned Connected(unsigned group, unsigned neighbours) {
    for (unsigned before = 0; before != group;) {
        before = group;
        for (std::size_t i = 0; i < 8; ++i) {
            for (std::size_t j = 0; j < 8; ++j) {
                if ((before >> i & 1u) != 0 && AreNeighbours(i, j)) group |= neighbours & 1u << j;
            }
        }
    }
    return group;
}

__m128i Load(const Cell* levels) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(levels)); }

/// The sets of four voxels.
__m128i LowerAround(const Cell* row, std::ptrdiff_t stride) {
    const __m128i here = Load(row);
    __m128i lower = _mm_setzero_si128();
    for (int i = 0; i < 8; ++i) {
        const Neighbourhood8::Offset& offset = Neighbourhood8::kOffsets[static_cast<std::size_t>(i)];
        const __m128i other = Load(row + offset.dy * stride + offset.dx);
        const __m128i bit = _mm_set1_epi32(1 << i);
        // The first four are earlier in raster order.
        lower = _mm_or_si128(lower, i < 4 ? _mm_andnot_si128(_mm_cmpgt_epi32(other, here), bit)
                                          : _mm_and_si128(_mm_cmpgt_epi32(here, other), bit));
    }
    return lower;
}

}  // namespace

NeighbourGroups::NeighbourGroups() {
    for (unsigned neighbours = 0; neighbours < firsts_.size(); ++neighbours) {
        unsigned firsts = 0;
        for (unsigned left = neighbours; left != 0;) {
            const unsigned first = left & (~left + 1);
            firsts |= first;
            left &= ~Connected(first, neighbours);
        }
        firsts_[neighbours] = static_cast<NeighbourSet>(firsts);
    }
}

void FindLowerNeighbours(const Cell* row, std::size_t width, std::size_t stride, NeighbourSet* neighbours) {
    const auto s = static_cast<std::ptrdiff_t>(stride);
    for (std::size_t x = 0; x < width; x += 16) {
        __m128i four[4];
        for (std::size_t i = 0; i < 4; ++i) {
            four[i] = x + 4 * i < width ? LowerAround(row + x + 4 * i, s) : _mm_setzero_si128();
        }
        // Sums of bits up to 255 keep their values as they are packed.
        const __m128i sets = _mm_packus_epi16(_mm_packs_epi32(four[0], four[1]), _mm_packs_epi32(four[2], four[3]));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(neighbours + x), sets);
    }
}

}  // namespace qvox
