#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bits/BitGrid.h"
#include "bits/ZeroedArray.h"
#include "network/PieceTiles.h"

namespace level_sweep {

/// The marks that the floods of one component leave on the pieces of each tile.
///
/// Invariants:
/// 1. The marks of a tile count only for the component that it was reached for last. So nothing has to be taken back
///    when the next component begins.
/// 2. A tile is in FloodedTiles, once, exactly if it has flooded pieces of the present component.
/// 3. A tile is queued, once, exactly if it has waiting pieces, but for the tile being processed. A waiting piece is
///    flooded or encountered.
/// 4. A flooded patch is encountered. An encountered patch has a flood that relabelled it: the first one if it is in
///    `byFirst`, otherwise the one that FloodOf returns.
class FloodMarks {
public:
    using Word = BitGrid::Word;
    /// A bit for each of 64 pieces.
    struct Masks {
        Word flooded;      // by the floods of this component
        Word encountered;  // patches that were relabelled, and regions that were only traversed
        Word byFirst;      // patches that the first flood relabelled
        Word waiting;      // to go on from
    };
    /// A tile with flooded pixels: 64 pixels each way from (x0, y0).
    struct FloodedTile {
        std::int32_t tile;
        int x0;
        int y0;
    };

    explicit FloodMarks(const TileGrid& grid) : grid_(grid), tiles_(grid.Tiles()), more_(grid.Tiles()) {}

    void BeginComponent() { ++present_; }
    /// The masks i of a tile that has `maskCount`, for the present component.
    Masks& Reach(std::int32_t tile, std::size_t i, std::size_t maskCount) {
        if (tiles_[static_cast<std::size_t>(tile)].reachedFor != present_) {
            Reset(tile, maskCount);
        }
        return Of(tile, i);
    }
    /// Of a tile that was reached for the present component.
    const Masks& Of(std::int32_t tile, std::size_t i) const {
        const auto at = static_cast<std::size_t>(tile);
        return i == 0 ? tiles_[at].masks : more_[at].masks[i - 1];
    }
    Masks& Of(std::int32_t tile, std::size_t i) {
        const auto at = static_cast<std::size_t>(tile);
        return i == 0 ? tiles_[at].masks : more_[at].masks[i - 1];
    }

    bool HasFlooded(std::int32_t tile) const { return tiles_[static_cast<std::size_t>(tile)].isFlooded; }
    /// The flooded pieces of mask i of any tile.
    Word FloodedIn(std::int32_t tile, std::size_t i) const { return HasFlooded(tile) ? Of(tile, i).flooded : 0; }
    void NoteFlooded(std::int32_t tile) {
        bool& isFlooded = tiles_[static_cast<std::size_t>(tile)].isFlooded;
        if (!isFlooded) {
            isFlooded = true;
            floodedTiles_.push_back({tile, grid_.West(tile), grid_.North(tile)});
        }
    }
    /// In the order in which they were flooded first.
    const std::vector<FloodedTile>& FloodedTiles() const { return floodedTiles_; }
    void ClearFlooded();

    /// The flood that relabelled a patch, where it was not the first.
    std::int32_t FloodOf(std::int32_t tile, std::size_t number) const {
        return more_[static_cast<std::size_t>(tile)].floodOf[number];
    }
    void SetFloodOf(std::int32_t tile, std::size_t i, Word pieces, std::int32_t flood);

    /// Puts a tile into the queue; returns whether it was not there yet.
    bool Queue(std::int32_t tile) {
        bool& isQueued = tiles_[static_cast<std::size_t>(tile)].isQueued;
        if (isQueued) {
            return false;
        }
        isQueued = true;
        queue_.push_back(tile);
        return true;
    }
    /// The tiles in the queue, first come first. A tile stays queued until Processed is called for it.
    const std::vector<std::int32_t>& Queued() const { return queue_; }
    void Processed(std::int32_t tile) { tiles_[static_cast<std::size_t>(tile)].isQueued = false; }
    void ClearQueue() { queue_.clear(); }

    /// Fetches ahead a tile's marks.
    void Fetch(std::int32_t tile) const { __builtin_prefetch(tiles_.data() + tile); }

    /// Between floods, or between components.
    void CheckInvariants(const PieceTiles& pieces) const;

private:
    /// Side by side in a cache line.
    struct alignas(64) Tile {
        Masks masks;  // the first
        std::int32_t reachedFor;
        bool isFlooded;
        bool isQueued;
    };
    struct More {
        std::vector<Masks> masks;           // all but the first
        std::vector<std::int32_t> floodOf;  // by number
    };
    void Reset(std::int32_t tile, std::size_t maskCount);
    void CheckTile(std::int32_t tile, const PieceTiles& pieces) const;

    TileGrid grid_;
    ZeroedArray<Tile> tiles_;
    std::vector<More> more_;
    std::vector<FloodedTile> floodedTiles_;
    std::vector<std::int32_t> queue_;
    std::int32_t present_ = 0;  // number of the component
};

}  // namespace level_sweep
