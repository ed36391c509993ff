#include "Assignment.h"

#include <limits>

#include "Assert.h"

namespace Korvane {

namespace {

constexpr std::int64_t kFar = std::numeric_limits<std::int64_t>::max() / 2;

PairWeights Transposed(const PairWeights& pairs) {
    PairWeights result{pairs.columns, pairs.rows, std::vector<std::int64_t>(pairs.weights.size())};
    for (std::size_t row = 0; row < pairs.rows; ++row) {
        for (std::size_t column = 0; column < pairs.columns; ++column) {
            result.weights[column * pairs.rows + row] = pairs.At(row, column);
        }
    }
    return result;
}

/// Gives one row after the other its column; each time along the shortest path of changes. Rows and columns count from
/// 1; column 0 stands for the row that is being placed. There are no more rows than columns.
class Assigner {
public:
    explicit Assigner(const PairWeights& pairs)
        : pairs_(pairs), rowPotential_(pairs.rows + 1), columnPotential_(pairs.columns + 1),
          rowOf_(pairs.columns + 1), before_(pairs.columns + 1) {}

    std::vector<std::optional<std::size_t>> Assign() {
        for (std::size_t row = 1; row <= pairs_.rows; ++row) Place(row);
        std::vector<std::optional<std::size_t>> columns(pairs_.rows);
        for (std::size_t column = 1; column <= pairs_.columns; ++column) {
            const std::size_t row = rowOf_[column];
            if (row != 0 && pairs_.At(row - 1, column - 1) > 0) columns[row - 1] = column - 1;
        }
        return columns;
    }

private:
    void Place(std::size_t row) {
        std::vector<std::int64_t> distance(pairs_.columns + 1, kFar);
        std::vector<bool> reached(pairs_.columns + 1, false);
        rowOf_[0] = row;
        std::size_t column = 0;
        do {
            reached[column] = true;
            column = Nearest(column, distance, reached);
        } while (rowOf_[column] != 0);
        for (; column != 0; column = before_[column]) rowOf_[column] = rowOf_[before_[column]];
    }

    /// Takes the paths on from a column that was reached, and returns the nearest of the others.
    std::size_t Nearest(std::size_t from, std::vector<std::int64_t>& distance, const std::vector<bool>& reached) {
        const std::size_t row = rowOf_[from];
        std::int64_t least = kFar;
        std::size_t nearest = 0;
        for (std::size_t column = 1; column <= pairs_.columns; ++column) {
            if (reached[column]) continue;
            const std::int64_t cost =
                -pairs_.At(row - 1, column - 1) - rowPotential_[row] - columnPotential_[column];
            if (cost < distance[column]) {
                distance[column] = cost;
                before_[column] = from;
            }
            if (distance[column] < least) {
                least = distance[column];
                nearest = column;
            }
        }
        for (std::size_t column = 0; column <= pairs_.columns; ++column) {
            if (reached[column]) {
                rowPotential_[rowOf_[column]] += least;
                columnPotential_[column] -= least;
            } else {
                distance[column] -= least;
            }
        }
        return nearest;
    }

    const PairWeights& pairs_;
    std::vector<std::int64_t> rowPotential_;
    std::vector<std::int64_t> columnPotential_;
    std::vector<std::size_t> rowOf_;   ///< of each column; 0: free
    std::vector<std::size_t> before_;  ///< the column before it on the path
};

}  // namespace

std::vector<std::optional<std::size_t>> BestAssignment(const PairWeights& pairs) {
    KORVANE_ASSERT(pairs.weights.size() == pairs.rows * pairs.columns);
    if (pairs.rows <= pairs.columns) return Assigner(pairs).Assign();
    const PairWeights turned = Transposed(pairs);
    const std::vector<std::optional<std::size_t>> rowOfColumn = Assigner(turned).Assign();
    std::vector<std::optional<std::size_t>> columns(pairs.rows);
    for (std::size_t column = 0; column < rowOfColumn.size(); ++column) {
        if (rowOfColumn[column]) columns[*rowOfColumn[column]] = column;
    }
    return columns;
}

}  // namespace Korvane
