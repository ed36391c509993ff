#include "network/TouchedNetwork.h"

namespace level_sweep {
namespace {

std::size_t MaskOf(PieceTiles::PieceAt at) { return static_cast<std::size_t>(at.piece) / 64; }

}  // namespace

TouchedNetwork::TouchedNetwork(const BitPlane& background, const BitPlane& touched)
    : height_(background.Height()),
      words_(background.Grid()),
      tiles_(background.Width(), background.Height()),
      visitedRows_(tiles_.Tiles()),
      known_(tiles_.Tiles() * PieceTiles::kSide),
      collected_(tiles_.Tiles()) {
    for (int y = 0; y < height_; ++y) {
        for (int column = 0; column < words_.WordsPerRow(); ++column) {
            const std::int32_t word = words_.WordAt(0, y) + column;
            tiles_.AddRow(tiles_.TileAt(column * PieceTiles::kSide, y), y, touched[word], background[word]);
        }
    }
    tiles_.TakeRegionChanges([](std::int32_t, int, Word, Word) {});
}

void TouchedNetwork::Touch(const std::vector<WordPixels<BitGrid>>& component) {
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
            const int x0 = column * PieceTiles::kSide;
            // The component itself is of neither kind.
            Word left = around & tiles_.EitherIn(tiles_.TileAt(x0, y), y);
            while (left != 0) {
                const PieceAt at = tiles_.Find(x0 + BitGrid::LowestBit(left), y);
                left &= ~tiles_.PixelsOfRow(at, y);
                if ((VisitedPieces(at.tile, MaskOf(at)) & PieceTiles::BitOf(at)) == 0) {
                    Visit(at);
                }
            }
        }
    }
    CollectVisitedRows();
}

void TouchedNetwork::FindRing(const std::vector<WordPixels<BitGrid>>& component) {
    const std::int32_t wordsPerRow = words_.WordsPerRow();
    PixelBox box;
    for (const WordPixels<BitGrid>& part : component) {
        const std::int32_t y = part.word / wordsPerRow;
        const std::int32_t column = part.word - y * wordsPerRow;
        box.Include({y, column, column});
    }
    box.Grow(1, wordsPerRow, height_);
    wordBox_ = box;
    component_.assign(static_cast<std::size_t>(box.Width()) * static_cast<std::size_t>(box.Height()), 0);
    for (const WordPixels<BitGrid>& part : component) {
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
    ring |= column > 0 ? word[-1] >> (PieceTiles::kSide - 1) : 0;
    ring |= column + 1 < width ? word[1] << (PieceTiles::kSide - 1) : 0;
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
    VisitNear(at.tile, MaskOf(at), PieceTiles::BitOf(at), 0);
    Flood([this](std::int32_t tile, std::size_t mask, Word besideRegions, Word besidePatches) {
        VisitNear(tile, mask, besideRegions, besidePatches);
    });
    if (meetsCluster_) {
        PassThroughCluster();
    }
    VisitRecord& visit = visits_.back();
    visit.lastTurned = turned_.size();
    if (visit.firstTurned < visit.lastTurned) {
        notPassed_.push_back(number);
    }
}

// From regions visits go on to regions and patches, from patches to the same patch only.
void TouchedNetwork::VisitNear(std::int32_t tile, std::size_t mask, Word besideRegions, Word besidePatches) {
    Masks& masks = Reached(tile, mask);
    JoinClustersOf(tile, mask, besideRegions & masks.patches & masks.met);
    const Word found = (besideRegions | (besidePatches & masks.patches)) & ~masks.visited;
    if (found == 0) {
        return;
    }
    State& state = tiles_.StateOf(tile);
    if (!state.isVisited) {
        state.isVisited = true;
        visitedTiles_.push_back({tiles_.Left(tile), tiles_.Top(tile)});
    }
    masks.visited |= found;
    Turn(tile, mask, found & masks.patches & ~masks.met);
    Wait(tile, masks, found);
}

// The masks of a tile that is refreshed, for the present component.
TouchedNetwork::Masks& TouchedNetwork::Reached(std::int32_t tile, std::size_t mask) {
    State& state = tiles_.StateOf(tile);
    if (state.seenIn != present_) {
        state.seenIn = present_;
        for (std::size_t i = 0; i < state.maskCount; ++i) {
            Masks& masks = tiles_.MasksOf(tile, i);
            masks.visited = masks.met = masks.metFirst = 0;
        }
    }
    return tiles_.MasksOf(tile, mask);
}

void TouchedNetwork::Wait(std::int32_t tile, Masks& masks, Word pieces) {
    State& state = tiles_.StateOf(tile);
    masks.waiting |= pieces;
    if (!state.isWaiting) {
        state.isWaiting = true;
        tiles_.FetchLinks(tile);
        waiting_.push_back(tile);
    }
}

void TouchedNetwork::Turn(std::int32_t tile, std::size_t mask, Word pieces) {
    if (pieces == 0) {
        return;
    }
    Masks& masks = tiles_.MasksOf(tile, mask);
    masks.met |= pieces;
    // Most are turned by the first visit, and most analyses make no other: then pieces are not asked for.
    if (Present() == 0) {
        masks.metFirst |= pieces;
    } else {
        ForEachBit(pieces, [&](std::size_t bit) {
            tiles_.Get({tile, static_cast<std::int32_t>(mask * 64 + bit)}).visit = Present();
        });
    }
    turned_.push_back({tile, static_cast<std::int32_t>(mask), pieces});
}

// `patches` that were turned for the present component, also by the present visit.
void TouchedNetwork::JoinClustersOf(std::int32_t tile, std::size_t mask, Word patches) {
    if (Present() == 0 || patches == 0) {
        return;
    }
    const Word ofFirst = patches & tiles_.MasksOf(tile, mask).metFirst;
    if (ofFirst != 0) {
        JoinCluster(0);
    }
    ForEachBit(patches & ~ofFirst, [&](std::size_t bit) {
        const std::int32_t visit = tiles_.Get({tile, static_cast<std::int32_t>(mask * 64 + bit)}).visit;
        if (visit < Present()) {
            JoinCluster(visit);
        }
    });
}

void TouchedNetwork::JoinCluster(std::int32_t visit) {
    meetsCluster_ = true;
    const std::int32_t met = ClusterOf(visit);
    visits_[static_cast<std::size_t>(met)].cluster = ClusterOf(Present());
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
    for (bool again = true; again;) {
        again = false;
        for (std::size_t i = 0; i < notPassed_.size();) {
            const std::int32_t number = notPassed_[i];
            if (ClusterOf(number) != ClusterOf(Present())) {
                ++i;
                continue;
            }
            notPassed_[i] = notPassed_.back();
            notPassed_.pop_back();
            const VisitRecord visit = visits_[static_cast<std::size_t>(number)];
            for (std::size_t k = visit.firstTurned; k < visit.lastTurned; ++k) {
                PassBehind(turned_[k]);
            }
            Flood([this](std::int32_t tile, std::size_t mask, Word besideRegions, Word besidePatches) {
                PassNear(tile, mask, besideRegions, besidePatches);
            });
            again = true;
        }
    }
}

// From patches of the cluster to the regions behind.
void TouchedNetwork::PassBehind(const PiecesAt& patches) {
    const auto pass = [&](std::int32_t tile, std::size_t mask, Word beside, Word) {
        Masks& masks = Reached(tile, mask);
        const Word found = beside & ~(masks.patches | masks.visited | masks.met);
        masks.met |= found;
        if (found != 0) {
            Wait(tile, masks, found);
        }
    };
    const std::size_t masks = tiles_.StateOf(patches.tile).maskCount;
    Sources from;
    for (std::size_t i = 0; i < masks; ++i) {
        from.regions[i] = i == static_cast<std::size_t>(patches.mask) ? patches.pieces : 0;
        from.patches[i] = 0;
    }
    for (std::size_t i = 0; i < masks; ++i) {
        pass(patches.tile, i,
             tiles_.LinkedWith(patches.tile, static_cast<std::size_t>(patches.mask), patches.pieces, i), 0);
    }
    ReachAcross(patches.tile, from, pass);
}

// From regions on to regions, and to patches that nothing has met; from these to the same patch only.
void TouchedNetwork::PassNear(std::int32_t tile, std::size_t mask, Word besideRegions, Word besidePatches) {
    Masks& masks = Reached(tile, mask);
    JoinClustersOf(tile, mask, besideRegions & masks.patches & masks.met);
    const Word regions = besideRegions & ~(masks.patches | masks.visited | masks.met);
    const Word patches = (besideRegions | besidePatches) & masks.patches & ~masks.met;
    masks.met |= regions;
    Turn(tile, mask, patches);
    if ((regions | patches) != 0) {
        Wait(tile, masks, regions | patches);
    }
}

template <typename Near>
void TouchedNetwork::Flood(Near near) {
    Sources from;
    for (std::size_t i = 0; i < waiting_.size(); ++i) {
        const std::int32_t tile = waiting_[i];
        TakeWaiting(tile, from, near);
        ReachAcross(tile, from, near);
    }
    waiting_.clear();
}

// All that waits in a tile, and what in the same tile is beside it.
template <typename Near>
void TouchedNetwork::TakeWaiting(std::int32_t tile, Sources& from, Near near) {
    const std::size_t count = tiles_.StateOf(tile).maskCount;
    for (std::size_t i = 0; i < count; ++i) {
        from.regions[i] = from.patches[i] = 0;
    }
    for (bool again = true; again;) {
        again = false;
        for (std::size_t i = 0; i < count; ++i) {
            Masks& masks = tiles_.MasksOf(tile, i);
            const Word regions = masks.waiting & ~masks.patches;
            from.regions[i] |= regions;
            from.patches[i] |= masks.waiting & masks.patches;
            masks.waiting = 0;
            for (std::size_t k = 0; regions != 0 && k < count; ++k) {
                near(tile, k, tiles_.LinkedWith(tile, i, regions, k), 0);
            }
            again = again || regions != 0;
        }
    }
    tiles_.StateOf(tile).isWaiting = false;
}

template <typename Near>
void TouchedNetwork::ReachAcross(std::int32_t tile, const Sources& from, Near near) {
    const std::size_t masks = tiles_.StateOf(tile).maskCount;
    for (std::size_t direction = 0; direction < PieceTiles::kDirections; ++direction) {
        Word atBorder = 0;
        for (std::size_t i = 0; i < masks; ++i) {
            atBorder |= (from.regions[i] | from.patches[i]) & tiles_.AtBorder(tile, i, direction);
        }
        if (atBorder != 0) {
            ReachAcross(tiles_.ContactsOf(tile, direction), from, masks, near);
        }
    }
}

template <typename Near>
void TouchedNetwork::ReachAcross(const PieceTiles::Contacts& contacts, const Sources& from, std::size_t masks,
                                 Near near) {
    const std::size_t masksThere = tiles_.StateOf(contacts.tile).maskCount;
    if (masks == 1 && masksThere == 1) {
        Word besideRegions = 0;
        Word besidePatches = 0;
        for (const PieceTiles::Contact* contact = contacts.first; contact != contacts.last; ++contact) {
            besideRegions |= (from.regions[0] >> contact->here & 1u) << contact->there;
            besidePatches |= (from.patches[0] >> contact->here & 1u) << contact->there;
        }
        near(contacts.tile, 0, besideRegions, besidePatches);
        return;
    }
    Sources beside;
    for (std::size_t i = 0; i < masksThere; ++i) {
        beside.regions[i] = beside.patches[i] = 0;
    }
    for (const PieceTiles::Contact* contact = contacts.first; contact != contacts.last; ++contact) {
        const std::size_t here = contact->here / 64;
        const std::size_t there = contact->there / 64;
        beside.regions[there] |= (from.regions[here] >> contact->here % 64 & 1u) << contact->there % 64;
        beside.patches[there] |= (from.patches[here] >> contact->here % 64 & 1u) << contact->there % 64;
    }
    for (std::size_t i = 0; i < masksThere; ++i) {
        near(contacts.tile, i, beside.regions[i], beside.patches[i]);
    }
}

void TouchedNetwork::CollectVisitedRows() {
    for (const VisitedTile& at : visitedTiles_) {
        const std::int32_t tile = tiles_.TileAt(at.x0, at.y0);
        State& state = tiles_.StateOf(tile);
        if (state.maskCount > 1 || state.isFoundAnew ||
            collected_[static_cast<std::size_t>(tile)].pieces != state.masks.visited) {
            CollectVisitedRows(tile);
            state.isFoundAnew = false;
        }
    }
}

void TouchedNetwork::CollectVisitedRows(std::int32_t tile) {
    Rows& visited = visitedRows_[static_cast<std::size_t>(tile)];
    PieceSet pieces;
    for (std::size_t i = 0; i < tiles_.StateOf(tile).maskCount; ++i) {
        pieces[i] = tiles_.MasksOf(tile, i).visited;
    }
    tiles_.FindPixels(tile, pieces, visited);
    // As long as these pixels are visited, what is known only comes to have more of them, or less of others.
    const Word* known = known_.data() + static_cast<std::size_t>(tile) * PieceTiles::kSide;
    Collected& collected = collected_[static_cast<std::size_t>(tile)];
    collected = {pieces[0], 0, 0};
    for (std::size_t row = 0; row < visited.size(); ++row) {
        const Word strays = known[row] & ~visited[row];
        collected.strayRows |= Word{strays != 0} << row;
        collected.strayColumns |= strays;
    }
}

// Of visited patches those that may be next to something known that is not visited.
TouchedNetwork::Word TouchedNetwork::PatchesWithStrays(std::int32_t tile, std::size_t mask, Word patches) const {
    const auto hasStrays = [&](std::int32_t at) {
        const State& state = tiles_.StateOf(at);
        return !state.isVisited || collected_[static_cast<std::size_t>(at)].strayRows != 0;
    };
    if (patches == 0 || hasStrays(tile)) {
        return patches;
    }
    Word found = 0;
    for (std::size_t direction = 0; direction < PieceTiles::kDirections; ++direction) {
        const Word atBorder = patches & tiles_.AtBorder(tile, mask, direction);
        found |= atBorder != 0 && hasStrays(tiles_.Next(tile, direction)) ? atBorder : 0;
    }
    return found;
}

// Whether visited pieces of a tile may have pixels that are not known; all of them are from now on.
bool TouchedNetwork::HasNews(std::int32_t tile) {
    bool hasNews = false;
    for (std::size_t i = 0; i < tiles_.StateOf(tile).maskCount; ++i) {
        Masks& masks = tiles_.MasksOf(tile, i);
        hasNews = hasNews || (masks.visited & ~masks.known) != 0;
        masks.known |= masks.visited;
    }
    return hasNews;
}

void TouchedNetwork::Settle() {
    // All patches that are met are turned.
    PieceSet turned;
    for (std::size_t k = 0; k < turned_.size(); ++k) {
        if (k + kTilesAhead < turned_.size()) {
            tiles_.FetchPatches(turned_[k + kTilesAhead].tile);
        }
        const PiecesAt& at = turned_[k];
        Word any = 0;
        for (std::size_t i = 0; i < tiles_.StateOf(at.tile).maskCount; ++i) {
            const Masks& masks = tiles_.MasksOf(at.tile, i);
            turned[i] = masks.met & masks.patches;
            any |= turned[i];
        }
        if (any != 0) {
            tiles_.TurnPatches(at.tile, turned);
        }
    }
    for (const VisitedTile& tile : visitedTiles_) {
        tiles_.StateOf(tiles_.TileAt(tile.x0, tile.y0)).isVisited = false;
    }
    turned_.clear();
    visitedTiles_.clear();
}

}  // namespace level_sweep
