#pragma once

#include <cstddef>

namespace qvox::gaussian {

/// Rows that are finished together.
constexpr std::ptrdiff_t kChunkRows = 16;
/// Columns that are summed together with the widest vectors. Scratch rows are filled up to a multiple of it.
constexpr std::ptrdiff_t kBlockColumns = 64;

/// What smoothing a tile of one plane needs: parameters and scratch memory. It holds no standard library
/// type, because the code that reads it is compiled for several instruction sets.
struct TilePlan {
    std::ptrdiff_t imageWidth = 0;
    std::ptrdiff_t height = 0;
    std::ptrdiff_t first = 0;  // column of the image
    std::ptrdiff_t columns = 0;
    std::ptrdiff_t firstRow = 0;
    std::ptrdiff_t endRow = 0;
    std::ptrdiff_t radius = 0;
    /// Weights at distance 0 .. radius.
    const float* weights = nullptr;

    /// Columns, whole blocks, whose sums along columns are made together.
    std::ptrdiff_t groupColumns = 0;
    /// The rows that a chunk of the result is made of, or all there are.
    std::ptrdiff_t ringRows = 0;
    std::ptrdiff_t ringStride = 0;
    float* ring = nullptr;               // ringRows rows: smoothed along themselves
    float* line = nullptr;               // points behind `radius` floats; `columns`, filled up, and `radius` more follow
    const float** smoothedRows = nullptr;  // kChunkRows + 2 radius
};

using TileFunction = void (*)(const TilePlan& plan, const float* input, float* output);

/// Smooths the tile of the plane `input` into the plane `output`.
void SmoothTileBaseline(const TilePlan& plan, const float* input, float* output);
void SmoothTileAvx2(const TilePlan& plan, const float* input, float* output);
void SmoothTileAvx512(const TilePlan& plan, const float* input, float* output);

}  // namespace qvox::gaussian
