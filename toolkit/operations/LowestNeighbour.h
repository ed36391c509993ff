#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "operations/WatershedLevels.h"

namespace qvox {

/// The 3 x 3 voxels around one, numbered in raster order. The voxel itself is kHere.
constexpr std::uint8_t kHere = 4;

/// What a voxel points to that has no lower neighbour but one of its own level.
enum class AmongEquals {
    kFirst,  ///< the first in raster order, itself included
    kItself  ///< itself
};

/// Where the lowest of the 3 x 3 voxels around each voxel of a row is, row after row. Of several that are equally low
/// the first in raster order counts.
class LowestNeighbour {
public:
    /// Rows have `width` levels, one valid level before them and kReadBehind behind.
    static constexpr std::size_t kReadBehind = 4;
    /// At most so many directions are written behind those of a row.
    static constexpr std::size_t kWrittenBehind = 16;
    explicit LowestNeighbour(std::size_t width);

    /// Begins at the row below `row`, which may be kBeyond everywhere.
    void Start(const Cell* above, const Cell* row);
    /// The directions of the row that the last call gave as `below`, or Start as `row`.
    void Next(const Cell* row, const Cell* below, AmongEquals equals, std::uint8_t* directions);

private:
    /// The lowest of three adjacent levels of a row, and which it is: 0, 1 or 2.
    struct Row {
        std::vector<Cell> lowest;
        std::vector<std::int32_t> columns;
    };
    void Fill(const Cell* row, Row& result) const;

    std::size_t width_;
    Row above_;
    Row here_;
    Row below_;
};

}  // namespace qvox
