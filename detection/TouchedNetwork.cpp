#include "TouchedNetwork.h"

#include <algorithm>

namespace Korvane {
namespace {

// Which of eight codes equal one: a bit each, the first one lowest. A byte of the difference is 0 where its upper bit
// comes neither from itself nor from adding 127 to the rest; the product moves these bits side by side.
BitGrid::Word EqualInEight(const PixelCode* codes, PixelCode code) {
    constexpr std::uint64_t eachByte = 0x0101010101010101u;
    constexpr std::uint64_t rest = 0x7F * eachByte;
    std::uint64_t difference = 0;
    std::memcpy(&difference, codes, sizeof(difference));
    difference ^= code * eachByte;
    const std::uint64_t equal = ~(((difference & rest) + rest) | difference | rest);
    return (equal >> 7) * 0x0102040810204080u >> 56;
}

BitGrid::Word PixelsOf(const PixelCode* codes, int count, PixelCode code) {
    BitGrid::Word pixels = 0;
    int x = 0;
    for (; x + 8 <= count; x += 8) {
        pixels |= EqualInEight(codes + x, code) << x;
    }
    for (; x < count; ++x) {
        pixels |= BitGrid::Word{codes[x] == code} << x;
    }
    return pixels;
}

}  // namespace

TouchedNetwork::TouchedNetwork(const CodePlane& map)
    : map_(map),
      words_(map.width, map.height),
      tiles_(map.width, map.height),
      visitedRows_(tiles_.Tiles()),
      known_(tiles_.Tiles() * NetworkTiles::kSide),
      tileVisits_(tiles_.Tiles()) {
    for (int y = 0; y < map.height; ++y) {
        for (int x0 = 0; x0 < map.width; x0 += NetworkTiles::kSide) {
            const PixelCode* codes = map.Row(y) + x0;
            const int count = std::min(map.width - x0, NetworkTiles::kSide);
            tiles_.AddRow(tiles_.TileAt(x0, y), y, PixelsOf(codes, count, kTouched),
                          PixelsOf(codes, count, kBackground));
        }
    }
    tiles_.TakeRegionChanges([](std::int32_t, int, Word, Word) {});  // the map has them
}

void TouchedNetwork::Touch(const std::vector<PixelRun>& component) {
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

void TouchedNetwork::FindRing(const std::vector<PixelRun>& component) {
    PixelBox box;
    for (const PixelRun& run : component) {
        box.Include(run);
    }
    box.Grow(1, map_.width, map_.height);
    wordBox_ = {box.x0 / NetworkTiles::kSide, box.y0, box.x1 / NetworkTiles::kSide, box.y1};
    component_.assign(static_cast<std::size_t>(wordBox_.Width()) * static_cast<std::size_t>(wordBox_.Height()), 0);
    for (const PixelRun& run : component) {
        Word* row = component_.data() + static_cast<std::ptrdiff_t>(run.y - wordBox_.y0) * wordBox_.Width();
        const int first = run.x0 / NetworkTiles::kSide;
        const int last = run.x1 / NetworkTiles::kSide;
        for (int column = first; column <= last; ++column) {
            Word bits = ~Word{0};
            bits &= column == first ? ~Word{0} << (run.x0 % NetworkTiles::kSide) : bits;
            bits &= column == last ? ~Word{0} >> (NetworkTiles::kSide - 1 - run.x1 % NetworkTiles::kSide) : bits;
            row[column - wordBox_.x0] |= bits;
        }
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
    tile.pieces |= BitGrid::Bit(at.piece);
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
    const auto look = [&](PieceAt nearAt, Piece& near) {
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
        const bool areFew = tiles_.PiecesOf(tile).size() <= 64;
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
            const Word* rows = tiles_.RowsOf({tile, static_cast<std::int32_t>(i)}) - piece.y0;
            for (std::size_t row = piece.y0; row <= piece.y1; ++row) {
                visited[row] |= rows[row];
            }
        }
    }
}

TouchedNetwork::Word TouchedNetwork::VisitedIn(std::int32_t word) const {
    const int y = word / words_.WordsPerRow();
    const std::int32_t tile = tiles_.TileAt((word - y * words_.WordsPerRow()) * NetworkTiles::kSide, y);
    return VisitedRow(tile, y & (NetworkTiles::kSide - 1));
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
