#include "TouchedNetwork.h"

namespace Korvane {
TouchedNetwork::TouchedNetwork(const BitPlane& background, const BitPlane& touched)
    : height_(background.Height()),
      words_(background.Grid()),
      tiles_(background.Width(), background.Height()),
      visitedRows_(tiles_.Tiles()),
      known_(tiles_.Tiles() * NetworkTiles::kSide),
      tileVisits_(tiles_.Tiles()) {
    for (int y = 0; y < height_; ++y) {
        for (int column = 0; column < words_.WordsPerRow(); ++column) {
            const std::int32_t word = words_.WordAt(0, y) + column;
            tiles_.AddRow(tiles_.TileAt(column * NetworkTiles::kSide, y), y, touched[word], background[word]);
        }
    }
    tiles_.TakeRegionChanges([](std::int32_t, int, Word, Word) {});
}

void TouchedNetwork::Touch(const std::vector<WordPart>& component) {
    ++present_;
    visits_.clear();
    notPassed_.clear();
    FindRing(component);
    for (int y = wordBox_.y0; y <= wordBox_.y1; ++y) {
        for (int column = wordBox_.x0; column <= wordBox_.x1; ++column) {
            const Word around = RingIn(column - wordBox_.x0, y - wordBox_.y0);
            if (around == 0) {
                continue;
            }
            const int x0 = column * NetworkTiles::kSide;
            // The component itself is of neither kind.
            Word left = around & tiles_.EitherIn(tiles_.TileAt(x0, y), y);
            while (left != 0) {
                const PieceAt at = tiles_.Find(x0 + BitGrid::Lowest(left), y);
                left &= ~tiles_.PixelsOfRow(at, y);
                if (!IsVisited(tiles_.Get(at))) {
                    Visit(at);
                }
            }
        }
    }
    CollectVisitedRows();
}

void TouchedNetwork::FindRing(const std::vector<WordPart>& component) {
    const std::int32_t wordsPerRow = words_.WordsPerRow();
    PixelBox box;
    for (const WordPart& part : component) {
        const std::int32_t y = part.word / wordsPerRow;
        const std::int32_t column = part.word - y * wordsPerRow;
        box.Include({y, column, column});
    }
    box.Grow(1, wordsPerRow, height_);
    wordBox_ = box;
    component_.assign(static_cast<std::size_t>(box.Width()) * static_cast<std::size_t>(box.Height()), 0);
    for (const WordPart& part : component) {
        const std::int32_t y = part.word / wordsPerRow;
        const std::int32_t column = part.word - y * wordsPerRow;
        component_[static_cast<std::size_t>((y - box.y0) * box.Width() + column - box.x0)] = part.pixels;
    }
}

// What shares a side with the component's pixels, and some of these.
TouchedNetwork::Word TouchedNetwork::RingIn(int column, int row) const {
    const int width = wordBox_.Width();
    const Word* word = component_.data() + static_cast<std::ptrdiff_t>(row) * width + column;
    Word ring = *word << 1 | *word >> 1;
    ring |= column > 0 ? word[-1] >> (NetworkTiles::kSide - 1) : 0;
    ring |= column + 1 < width ? word[1] << (NetworkTiles::kSide - 1) : 0;
    ring |= row > 0 ? word[-width] : 0;
    ring |= row + 1 < wordBox_.Height() ? word[width] : 0;
    return ring;
}

// A visit to a patch that an earlier one turned finds the regions around it in the cluster, one to a patch that nothing
// has met does not.
void TouchedNetwork::Visit(PieceAt at) {
    const auto number = static_cast<std::int32_t>(visits_.size());
    visits_.push_back({number, turned_.size(), turned_.size()});
    meetsCluster_ = false;
    if (IsOfEarlierVisit(tiles_.Get(at))) {
        JoinClusterOf(tiles_.Get(at));
    }
    VisitPiece(at, tiles_.Get(at));
    while (!waiting_.empty()) {
        const PieceAt next = waiting_.back();
        waiting_.pop_back();
        VisitAround(next);
    }
    if (meetsCluster_) {
        PassThroughCluster();
    }
    VisitRecord& visit = visits_.back();
    visit.lastTurned = turned_.size();
    if (visit.firstTurned < visit.lastTurned) {
        notPassed_.push_back(number);
    }
}

void TouchedNetwork::VisitPiece(PieceAt at, Piece& piece) {
    piece.visitedIn = present_;
    waiting_.push_back(at);
    TileVisit& tile = tileVisits_[static_cast<std::size_t>(at.tile)];
    if (!tile.isVisited) {
        tile.isVisited = true;
        visitedTiles_.push_back({tiles_.Left(at.tile), tiles_.Top(at.tile)});
    }
    tile.pieces |= at.piece < kPiecesWithBits ? BitGrid::Bit(at.piece) : 0;
    if (!piece.known) {
        piece.known = true;
        tile.hasNews = true;
    }
    if (piece.isPatch) {
        visitedPatches_.push_back(at);
        if (!IsMet(piece)) {
            Turn(at, piece);
        }
    }
}

// From regions visits go on to patches, from patches to the same patch only.
void TouchedNetwork::VisitAround(PieceAt at) {
    const bool fromPatch = tiles_.Get(at).isPatch;
    const bool isFirst = visits_.size() == 1;
    const auto look = [&](PieceAt nearAt, Piece& near) {
        // Most are visited already. A bit tells so without a look at the piece, which waits for memory.
        if (isFirst && HasBit(nearAt)) {
            return;
        }
        if (!IsVisited(near) && (near.isPatch || !fromPatch)) {
            VisitPiece(nearAt, near);
        }
        if (!fromPatch && IsOfEarlierVisit(near)) {
            JoinClusterOf(near);
        }
    };
    tiles_.ForEachInOtherTiles(at, look);
    if (!fromPatch) {
        tiles_.ForEachLinked(at, look);
    }
}

void TouchedNetwork::Turn(PieceAt at, Piece& piece) {
    piece.metIn = present_;
    piece.visit = static_cast<std::int32_t>(visits_.size()) - 1;
    turned_.push_back(at);
}

void TouchedNetwork::JoinClusterOf(const Piece& patch) {
    meetsCluster_ = true;
    const std::int32_t met = ClusterOf(patch.visit);
    visits_[static_cast<std::size_t>(met)].cluster = ClusterOf(static_cast<std::int32_t>(visits_.size()) - 1);
}

std::int32_t TouchedNetwork::ClusterOf(std::int32_t visit) {
    while (visits_[static_cast<std::size_t>(visit)].cluster != visit) {
        VisitRecord& at = visits_[static_cast<std::size_t>(visit)];
        at.cluster = visits_[static_cast<std::size_t>(at.cluster)].cluster;
        visit = at.cluster;
    }
    return visit;
}

// Regions behind the cluster's patches belong to it too, and may bring in more visits of before.
void TouchedNetwork::PassThroughCluster() {
    const auto present = static_cast<std::int32_t>(visits_.size()) - 1;
    for (bool again = true; again;) {
        again = false;
        for (std::size_t i = 0; i < notPassed_.size();) {
            const std::int32_t number = notPassed_[i];
            if (ClusterOf(number) != ClusterOf(present)) {
                ++i;
                continue;
            }
            notPassed_[i] = notPassed_.back();
            notPassed_.pop_back();
            const VisitRecord visit = visits_[static_cast<std::size_t>(number)];
            for (std::size_t k = visit.firstTurned; k < visit.lastTurned; ++k) {
                PassAround(turned_[k]);
            }
            while (!waiting_.empty()) {
                const PieceAt next = waiting_.back();
                waiting_.pop_back();
                PassAround(next);
            }
            again = true;
        }
    }
}

// From patches of the cluster to the regions behind, from these to patches that nothing has met.
void TouchedNetwork::PassAround(PieceAt at) {
    const Piece& piece = tiles_.Get(at);
    const bool isPatch = piece.isPatch;
    const bool isOfCluster = IsOfEarlierVisit(piece);
    const auto look = [&](PieceAt nearAt, Piece& near) {
        if (!near.isPatch) {
            if ((isOfCluster || !isPatch) && !IsVisited(near) && !IsMet(near)) {
                near.metIn = present_;
                waiting_.push_back(nearAt);
            }
            return;
        }
        if (!IsMet(near) && !isOfCluster) {
            Turn(nearAt, near);
            waiting_.push_back(nearAt);
        }
        if (!isPatch && IsOfEarlierVisit(near)) {
            JoinClusterOf(near);
        }
    };
    tiles_.ForEachInOtherTiles(at, look);
    if (isOfCluster || !isPatch) {
        tiles_.ForEachLinked(at, look);
    }
}

void TouchedNetwork::CollectVisitedRows() {
    for (const VisitedTile& at : visitedTiles_) {
        const std::int32_t tile = tiles_.TileAt(at.x0, at.y0);
        TileVisit& visit = tileVisits_[static_cast<std::size_t>(tile)];
        const bool areFew = tiles_.PiecesOf(tile).size() <= kPiecesWithBits;
        if (!areFew || visit.rowsPieces != visit.pieces || visit.rowsFor != tiles_.TimesFound(tile)) {
            CollectVisitedRows(tile);
            visit.rowsPieces = visit.pieces;
            visit.rowsFor = areFew ? tiles_.TimesFound(tile) : 0;
        }
    }
}

void TouchedNetwork::CollectVisitedRows(std::int32_t tile) {
    Rows& visited = visitedRows_[static_cast<std::size_t>(tile)];
    visited.fill(0);
    const std::vector<Piece>& pieces = tiles_.PiecesOf(tile);
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const Piece& piece = pieces[i];
        if (IsVisited(piece)) {
            const Word* rows = tiles_.RowsOf({tile, static_cast<std::int32_t>(i)});
            for (std::size_t row = piece.y0; row <= piece.y1; ++row) {
                visited[row] |= rows[row - piece.y0];
            }
        }
    }
}

void TouchedNetwork::Settle() {
    for (const PieceAt& at : turned_) {
        tiles_.TurnPatch(at);
    }
    for (const VisitedTile& tile : visitedTiles_) {
        const auto number = static_cast<std::size_t>(tiles_.TileAt(tile.x0, tile.y0));
        TileVisit& visit = tileVisits_[number];
        visit.pieces = 0;
        visit.isVisited = visit.hasNews = false;
    }
    turned_.clear();
    visitedPatches_.clear();
    visitedTiles_.clear();
}

}  // namespace Korvane
