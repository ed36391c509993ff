#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "bits/BitPlane.h"
#include "network/PieceTiles.h"
#include "bits/ZeroedArray.h"

namespace level_sweep {

/// The background regions that one component touches, and what touching them does to the component map.
///
/// Background is made of regions (kTouched before) and patches (kBackground), both 8-connected and each as large as it
/// can be. Pixels around the component are looked at in raster order, and what is visited is passed over. A patch is
/// visited alone; a region is visited with all patches next to it. Each visit also leaves its trace in the map: a
/// visited patch joins the regions around it to one cluster, and whenever a region is met, all patches next to its
/// whole cluster are turned to kTouched, whether they are visited or not. A patch turned by one visit is passed through
/// by later ones only.
///
///     region A ## patch . region B        a component that meets A visits A and the patch; B stays unvisited.
///     ###### .... ####### ::: patch C     one that meets B afterwards finds A and B in one cluster: C is turned.
///
/// Visits go from piece to piece of the tiles in which both kinds are kept. All patches that one visit turns are of one
/// cluster, so a cluster is a set of visits.
class TouchedNetwork {
public:
    using Word = BitGrid::Word;

    TouchedNetwork(const BitPlane& background, const BitPlane& touched);

    /// To be told of every pixel that became kBackground, but for those that Clear makes so.
    void BackgroundAdded(int x, int y) { tiles_.AddPatch(x / PieceTiles::kSide, y, BitGrid::Bit(x)); }
    void BackgroundAdded(const WordPixels<BitGrid>& part) {
        const int y = part.word / words_.WordsPerRow();
        tiles_.AddPatch(part.word - words_.WordAt(0, y), y, part.pixels);
    }

    /// `component`: one 4-connected component, in raster order.
    /// Cost: proportional to the pieces visited, passed through or turned, and to the tiles of theirs that changed.
    void Touch(const std::vector<WordPixels<BitGrid>>& component);

    /// Between components: the pixels that are kBackground in row y from column 64 * column on.
    Word BackgroundIn(int column, int y) const { return tiles_.PatchesIn(column, y); }
    /// The same for those that are kTouched.
    Word TouchedIn(int column, int y) const { return tiles_.RegionsIn(column, y); }
    /// Between components: whether one of the nine pixels around (x, y) is kBackground.
    bool IsBackgroundAround(int x, int y) const { return tiles_.IsPatchAround(x, y); }

    bool IsVisited(int x, int y) const {
        const std::int32_t tile = tiles_.TileAt(x, y);
        return (VisitedRow(tile, y & (PieceTiles::kSide - 1)) & BitGrid::Bit(x)) != 0;
    }
    const BitGrid& Grid() const { return words_; }
    /// Of the pixels in row y from column 64 * column on those that were visited.
    Word VisitedIn(int column, int y) const {
        return VisitedRow(tiles_.TileAt(column * PieceTiles::kSide, y), y & (PieceTiles::kSide - 1));
    }
    /// Of the rows of a tile, which go row by row, the pixels that were visited; the tile has some.
    const Word* VisitedRows(std::int32_t tile) const { return visitedRows_[static_cast<std::size_t>(tile)].data(); }

    /// The tiles with visited pixels: PieceTiles::kSide pixels each way from (x0, y0).
    struct VisitedTile {
        int x0;
        int y0;
    };
    const std::vector<VisitedTile>& VisitedTiles() const { return visitedTiles_; }
    /// Of the pixels of a row of a tile those that were visited; the tile has some.
    Word VisitedIn(const VisitedTile& tile, int row) const {
        return visitedRows_[static_cast<std::size_t>(tiles_.TileAt(tile.x0, tile.y0))][static_cast<std::size_t>(row)];
    }

    /// A set of pixels for the owner: what was visited once, and not taken out since.
    Word KnownIn(std::int32_t word) const { return known_[KnownIndex(word)]; }
    /// Adds what was visited to the set, once for each Touch; calls added(word, pixels) for what is new to it.
    template <typename Added>
    void AddVisited(Added added);
    /// Takes out what is next to a visited patch, but not visited; calls dropped(word, pixels) for it. All that is
    /// known and next to the visited is next to a visited patch. To be called before AddVisited.
    template <typename Dropped>
    void DropBesideVisited(Dropped dropped);

    /// Makes kTouched of all that was visited or turned; nothing is visited any more.
    void Settle();

    /// Makes those pixels of the run kBackground again that are kTouched.
    void Clear(const PixelRun& run) { tiles_.ClearRegion(run); }

    /// Fetches ahead what clearing around a pixel will ask for.
    void FetchAround(int x, int y) const { tiles_.FetchAround(x, y); }

    /// Calls cleared(column, y, pixels) for what was kTouched at the last call and is kBackground now, in row y from
    /// column 64 * column on. Cost: the tiles that changed.
    template <typename Cleared>
    void TakeCleared(Cleared cleared) {
        tiles_.TakeRegionChanges([&](std::int32_t tile, int y, Word, Word lost) {
            if (lost != 0) {
                cleared(tiles_.Left(tile) / PieceTiles::kSide, y, lost);
            }
        });
    }

private:
    using Piece = PieceTiles::Piece;
    using PieceAt = PieceTiles::PieceAt;
    using PieceSet = PieceTiles::PieceSet;
    using Masks = PieceTiles::Masks;
    using State = PieceTiles::State;
    using Rows = std::array<Word, PieceTiles::kSide>;
    static constexpr std::size_t kTilesAhead = 2;  // that are fetched

    /// Pieces of one of a tile's masks.
    struct PiecesAt {
        std::int32_t tile;
        std::int32_t mask;
        Word pieces;
    };
    struct Collected {
        Word pieces;  // those of a tile's first mask that its visited rows have the pixels of
        // Strays are pixels that are known, but not in the visited rows; there are none in other rows and columns.
        Word strayRows, strayColumns;
    };
    struct VisitRecord {
        std::int32_t cluster;  // forest over visits; a root stands for itself
        std::size_t firstTurned;
        std::size_t lastTurned;
    };
    /// Pieces of a tile to go on from.
    struct Sources {
        PieceSet regions;
        PieceSet patches;
    };

    void FindRing(const std::vector<WordPixels<BitGrid>>& component);
    Word RingIn(int column, int row) const;
    void Visit(PieceAt at);
    void VisitNear(std::int32_t tile, std::size_t mask, Word besideRegions, Word besidePatches);
    void PassNear(std::int32_t tile, std::size_t mask, Word besideRegions, Word besidePatches);
    void PassBehind(const PiecesAt& patches);
    Masks& Reached(std::int32_t tile, std::size_t mask);
    void Wait(std::int32_t tile, Masks& masks, Word pieces);
    void Turn(std::int32_t tile, std::size_t mask, Word pieces);
    void JoinClustersOf(std::int32_t tile, std::size_t mask, Word patches);
    void JoinCluster(std::int32_t visit);
    void PassThroughCluster();
    std::int32_t ClusterOf(std::int32_t visit);
    std::int32_t Present() const { return static_cast<std::int32_t>(visits_.size()) - 1; }
    /// Calls near(tile, mask, beside regions, beside patches) for all pieces beside those that wait, and beside what
    /// these make wait, until nothing does.
    template <typename Near>
    void Flood(Near near);
    template <typename Near>
    void TakeWaiting(std::int32_t tile, Sources& from, Near near);
    template <typename Near>
    void ReachAcross(std::int32_t tile, const Sources& from, Near near);
    template <typename Near>
    void ReachAcross(const PieceTiles::Contacts& contacts, const Sources& from, std::size_t masks, Near near);
    void CollectVisitedRows();
    void CollectVisitedRows(std::int32_t tile);
    Word VisitedPieces(std::int32_t tile, std::size_t mask) const {
        return tiles_.StateOf(tile).isVisited ? tiles_.MasksOf(tile, mask).visited : 0;
    }
    // `row`: in the tile.
    Word VisitedRow(std::int32_t tile, int row) const {
        return tiles_.StateOf(tile).isVisited
                   ? visitedRows_[static_cast<std::size_t>(tile)][static_cast<std::size_t>(row)]
                   : 0;
    }
    // Known pixels lie tile by tile, as all else that is asked for with them.
    std::size_t KnownIndex(std::int32_t word) const {
        const std::int32_t y = word / words_.WordsPerRow();
        const std::int32_t tile = tiles_.TileAt((word - y * words_.WordsPerRow()) * PieceTiles::kSide, y);
        return static_cast<std::size_t>(tile) * PieceTiles::kSide + static_cast<std::size_t>(y % PieceTiles::kSide);
    }
    template <typename Dropped>
    void Drop(std::int32_t tile, int row, Word pixels, Dropped dropped);
    template <typename Dropped>
    void DropBeside(PieceAt at, Dropped dropped);
    template <typename Dropped>
    void DropInOtherTiles(PieceAt at, Dropped dropped);
    bool HasNews(std::int32_t tile);
    Word PatchesWithStrays(std::int32_t tile, std::size_t mask, Word patches) const;

    int height_;
    BitGrid words_;
    PieceTiles tiles_;
    ZeroedArray<Rows> visitedRows_;  // per tile; of the last component that visited it
    ZeroedArray<Word> known_;
    ZeroedArray<Collected> collected_;  // per tile
    std::vector<VisitedTile> visitedTiles_;

    std::int32_t present_ = 0;     // what the present component's pieces are marked with
    PixelBox wordBox_;             // the component with what is around it, in words by rows
    std::vector<Word> component_;  // its pixels in the box
    std::vector<PiecesAt> turned_;
    std::vector<std::int32_t> waiting_;  // tiles with pieces that wait, first come first
    std::vector<VisitRecord> visits_;
    std::vector<std::int32_t> notPassed_;  // visits whose patches nothing has passed through yet
    bool meetsCluster_ = false;            // the present visit met patches of a visit before
};

template <typename Added>
void TouchedNetwork::AddVisited(Added added) {
    for (const VisitedTile& tile : visitedTiles_) {
        const auto number = static_cast<std::size_t>(tiles_.TileAt(tile.x0, tile.y0));
        if (!HasNews(static_cast<std::int32_t>(number))) {
            continue;
        }
        const Rows& visited = visitedRows_[number];
        Word* known = known_.data() + number * PieceTiles::kSide;
        std::int32_t word = words_.WordAt(tile.x0, tile.y0);
        for (std::size_t row = 0; row < PieceTiles::kSide; ++row, word += words_.WordsPerRow()) {
            const Word news = visited[row] & ~known[row];
            if (news != 0) {
                known[row] |= news;
                added(word, news);
            }
        }
    }
}

template <typename Dropped>
void TouchedNetwork::DropBesideVisited(Dropped dropped) {
    for (const VisitedTile& visited : visitedTiles_) {
        const std::int32_t tile = tiles_.TileAt(visited.x0, visited.y0);
        for (std::size_t i = 0; i < tiles_.StateOf(tile).maskCount; ++i) {
            const Masks& masks = tiles_.MasksOf(tile, i);
            ForEachBit(PatchesWithStrays(tile, i, masks.visited & masks.patches), [&](std::size_t bit) {
                DropBeside({tile, static_cast<std::int32_t>(i * 64 + bit)}, dropped);
            });
        }
    }
}

template <typename Dropped>
void TouchedNetwork::DropBeside(PieceAt at, Dropped dropped) {
    const Piece& piece = tiles_.Get(at);
    const Word* rows = tiles_.RowsOf(at);
    const auto number = static_cast<std::size_t>(at.tile);
    const Word* known = known_.data() + number * PieceTiles::kSide;
    const Word* visited = visitedRows_[number].data();
    const Collected& collected = collected_[number];
    const bool mayHaveStrays = (DilateRow(BitsFromTo(piece.y0, piece.y1)) & collected.strayRows) != 0 &&
                               (DilateRow(piece.columns) & collected.strayColumns) != 0;
    Word above = 0;
    Word here = 0;
    for (int row = piece.y0 - 1; mayHaveStrays && row <= piece.y1 + 1; ++row) {
        const Word below = row < piece.y1 ? rows[row + 1 - piece.y0] : 0;
        const Word near = DilateRow(above | here | below);
        above = here;
        here = below;
        if (row >= 0 && row < PieceTiles::kSide) {
            const Word stray = near & known[row] & ~visited[row];
            if (stray != 0) {
                Drop(at.tile, row, stray, dropped);
            }
        }
    }
    if ((piece.top | piece.bottom | piece.left | piece.right) != 0) {
        DropInOtherTiles(at, dropped);
    }
}

template <typename Dropped>
void TouchedNetwork::DropInOtherTiles(PieceAt at, Dropped dropped) {
    constexpr Word lowest = 1;
    constexpr Word highest = Word{1} << (PieceTiles::kSide - 1);
    const Piece& piece = tiles_.Get(at);
    const int perRow = tiles_.TilesPerRow();
    const bool isFirst = at.tile % perRow == 0;
    const bool isLast = at.tile % perRow == perRow - 1;
    const auto dropInRow = [&](std::int32_t tile, int row, Word pixels) {
        if (pixels == 0 || tile < 0 || tile >= static_cast<std::int32_t>(tiles_.Tiles())) {
            return;
        }
        Drop(tile, row, pixels | pixels << 1 | pixels >> 1, dropped);
        if ((pixels & lowest) != 0 && !isFirst) {
            Drop(tile - 1, row, highest, dropped);
        }
        if ((pixels & highest) != 0 && !isLast) {
            Drop(tile + 1, row, lowest, dropped);
        }
    };
    dropInRow(at.tile - perRow, PieceTiles::kSide - 1, piece.top);
    dropInRow(at.tile + perRow, 0, piece.bottom);
    const auto dropInColumn = [&](std::int32_t tile, Word pixels, Word column) {
        for (Word left = pixels | pixels << 1 | pixels >> 1; left != 0; left &= left - 1) {
            Drop(tile, BitGrid::LowestBit(left), column, dropped);
        }
    };
    dropInColumn(at.tile - 1, isFirst ? 0 : piece.left, highest);
    dropInColumn(at.tile + 1, isLast ? 0 : piece.right, lowest);
}

// `row`: in the tile.
template <typename Dropped>
void TouchedNetwork::Drop(std::int32_t tile, int row, Word pixels, Dropped dropped) {
    const auto number = static_cast<std::size_t>(tile);
    Word& known = known_[number * PieceTiles::kSide + static_cast<std::size_t>(row)];
    const Word left = pixels & known & ~VisitedRow(tile, row);
    if (left == 0) {
        return;
    }
    known &= ~left;
    for (std::size_t i = 0; i < tiles_.StateOf(tile).maskCount; ++i) {
        tiles_.MasksOf(tile, i).known &= VisitedPieces(tile, i);
    }
    dropped(words_.WordAt(tiles_.Left(tile), tiles_.Top(tile) + row), left);
}

}  // namespace level_sweep
