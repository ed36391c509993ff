#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace Korvane {

/// Weights of pairs of a row and a column, row by row; 0 means that the two cannot be paired.
struct PairWeights {
    std::size_t rows = 0;
    std::size_t columns = 0;
    std::vector<std::int64_t> weights;  ///< rows * columns, not negative; their sum along any row fits 62 bits

    std::int64_t At(std::size_t row, std::size_t column) const { return weights[row * columns + column]; }
};

/// The column of each row in a one-to-one assignment of the largest total weight. Exact: weights are whole numbers.
/// Of several such assignments the one that the rows' order leads to, always the same. Cost: rows² * columns, or with
/// the two exchanged when there are fewer columns.
/// Source: shortest augmenting paths with potentials (Kuhn 1955; Munkres 1957; Jonker, Volgenant 1987).
std::vector<std::optional<std::size_t>> BestAssignment(const PairWeights& pairs);

}  // namespace Korvane
