#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "LargePages.h"
#include "VoxelImage.h"
#include "operations/BasinPasses.h"
#include "operations/LowerNeighbours.h"
#include "operations/PartRunner.h"
#include "operations/WatershedLevels.h"

namespace qvox {

/// The basins of a relief. From each voxel one steps to the lowest of those around it, the first in raster order among
/// equals, until there is no step any more: voxels that lead to the same place are a basin. The image is divided into
/// strips of rows, which a step does not leave. So a basin lies in one strip, and from each of its voxels a way leads
/// down, or on one level, to its lowest voxel.
///
/// Voxels are numbered row by row. Rows have a margin on both sides, and there is one row above and one below; there
/// the level is kBeyond.
class ReliefBasins {
public:
    /// Whether the numbers of voxels of such an image have room in 32 bits.
    static bool HasRoom(std::uint64_t width, std::uint64_t height);

    /// `relief`: not empty, one plane. Strips are the parts that `run` is given.
    ReliefBasins(const VoxelImage<float>& relief, const PartRunner& run);

    std::size_t Width() const { return width_; }
    std::size_t Height() const { return height_; }
    std::size_t Stride() const { return stride_; }
    std::size_t At(std::size_t x, std::size_t y) const { return (y + 1) * stride_ + x + 1; }

    /// The first basin of each strip, and one behind the last of all.
    const std::vector<std::uint32_t>& FirstBasins() const { return firstBasins_; }
    std::size_t Count() const { return firstBasins_.back(); }

    /// The levels of voxels. The margin reaches LowestNeighbour::kReadBehind beyond a row.
    const Cell* Levels() const { return levels_.get(); }
    /// The basins of voxels, counted from 0 in each strip; of the margin they are undefined.
    const std::uint32_t* BasinsInStrips() const { return basins_.get(); }
    std::uint32_t BasinAt(std::size_t voxel) const {
        return firstBasins_[stripOfRow_[voxel / stride_ - 1]] + basins_[voxel];
    }

    /// Passes that join any two basins at the lowest level at which they can be joined. Once; not in order.
    ///
    /// Only voxels whose lower neighbours fall into several groups make a pass (equal levels count as lower where they
    /// come earlier in raster order): neighbours of one group are joined among themselves by lower voxels. And the
    /// lowest voxel of a basin does, towards a lower one in another strip.
    std::vector<BasinPass> TakePasses() { return std::move(passes_); }

    /// Raises each voxel to the level of its basin where that is higher.
    void Raise(const std::vector<Cell>& levelsOfBasins, const PartRunner& run);

private:
    void FillMargins();
    void FillLevels(const VoxelImage<float>& relief, const PartRange& rows);
    std::uint32_t NameBasins(const PartRange& rows);
    void AddPasses(std::uint64_t y, const PartRange& strip, const std::array<std::uint32_t, 3>& firstBasins,
                   std::vector<BasinPass>& passes) const;
    std::vector<BasinPass> PassesInside(const PartRange& strip) const;
    std::vector<BasinPass> PassesAtEdges(const PartRange& strip) const;

    std::size_t width_;
    std::size_t height_;
    std::size_t stride_;
    LargePageArray<Cell> levels_;
    LargePageArray<std::uint32_t> basins_;
    std::vector<std::uint32_t> firstBasins_;
    std::vector<std::uint8_t> stripOfRow_;  // there are 32 at most
    std::vector<BasinPass> passes_;
    NeighbourGroups groups_;
};

}  // namespace qvox
