#include "network/PieceTiles.h"

#include "Assert.h"

namespace level_sweep {

PieceTiles::PieceTiles(int width, int height)
    : pixels_(TileGrid(width, height)),
      pixelsBefore_(Grid().Tiles()),
      summaries_(Grid().Tiles()),
      morePatches_(Grid().Tiles()),
      pieces_(Grid().Tiles()),
      contacts_(Grid()) {
    for (std::size_t tile = 0; tile < summaries_.size(); ++tile) {
        summaries_[tile].maskCount = 1;
    }
}

void PieceTiles::RelabelPatches(std::int32_t tile, const PieceSet& relabelled) {
    const PiecesOfTile& pieces = PiecesOf(tile);
    const std::size_t masks = MaskCount(tile);
    int relabelledCount = 0;
    int remainingCount = 0;
    for (std::size_t i = 0; i < masks; ++i) {
        PatchWord(tile, i) &= ~relabelled[i];
        relabelledCount += __builtin_popcountll(relabelled[i]);
        remainingCount += __builtin_popcountll(PatchesOf(tile, i));
    }
    const bool fromRemaining = remainingCount < relabelledCount;
    TileRows rows{};
    for (std::size_t i = 0; i < masks; ++i) {
        pieces.AddPixels(i, fromRemaining ? PatchesOf(tile, i) : relabelled[i], rows);
    }
    if (!fromRemaining) {
        const TileRows& patch = pixels_.Of(tile).patch;
        for (std::size_t y = 0; y < rows.size(); ++y) {
            rows[y] = patch[y] & ~rows[y];
        }
    }
    pixels_.RelabelPatches(tile, rows);
}

void PieceTiles::FindPieces(std::int32_t tile) {
    const TileKinds& now = pixels_.Of(tile);
    const TileKinds& before = pixelsBefore_[static_cast<std::size_t>(tile)];
    const bool hasGrown = pixels_.TakeChange(tile) == TilePixels::Change::Growth && now.either != before.either;
    if (hasGrown || now.patch != before.patch) {
        ReplaceChangedPieces(tile);
    }
    SetPatches(tile);
}

void PieceTiles::ReplaceChangedPieces(std::int32_t tile) {
    PiecesOfTile& pieces = pieces_[static_cast<std::size_t>(tile)];
    TileKinds& before = pixelsBefore_[static_cast<std::size_t>(tile)];
    pieces.FetchPieces();
    pieces.SelectChanged(pixels_.Of(tile), before, search_);
    for (std::size_t i = 0; i < pieces.MaskCount(); ++i) {
        ForEachBit(search_.removed[i],
                   [&](std::size_t bit) { contacts_.PieceRemoved(tile, i * 64 + bit, pieces.At(i * 64 + bit)); });
    }
    pieces.RemoveSelected(search_);
    pieces.AddFound(search_);
    for (std::size_t i = 0; i < pieces.MaskCount(); ++i) {
        ForEachBit(search_.added[i],
                   [&](std::size_t bit) { contacts_.PieceAdded(tile, i * 64 + bit, pieces.At(i * 64 + bit)); });
    }
    pieces.LinkAdded(search_);
    before = pixels_.Of(tile);
    Summary& summary = summaries_[static_cast<std::size_t>(tile)];
    summary.maskCount = static_cast<std::uint8_t>(pieces.MaskCount());
    summary.piecesChanged = true;
}

// The tile's patches are those that it had when its pieces were found: what was relabelled since has been cleared
// again, or is of pieces that were found anew.
void PieceTiles::SetPatches(std::int32_t tile) {
    const PiecesOfTile& pieces = PiecesOf(tile);
    std::vector<Word>& more = morePatches_[static_cast<std::size_t>(tile)];
    if (pieces.MaskCount() > 1) {
        more.resize(pieces.MaskCount() - 1);
    }
    for (std::size_t i = 0; i < pieces.MaskCount(); ++i) {
        PatchWord(tile, i) = pieces.FoundAsPatches(i);
    }
}

PieceSet PieceTiles::TakeNewPieces(std::int32_t tile) {
    PieceSet taken;
    for (std::size_t i = 0; i < MaskCount(tile); ++i) {
        taken[i] = pieces_[static_cast<std::size_t>(tile)].TakeNew(i);
    }
    summaries_[static_cast<std::size_t>(tile)].piecesChanged = false;
    return taken;
}

PieceTiles::PieceAt PieceTiles::Find(int x, int y) {
    const std::int32_t tile = Grid().TileAt(x, y);
    Refresh(tile);
    const std::size_t number = PiecesOf(tile).NumberAt(TileGrid::RowInTile(x), TileGrid::RowInTile(y));
    return {tile, static_cast<std::int32_t>(number)};
}

void PieceTiles::FindPixels(std::int32_t tile, const PieceSet& pieces, TileRows& pixels) const {
    const PiecesOfTile& at = PiecesOf(tile);
    int count = 0;
    int otherCount = 0;
    for (std::size_t i = 0; i < at.MaskCount(); ++i) {
        count += __builtin_popcountll(pieces[i]);
        otherCount += __builtin_popcountll(at.InUse(i) & ~pieces[i]);
    }
    const bool fromOthers = otherCount < count;
    pixels.fill(0);
    for (std::size_t i = 0; i < at.MaskCount(); ++i) {
        at.AddPixels(i, fromOthers ? at.InUse(i) & ~pieces[i] : pieces[i], pixels);
    }
    if (fromOthers) {
        const TileRows& either = pixels_.Of(tile).either;
        for (std::size_t y = 0; y < pixels.size(); ++y) {
            pixels[y] = either[y] & ~pixels[y];
        }
    }
}

void PieceTiles::CheckInvariants() const {
    pixels_.CheckInvariants();
    for (std::size_t tile = 0; tile < pieces_.size(); ++tile) {
        pieces_[tile].CheckInvariants(pixelsBefore_[tile]);
        CheckTile(static_cast<std::int32_t>(tile));
    }
    contacts_.CheckInvariants(pieces_);
}

void PieceTiles::CheckTile(std::int32_t tile) const {
    const PiecesOfTile& pieces = PiecesOf(tile);
    const TileKinds& now = pixels_.Of(tile);
    const TileKinds& before = pixelsBefore_[static_cast<std::size_t>(tile)];
    KORVANE_ASSERT(MaskCount(tile) == pieces.MaskCount());
    if (pixels_.HasChanged(tile)) {
        return;
    }
    TileRows patch{};
    for (std::size_t i = 0; i < pieces.MaskCount(); ++i) {
        KORVANE_ASSERT((PatchesOf(tile, i) & ~pieces.FoundAsPatches(i)) == 0);
        pieces.AddPixels(i, PatchesOf(tile, i), patch);
    }
    KORVANE_ASSERT(now.either == before.either && now.patch == patch);
}

}  // namespace level_sweep
