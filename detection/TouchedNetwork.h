#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "BitGrid.h"
#include "CodePlane.h"
#include "NetworkTiles.h"
#include "ZeroedArray.h"

namespace Korvane {

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

    /// Borrows the map, rows without gaps, for its lifetime.
    explicit TouchedNetwork(const CodePlane& map);

    /// To be told of every pixel that became kBackground, but for those that Clear makes so.
    void BackgroundAdded(int x, int y) { tiles_.AddPatch({y, x, x}); }
    void BackgroundAdded(const PixelRun& run) { tiles_.AddPatch(run); }

    /// `component`: the runs of one component, already kAnalysed, next to background only.
    /// Cost: proportional to the pieces visited, passed through or turned, and to the tiles of theirs that changed.
    void Touch(const std::vector<PixelRun>& component);

    bool IsVisited(int x, int y) const {
        const std::int32_t tile = tiles_.TileAt(x, y);
        return isVisited_[static_cast<std::size_t>(tile)] != 0 && (VisitedRow(tile, y) & BitGrid::Bit(x)) != 0;
    }
    /// Of the rows of a tile, which go row by row, the pixels that were visited.
    const Word* VisitedRows(std::int32_t tile) const { return visitedRows_[static_cast<std::size_t>(tile)].data(); }

    /// The tiles with visited pixels: NetworkTiles::kSide pixels each way from (x0, y0).
    struct VisitedTile {
        int x0;
        int y0;
    };
    const std::vector<VisitedTile>& VisitedTiles() const { return visitedTiles_; }

    /// For a set of pixels that the owner keeps, what was visited once and not taken out since: adds what was visited;
    /// calls added(word, pixels) for what is new to the set; a word may come more than once.
    template <typename Added>
    void AddVisited(Added added);
    /// Takes out what is next to a visited patch, but not visited; calls dropped(x, y) for each pixel. All that is
    /// known and next to the visited is next to a visited patch.
    template <typename Dropped>
    void DropBesideVisited(Dropped dropped);

    /// Gives kTouched to all that was visited or turned; nothing is visited any more.
    void Settle();

    /// Makes those pixels of the run kBackground again that are kTouched, and appends them to `cleared`.
    void Clear(const PixelRun& run, std::vector<PixelRun>& cleared);

private:
    using Piece = NetworkTiles::Piece;
    using PieceAt = NetworkTiles::PieceAt;
    using Rows = std::array<Word, NetworkTiles::kSide>;

    struct VisitRecord {
        std::int32_t cluster;  // forest over visits; a root stands for itself
        std::size_t firstTurned;
        std::size_t lastTurned;
    };
    struct Position {
        int x;
        int y;
    };

    void FindRing(const std::vector<PixelRun>& component);
    void Visit(PieceAt at);
    void VisitPiece(PieceAt at, Piece& piece);
    void VisitAround(PieceAt at);
    void Turn(PieceAt at, Piece& piece);
    void JoinClusterOf(const Piece& patch);
    void PassThroughCluster();
    void PassAround(PieceAt at);
    std::int32_t ClusterOf(std::int32_t visit);
    void CollectVisitedRows();
    Word VisitedRow(std::int32_t tile, int y) const {
        return visitedRows_[static_cast<std::size_t>(tile)][static_cast<std::size_t>(y % NetworkTiles::kSide)];
    }
    // Known pixels lie tile by tile, as all else that is asked for with them.
    std::size_t KnownIndex(std::int32_t tile, int y) const {
        return static_cast<std::size_t>(tile) * NetworkTiles::kSide + static_cast<std::size_t>(y % NetworkTiles::kSide);
    }
    template <typename Dropped>
    void Drop(std::int32_t tile, int y, Word pixels, Dropped dropped);

    CodePlane map_;
    BitGrid words_;
    NetworkTiles tiles_;
    ZeroedArray<Rows> visitedRows_;  // per tile; 0 but in visited tiles
    ZeroedArray<Word> known_;
    std::vector<std::uint8_t> isVisited_;  // per tile
    std::vector<VisitedTile> visitedTiles_;

    std::vector<Position> ring_;
    std::vector<PieceAt> visited_;
    std::vector<PieceAt> passed_;
    std::vector<PieceAt> turned_;
    std::vector<PieceAt> waiting_;  // of the flood
    std::vector<VisitRecord> visits_;
    std::vector<std::int32_t> notPassed_;  // visits whose patches nothing has passed through yet
    bool meetsCluster_ = false;            // the present visit met patches of a visit before
};

template <typename Added>
void TouchedNetwork::AddVisited(Added added) {
    for (const PieceAt& at : visited_) {
        Piece& piece = tiles_.Get(at);
        if (piece.known) {
            continue;
        }
        piece.known = true;
        const Word* rows = tiles_.RowsOf(at);
        const int x0 = tiles_.Left(at.tile);
        const int y0 = tiles_.Top(at.tile);
        for (int row = piece.y0; row <= piece.y1; ++row) {
            Word& known = known_[KnownIndex(at.tile, row)];
            const Word news = rows[row - piece.y0] & ~known;
            if (news != 0) {
                added(words_.WordAt(x0, y0 + row), news);
            }
            known |= rows[row - piece.y0];
        }
    }
}

template <typename Dropped>
void TouchedNetwork::DropBesideVisited(Dropped dropped) {
    for (const PieceAt& at : visited_) {
        const Piece& piece = tiles_.Get(at);
        if (!piece.isPatch) {
            continue;
        }
        const Word* rows = tiles_.RowsOf(at);
        const int column = at.tile % tiles_.TilesPerRow();
        const int top = tiles_.Top(at.tile);
        for (int y = std::max(top + piece.y0 - 1, 0); y <= std::min(top + piece.y1 + 1, map_.height - 1); ++y) {
            Word near = 0;
            for (int v = std::max<int>(y - 1 - top, piece.y0); v <= std::min<int>(y + 1 - top, piece.y1); ++v) {
                near |= rows[v - piece.y0];
            }
            const std::int32_t tile = tiles_.TileAt(column * NetworkTiles::kSide, y);
            Drop(tile, y, near | near << 1 | near >> 1, dropped);
            if ((near >> 63) != 0 && column + 1 < tiles_.TilesPerRow()) {
                Drop(tile + 1, y, 1, dropped);
            }
            if ((near & 1u) != 0 && column > 0) {
                Drop(tile - 1, y, Word{1} << 63, dropped);
            }
        }
    }
}

template <typename Dropped>
void TouchedNetwork::Drop(std::int32_t tile, int y, Word pixels, Dropped dropped) {
    Word& known = known_[KnownIndex(tile, y)];
    const Word left = pixels & known & ~VisitedRow(tile, y);
    if (left == 0) {
        return;
    }
    known &= ~left;
    for (Piece& piece : tiles_.PiecesOf(tile)) {
        piece.known = false;
    }
    dropped(words_.WordAt(tiles_.Left(tile), y), left);
}

}  // namespace Korvane
