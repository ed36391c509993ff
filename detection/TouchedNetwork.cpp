#include "TouchedNetwork.h"

#include <algorithm>
#include <cstring>

#include "EnclosedRegion.h"

namespace Korvane {

TouchedNetwork::TouchedNetwork(const CodePlane& map)
    : map_(map),
      words_(map.width, map.height),
      tiles_(map.width, map.height),
      visitedRows_(tiles_.Tiles()),
      known_(tiles_.Tiles() * NetworkTiles::kSide),
      isVisited_(tiles_.Tiles(), 0) {
    for (int y = 0; y < map.height; ++y) {
        const PixelCode* row = map.Row(y);
        for (int x = 0; x < map.width; ++x) {
            if (row[x] == kBackground || row[x] == kTouched) {
                const int x0 = x;
                while (x + 1 < map.width && row[x + 1] == row[x0]) {
                    ++x;
                }
                row[x0] == kBackground ? tiles_.AddPatch({y, x0, x}) : tiles_.AddRegion({y, x0, x});
            }
        }
    }
}

void TouchedNetwork::Touch(const std::vector<PixelRun>& component) {
    visits_.clear();
    notPassed_.clear();
    FindRing(component);
    PieceAt last{-1, 0};
    for (const Position& at : ring_) {
        if (last.tile >= 0 && tiles_.Holds(last, at.x, at.y)) {
            continue;
        }
        last = tiles_.Find(at.x, at.y);
        if (!tiles_.Get(last).visited) {
            Visit(last);
        }
    }
    CollectVisitedRows();
}

void TouchedNetwork::FindRing(const std::vector<PixelRun>& component) {
    ring_.clear();
    const auto add = [&](int x, int y) {
        if (map_.At(x, y) != kAnalysed) {
            ring_.push_back({x, y});
        }
    };
    for (const PixelRun& run : component) {
        if (run.x0 > 0) {
            add(run.x0 - 1, run.y);
        }
        if (run.x1 + 1 < map_.width) {
            add(run.x1 + 1, run.y);
        }
        for (int x = run.x0; x <= run.x1; ++x) {
            if (run.y > 0) {
                add(x, run.y - 1);
            }
            if (run.y + 1 < map_.height) {
                add(x, run.y + 1);
            }
        }
    }
    std::sort(ring_.begin(), ring_.end(),
              [](const Position& a, const Position& b) { return a.y != b.y ? a.y < b.y : a.x < b.x; });
}

// A visit to a patch that an earlier one turned finds the regions around it in the cluster, one to a patch that nothing
// has met does not.
void TouchedNetwork::Visit(PieceAt at) {
    const auto number = static_cast<std::int32_t>(visits_.size());
    visits_.push_back({number, turned_.size(), turned_.size()});
    meetsCluster_ = false;
    if (tiles_.Get(at).before) {
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
    for (std::size_t i = visit.firstTurned; i < visit.lastTurned; ++i) {
        tiles_.Get(turned_[i]).before = true;
    }
    if (visit.firstTurned < visit.lastTurned) {
        notPassed_.push_back(number);
    }
}

void TouchedNetwork::VisitPiece(PieceAt at, Piece& piece) {
    piece.visited = true;
    visited_.push_back(at);
    waiting_.push_back(at);
    if (piece.isPatch && !piece.met) {
        Turn(at, piece);
    }
}

// From regions visits go on to patches, from patches to the same patch only.
void TouchedNetwork::VisitAround(PieceAt at) {
    const bool fromPatch = tiles_.Get(at).isPatch;
    const auto look = [&](PieceAt nearAt, Piece& near) {
        if (!near.visited && (near.isPatch || !fromPatch)) {
            VisitPiece(nearAt, near);
        }
        if (near.before && !fromPatch) {
            JoinClusterOf(near);
        }
    };
    tiles_.ForEachInOtherTiles(at, look);
    if (!fromPatch) {
        tiles_.ForEachLinked(at, look);
    }
}

void TouchedNetwork::Turn(PieceAt at, Piece& piece) {
    piece.met = true;
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
    const bool isOfCluster = isPatch && piece.before;
    const auto look = [&](PieceAt nearAt, Piece& near) {
        if (!near.isPatch) {
            if ((isOfCluster || !isPatch) && !near.visited && !near.met) {
                near.met = true;
                passed_.push_back(nearAt);
                waiting_.push_back(nearAt);
            }
            return;
        }
        if (!near.met && !isOfCluster) {
            Turn(nearAt, near);
            waiting_.push_back(nearAt);
        }
        if (near.before && !isPatch) {
            JoinClusterOf(near);
        }
    };
    tiles_.ForEachInOtherTiles(at, look);
    tiles_.ForEachLinked(at, look);
}

void TouchedNetwork::CollectVisitedRows() {
    for (const PieceAt& at : visited_) {
        if (isVisited_[static_cast<std::size_t>(at.tile)] == 0) {
            isVisited_[static_cast<std::size_t>(at.tile)] = 1;
            visitedTiles_.push_back({tiles_.Left(at.tile), tiles_.Top(at.tile)});
        }
        const Piece& piece = tiles_.Get(at);
        const Word* from = tiles_.RowsOf(at);
        Word* to = visitedRows_[static_cast<std::size_t>(at.tile)].data() + piece.y0;
        for (int i = 0; i <= piece.y1 - piece.y0; ++i) {
            to[i] |= from[i];
        }
    }
}

void TouchedNetwork::Settle() {
    for (const PieceAt& at : turned_) {
        Piece& piece = tiles_.Get(at);
        piece.met = false;
        piece.before = false;
        const Word* rows = tiles_.RowsOf(at);
        const int x0 = tiles_.Left(at.tile);
        const int y0 = tiles_.Top(at.tile);
        for (int row = piece.y0; row <= piece.y1; ++row) {
            ForEachRun(rows[row - piece.y0], [&](int first, int last) {
                std::memset(map_.Row(y0 + row) + x0 + first, kTouched, static_cast<std::size_t>(last - first + 1));
            });
        }
        tiles_.TurnPatch(at);
    }
    for (const PieceAt& at : visited_) {
        tiles_.Get(at).visited = false;
    }
    for (const PieceAt& at : passed_) {
        tiles_.Get(at).met = false;
    }
    for (const VisitedTile& tile : visitedTiles_) {
        const auto number = static_cast<std::size_t>(tiles_.TileAt(tile.x0, tile.y0));
        isVisited_[number] = 0;
        visitedRows_[number].fill(0);
    }
    turned_.clear();
    visited_.clear();
    passed_.clear();
    visitedTiles_.clear();
}

void TouchedNetwork::Clear(const PixelRun& run, std::vector<PixelRun>& cleared) {
    PixelCode* row = map_.Row(run.y);
    tiles_.ClearRegion(run, [&](const PixelRun& stretch) {
        std::memset(row + stretch.x0, kBackground, static_cast<std::size_t>(stretch.x1 - stretch.x0 + 1));
        cleared.push_back(stretch);
    });
}

}  // namespace Korvane
