#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bits/BitPlane.h"
#include "network/ComponentFloods.h"
#include "network/FloodMarks.h"
#include "network/FloodedPixels.h"
#include "network/KnownPixels.h"
#include "network/PieceTiles.h"

namespace level_sweep {

/// The background of the component map, as the components touch it one after the other.
///
/// Background is 8-connected regions (kTouched before) and 8-connected patches (kBackground), each as large as it can
/// be. A component touches the background pixels that share a side with one of its own pixels: its ring.
///
/// Touching floods a region with all patches adjacent to it, or a patch alone, for each pixel of the ring that is not
/// flooded yet (ComponentFloods has the rule); what it floods or relabels becomes kTouched. Clear makes pixels
/// kBackground again.
///
/// Invariants:
/// 1. Every pixel that was background once is of a region or a patch; which of both, only the tiles know.
/// 2. Between Touch and Settle the flooded rows are those of the pieces that the component's floods marked.
class TouchedNetwork {
public:
    using Word = BitGrid::Word;

    TouchedNetwork(const BitPlane& background, const BitPlane& touched);
    TouchedNetwork(const TouchedNetwork&) = delete;
    TouchedNetwork& operator=(const TouchedNetwork&) = delete;

    /// To be notified of every pixel that became kBackground, but for those that Clear makes so.
    void BackgroundAdded(int x, int y) { tiles_.AddPatch(x / PieceTiles::kSide, y, BitGrid::Bit(x)); }
    void BackgroundAdded(const WordPixels<BitGrid>& part) {
        const int y = part.word / words_.WordsPerRow();
        tiles_.AddPatch(part.word - words_.WordAt(0, y), y, part.pixels);
    }

    /// Floods from the ring of a component: 4-connected, in raster order.
    /// Cost: proportional to the pieces flooded, traversed or relabelled, and to the tiles of theirs that changed.
    void Touch(const std::vector<WordPixels<BitGrid>>& component);

    /// Between components: the pixels that are kBackground in row y from column 64 * column on.
    Word BackgroundIn(int column, int y) const { return tiles_.Pixels().PatchesIn(column, y); }
    /// The same for those that are kTouched.
    Word TouchedIn(int column, int y) const { return tiles_.Pixels().RegionsIn(column, y); }
    /// Between components: whether one of the nine pixels around (x, y) is kBackground.
    bool IsBackgroundAround(int x, int y) const { return tiles_.Pixels().IsPatchAround(x, y); }

    /// The pixels in row y from column 64 * column on that were flooded.
    Word FloodedIn(int column, int y) const {
        const std::int32_t tile = tiles_.Grid().TileOfWord(column, y);
        return floods_.Marks().HasFlooded(tile) ? flooded_.RowsOf(tile)[TileGrid::RowInTile(y)] : 0;
    }
    /// The tiles with flooded pixels, and the flooded pixels of the rows of one of them.
    const std::vector<FloodMarks::FloodedTile>& FloodedTiles() const { return floods_.Marks().FloodedTiles(); }
    const Word* FloodedRows(std::int32_t tile) const { return flooded_.RowsOf(tile).data(); }

    /// The set of known pixels, brought up to date once for each Touch (KnownPixels): first those that are adjacent to
    /// the flooded ones without being flooded are dropped, then the flooded ones are added. Calls dropped(word, pixels)
    /// and added(word, pixels) for what that changes.
    template <typename Dropped, typename Added>
    void UpdateKnown(Dropped dropped, Added added) {
        known_.DropAdjacentToFlooded(dropped);
        known_.AddFlooded(added);
    }

    /// Makes kTouched of all that was flooded or relabelled; nothing is flooded any more.
    void Settle() { floods_.Settle(); }

    /// Makes those pixels of the run kBackground again that are kTouched.
    void Clear(const PixelRun& run) { tiles_.ClearRegion(run); }

    /// Fetches ahead what clearing around a pixel needs.
    void FetchAround(int x, int y) const { tiles_.FetchAround(x, y); }

    /// Calls cleared(column, y, pixels) for the pixels that were kTouched at the last call and are kBackground now, in
    /// row y from column 64 * column on. Cost: the tiles that changed.
    template <typename Cleared>
    void TakeCleared(Cleared cleared) {
        tiles_.TakeRegionChanges([&](std::int32_t tile, int y, Word, Word lost) {
            if (lost != 0) {
                cleared(tiles_.Grid().West(tile) / PieceTiles::kSide, y, lost);
            }
        });
    }

    void CheckInvariants() const;

private:
    BitGrid words_;
    PieceTiles tiles_;
    ComponentFloods floods_;
    FloodedPixels flooded_;
    KnownPixels known_;
};

}  // namespace level_sweep
