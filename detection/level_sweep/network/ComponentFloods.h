#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bits/BitPlane.h"
#include "network/ComponentRing.h"
#include "network/FloodClusters.h"
#include "network/FloodMarks.h"
#include "network/FloodSpread.h"
#include "network/PieceTiles.h"

namespace level_sweep {

/// The floods that start from the ring of one component: the background pixels that share a side with one of its own.
///
/// The rule. The pixels of the ring are taken in raster order. One that an earlier flood of the same component has
/// reached is skipped. From any other a flood starts, which does two things:
/// - In a private copy of the map it fills the region of the pixel with 0, then all that is 8-connected to the pixel
///   and 0 with a code for flooded. So a patch is flooded alone, a region with all patches adjacent to it; it goes no
///   further.
/// - In the map itself it fills in the same way, the second time with kTouched. There patches that an earlier flood
///   relabelled are kTouched already and belong to the region. They connect the regions around them to one cluster:
///   whenever a flood encounters a region of a cluster, all patches adjacent to any region of the cluster are
///   relabelled to kTouched, flooded or not.
///
///     region A ## patch . region B        A component that touches A floods A and the patch; B stays unflooded.
///     ###### .... ####### ::: patch C     If it touches B as well, A and B are one cluster, and C is relabelled.
///
/// Floods go from piece to piece of the tiles in which both kinds are kept. All patches that one flood relabels are of
/// one cluster, so a cluster is a set of floods.
///
/// Invariants:
/// 1. Between Settle and Run nothing is flooded.
/// 2. Between Run and Settle every encountered patch is noted as relabelled by exactly one flood, and still a patch in
///    the tiles.
class ComponentFloods {
public:
    using Word = BitGrid::Word;

    /// `tiles` has to outlive it; its pixels must not change between Run and Settle.
    ComponentFloods(PieceTiles& tiles, const BitGrid& grid, int height)
        : tiles_(tiles), ring_(grid, height), marks_(tiles.Grid()), spread_(tiles_, marks_) {}
    ComponentFloods(const ComponentFloods&) = delete;
    ComponentFloods& operator=(const ComponentFloods&) = delete;

    /// Floods from the ring of a component: 4-connected, in raster order.
    /// Cost: proportional to the pieces flooded, traversed or relabelled, and to the tiles of theirs that changed.
    void Run(const std::vector<WordPixels<BitGrid>>& component);
    /// The flooded pieces.
    const FloodMarks& Marks() const { return marks_; }
    /// Relabels the patches in the tiles; nothing is flooded any more.
    void Settle();

    void CheckInvariants() const;

private:
    using PieceAt = PieceTiles::PieceAt;
    using Masks = FloodMarks::Masks;

    void FloodFrom(PieceAt at);
    void FloodAdjacent(std::int32_t tile, std::size_t mask, Word adjacentToRegions, Word adjacentToPatches);
    void TraverseCluster();
    void TraverseBehind(const FloodClusters::Pieces& patches);
    void TraverseAdjacent(std::int32_t tile, std::size_t mask, Word adjacentToRegions, Word adjacentToPatches);
    void Relabel(std::int32_t tile, std::size_t mask, Word pieces);
    void JoinClustersOf(std::int32_t tile, std::size_t mask, Word patches);
    Masks& Reach(std::int32_t tile, std::size_t mask) { return marks_.Reach(tile, mask, tiles_.MaskCount(tile)); }

    PieceTiles& tiles_;
    ComponentRing ring_;
    FloodMarks marks_;
    FloodSpread spread_;
    FloodClusters clusters_;
};

}  // namespace level_sweep
