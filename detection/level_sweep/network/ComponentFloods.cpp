#include "network/ComponentFloods.h"

#include "Assert.h"

namespace level_sweep {
namespace {

std::size_t MaskOf(PieceTiles::PieceAt at) { return static_cast<std::size_t>(at.piece) / 64; }

}  // namespace

void ComponentFloods::Run(const std::vector<WordPixels<BitGrid>>& component) {
    KORVANE_ASSERT(marks_.FloodedTiles().empty());
    marks_.BeginComponent();
    clusters_.Clear();
    ring_.Set(component);
    const PixelBox& words = ring_.Words();
    for (int y = words.y0; y <= words.y1; ++y) {
        for (int column = words.x0; column <= words.x1; ++column) {
            const Word ring = ring_.In(column, y);
            if (ring == 0) {
                continue;
            }
            // The component itself is of neither kind.
            Word remaining = ring & tiles_.Pixels().EitherIn(column, y);
            while (remaining != 0) {
                const PieceAt at = tiles_.Find(column * PieceTiles::kSide + BitGrid::LowestBit(remaining), y);
                remaining &= ~tiles_.PixelsOfRow(at, y);
                if ((marks_.FloodedIn(at.tile, MaskOf(at)) & PieceTiles::BitOf(at)) == 0) {
                    FloodFrom(at);
                }
            }
        }
    }
}

// A flood from a patch that an earlier one relabelled finds the regions around it in the cluster; one from a patch that
// no flood has encountered does not.
void ComponentFloods::FloodFrom(PieceAt at) {
    clusters_.Begin();
    FloodAdjacent(at.tile, MaskOf(at), PieceTiles::BitOf(at), 0);
    spread_.Run([this](std::int32_t tile, std::size_t mask, Word adjacentToRegions, Word adjacentToPatches) {
        FloodAdjacent(tile, mask, adjacentToRegions, adjacentToPatches);
    });
    if (clusters_.HasJoined()) {
        TraverseCluster();
    }
    clusters_.Finish();
}

// From regions a flood goes on to regions and patches, from patches to the same patch only.
void ComponentFloods::FloodAdjacent(std::int32_t tile, std::size_t mask, Word adjacentToRegions,
                                    Word adjacentToPatches) {
    Masks& masks = Reach(tile, mask);
    const Word patches = tiles_.PatchesOf(tile, mask);
    JoinClustersOf(tile, mask, adjacentToRegions & patches & masks.encountered);
    const Word found = (adjacentToRegions | (adjacentToPatches & patches)) & ~masks.flooded;
    if (found == 0) {
        return;
    }
    marks_.NoteFlooded(tile);
    masks.flooded |= found;
    Relabel(tile, mask, found & patches & ~masks.encountered);
    spread_.Wait(tile, masks, found);
}

void ComponentFloods::Relabel(std::int32_t tile, std::size_t mask, Word pieces) {
    if (pieces == 0) {
        return;
    }
    Masks& masks = marks_.Of(tile, mask);
    masks.encountered |= pieces;
    // Most patches are relabelled by the first flood, and most components make no other.
    if (clusters_.Present() == 0) {
        masks.byFirst |= pieces;
    } else {
        marks_.SetFloodOf(tile, mask, pieces, clusters_.Present());
    }
    clusters_.AddRelabelled({tile, static_cast<std::int32_t>(mask), pieces});
}

// `patches` that were relabelled for the present component, also by the present flood.
void ComponentFloods::JoinClustersOf(std::int32_t tile, std::size_t mask, Word patches) {
    if (clusters_.Present() == 0 || patches == 0) {
        return;
    }
    const Word byFirst = patches & marks_.Of(tile, mask).byFirst;
    if (byFirst != 0) {
        clusters_.Join(0);
    }
    ForEachBit(patches & ~byFirst, [&](std::size_t bit) {
        const std::int32_t flood = marks_.FloodOf(tile, mask * 64 + bit);
        if (flood < clusters_.Present()) {
            clusters_.Join(flood);
        }
    });
}

// Regions behind the cluster's patches belong to it too, and may bring in more of the earlier floods.
void ComponentFloods::TraverseCluster() {
    FloodClusters::Range patches;
    while (clusters_.TakeUntraversed(patches)) {
        for (std::size_t i = patches.first; i < patches.end; ++i) {
            TraverseBehind(clusters_.Relabelled()[i]);
        }
        spread_.Run([this](std::int32_t tile, std::size_t mask, Word adjacentToRegions, Word adjacentToPatches) {
            TraverseAdjacent(tile, mask, adjacentToRegions, adjacentToPatches);
        });
    }
}

// From patches of the cluster to the regions behind.
void ComponentFloods::TraverseBehind(const FloodClusters::Pieces& patches) {
    const auto reach = [&](std::int32_t tile, std::size_t mask, Word adjacent, Word) {
        Masks& masks = Reach(tile, mask);
        const Word found = adjacent & ~(tiles_.PatchesOf(tile, mask) | masks.flooded | masks.encountered);
        masks.encountered |= found;
        if (found != 0) {
            spread_.Wait(tile, masks, found);
        }
    };
    spread_.Once(patches.tile, static_cast<std::size_t>(patches.mask), patches.pieces, reach);
}

// From regions on to regions, and to patches that no flood has encountered; from these to the same patch only.
void ComponentFloods::TraverseAdjacent(std::int32_t tile, std::size_t mask, Word adjacentToRegions,
                                       Word adjacentToPatches) {
    Masks& masks = Reach(tile, mask);
    const Word ofPatches = tiles_.PatchesOf(tile, mask);
    JoinClustersOf(tile, mask, adjacentToRegions & ofPatches & masks.encountered);
    const Word regions = adjacentToRegions & ~(ofPatches | masks.flooded | masks.encountered);
    const Word patches = (adjacentToRegions | adjacentToPatches) & ofPatches & ~masks.encountered;
    masks.encountered |= regions;
    Relabel(tile, mask, patches);
    if ((regions | patches) != 0) {
        spread_.Wait(tile, masks, regions | patches);
    }
}

void ComponentFloods::Settle() {
    constexpr std::size_t ahead = 2;
    const std::vector<FloodClusters::Pieces>& relabelled = clusters_.Relabelled();
    PieceSet patches;
    for (std::size_t k = 0; k < relabelled.size(); ++k) {
        if (k + ahead < relabelled.size()) {
            tiles_.FetchPatches(relabelled[k + ahead].tile);
        }
        // All of the tile at once: encountered patches are relabelled.
        const std::int32_t tile = relabelled[k].tile;
        Word any = 0;
        for (std::size_t i = 0; i < tiles_.MaskCount(tile); ++i) {
            patches[i] = marks_.Of(tile, i).encountered & tiles_.PatchesOf(tile, i);
            any |= patches[i];
        }
        if (any != 0) {
            tiles_.RelabelPatches(tile, patches);
        }
    }
    marks_.ClearFlooded();
    clusters_.Clear();
}

void ComponentFloods::CheckInvariants() const {
    clusters_.CheckInvariants();
    marks_.CheckInvariants(tiles_);
    std::vector<FloodClusters::Pieces> noted;
    for (const FloodClusters::Pieces& patches : clusters_.Relabelled()) {
        const auto mask = static_cast<std::size_t>(patches.mask);
        const Word encountered = marks_.Of(patches.tile, mask).encountered & tiles_.PatchesOf(patches.tile, mask);
        KORVANE_ASSERT((patches.pieces & ~encountered) == 0);
        for (const FloodClusters::Pieces& other : noted) {
            KORVANE_ASSERT(other.tile != patches.tile || other.mask != patches.mask ||
                           (other.pieces & patches.pieces) == 0);
        }
        noted.push_back(patches);
    }
    for (const FloodMarks::FloodedTile& at : marks_.FloodedTiles()) {
        for (std::size_t i = 0; i < tiles_.MaskCount(at.tile); ++i) {
            Word expected = marks_.Of(at.tile, i).encountered & tiles_.PatchesOf(at.tile, i);
            for (const FloodClusters::Pieces& patches : noted) {
                const bool isHere = patches.tile == at.tile && static_cast<std::size_t>(patches.mask) == i;
                expected &= isHere ? ~patches.pieces : ~Word{0};
            }
            KORVANE_ASSERT(expected == 0);
        }
    }
}

}  // namespace level_sweep
