#pragma once

#include <cstddef>
#include <cstdint>

#include "network/FloodMarks.h"
#include "network/PieceTiles.h"

namespace level_sweep {

/// Carries floods from piece to adjacent piece, within tiles and across their borders. Which of the pieces that it
/// reaches are taken is for the flood to decide: it makes them wait, and the spread goes on from them.
///
/// In all calls reach(tile, mask, adjacent to regions, adjacent to patches) receives the pieces of one of a tile's masks
/// that are adjacent to the regions, and to the patches, that the spread goes on from. A patch is one piece of its tile
/// and goes on to the rest of itself only: the spread follows it to the tiles around, and `reach` leaves out the regions
/// that are adjacent to it there.
class FloodSpread {
public:
    using Word = FloodMarks::Word;
    using Masks = FloodMarks::Masks;

    /// Both have to outlive it.
    FloodSpread(PieceTiles& tiles, FloodMarks& marks) : tiles_(tiles), marks_(marks) {}

    /// Lets pieces of a tile wait; `masks` are the marks of their mask.
    void Wait(std::int32_t tile, Masks& masks, Word pieces);

    /// Goes on from all pieces that wait, and from those that `reach` makes wait, until none does.
    template <typename ReachPieces>
    void Run(ReachPieces reach);

    /// Goes on from `pieces` of a mask as from regions, without those that `reach` makes wait.
    template <typename ReachPieces>
    void Once(std::int32_t tile, std::size_t mask, Word pieces, ReachPieces reach);

private:
    /// Pieces of a tile to go on from.
    struct Sources {
        PieceSet regions;
        PieceSet patches;
    };

    template <typename ReachPieces>
    void Inside(std::int32_t tile, Sources& from, ReachPieces reach);
    template <typename ReachPieces>
    void Across(std::int32_t tile, const Sources& from, ReachPieces reach);
    template <typename ReachPieces>
    void Across(const PieceTiles::Contacts& contacts, const Sources& from, std::size_t masks, ReachPieces reach);

    PieceTiles& tiles_;
    FloodMarks& marks_;
};

inline void FloodSpread::Wait(std::int32_t tile, Masks& masks, Word pieces) {
    masks.waiting |= pieces;
    if (marks_.Queue(tile)) {
        tiles_.FetchLinks(tile);
        for (const std::size_t direction : {TileGrid::kNorth, TileGrid::kSouth}) {
            if (tiles_.Grid().HasNext(tile, direction)) {
                marks_.Fetch(tiles_.Grid().Next(tile, direction));
            }
        }
    }
}

template <typename ReachPieces>
void FloodSpread::Run(ReachPieces reach) {
    Sources from;
    for (std::size_t i = 0; i < marks_.Queued().size(); ++i) {
        const std::int32_t tile = marks_.Queued()[i];
        Inside(tile, from, reach);
        Across(tile, from, reach);
    }
    marks_.ClearQueue();
}

template <typename ReachPieces>
void FloodSpread::Once(std::int32_t tile, std::size_t mask, Word pieces, ReachPieces reach) {
    const std::size_t masks = tiles_.MaskCount(tile);
    Sources from;
    for (std::size_t i = 0; i < masks; ++i) {
        from.regions[i] = i == mask ? pieces : 0;
        from.patches[i] = 0;
    }
    for (std::size_t i = 0; i < masks; ++i) {
        reach(tile, i, tiles_.LinkedWith(tile, mask, pieces, i), 0);
    }
    Across(tile, from, reach);
}

// Takes all that waits in a tile, and reaches the pieces of the same tile adjacent to it.
template <typename ReachPieces>
void FloodSpread::Inside(std::int32_t tile, Sources& from, ReachPieces reach) {
    const std::size_t count = tiles_.MaskCount(tile);
    for (std::size_t i = 0; i < count; ++i) {
        from.regions[i] = from.patches[i] = 0;
    }
    for (bool again = true; again;) {
        again = false;
        for (std::size_t i = 0; i < count; ++i) {
            Masks& masks = marks_.Of(tile, i);
            const Word regions = masks.waiting & ~tiles_.PatchesOf(tile, i);
            from.regions[i] |= regions;
            from.patches[i] |= masks.waiting & tiles_.PatchesOf(tile, i);
            masks.waiting = 0;
            for (std::size_t k = 0; regions != 0 && k < count; ++k) {
                reach(tile, k, tiles_.LinkedWith(tile, i, regions, k), 0);
            }
            again = again || regions != 0;
        }
    }
    marks_.Processed(tile);
}

template <typename ReachPieces>
void FloodSpread::Across(std::int32_t tile, const Sources& from, ReachPieces reach) {
    const std::size_t masks = tiles_.MaskCount(tile);
    for (std::size_t direction = 0; direction < TileGrid::kDirections; ++direction) {
        Word atBorder = 0;
        for (std::size_t i = 0; i < masks; ++i) {
            atBorder |= (from.regions[i] | from.patches[i]) & tiles_.AtBorder(tile, i, direction);
        }
        if (atBorder != 0) {
            Across(tiles_.ContactsOf(tile, direction), from, masks, reach);
        }
    }
}

template <typename ReachPieces>
void FloodSpread::Across(const PieceTiles::Contacts& contacts, const Sources& from, std::size_t masks,
                         ReachPieces reach) {
    const std::size_t masksThere = tiles_.MaskCount(contacts.tile);
    if (masks == 1 && masksThere == 1) {
        Word adjacentToRegions = 0;
        Word adjacentToPatches = 0;
        for (const PieceContacts::Contact* contact = contacts.first; contact != contacts.last; ++contact) {
            adjacentToRegions |= (from.regions[0] >> contact->here & 1u) << contact->there;
            adjacentToPatches |= (from.patches[0] >> contact->here & 1u) << contact->there;
        }
        reach(contacts.tile, 0, adjacentToRegions, adjacentToPatches);
        return;
    }
    Sources adjacent;
    for (std::size_t i = 0; i < masksThere; ++i) {
        adjacent.regions[i] = adjacent.patches[i] = 0;
    }
    for (const PieceContacts::Contact* contact = contacts.first; contact != contacts.last; ++contact) {
        const std::size_t here = contact->here / 64;
        const std::size_t there = contact->there / 64;
        adjacent.regions[there] |= (from.regions[here] >> contact->here % 64 & 1u) << contact->there % 64;
        adjacent.patches[there] |= (from.patches[here] >> contact->here % 64 & 1u) << contact->there % 64;
    }
    for (std::size_t i = 0; i < masksThere; ++i) {
        reach(contacts.tile, i, adjacent.regions[i], adjacent.patches[i]);
    }
}

}  // namespace level_sweep
