#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "bits/BitGrid.h"
#include "bits/ZeroedArray.h"
#include "network/PiecesOfTile.h"
#include "network/SmallVector.h"
#include "network/TileGrid.h"

namespace level_sweep {

/// Which pieces of neighbouring tiles are 8-connected across the side or the corner between the tiles, of either kind.
///
/// Invariants:
/// 1. A piece is at the border in a direction exactly if it has pixels next to the tile there, and there is a tile.
/// 2. A direction of a tile is stale exactly if the opposite one of the next tile is.
/// 3. The contacts in a direction that is not stale are all pairs of adjacent pieces, each once; the next tile has the
///    same pairs the other way round.
class PieceContacts {
public:
    using Word = BitGrid::Word;
    /// Two adjacent pieces, by number.
    struct Contact {
        std::uint16_t here, there;
    };
    struct Range {
        const Contact* first;
        const Contact* last;
    };

    explicit PieceContacts(const TileGrid& grid)
        : grid_(grid), staleDirections_(grid.Tiles()), borders_(grid.Tiles()), tiles_(grid.Tiles()) {}

    /// To be notified of every piece that a tile loses or gains.
    void PieceRemoved(std::int32_t tile, std::size_t number, const TilePiece& piece);
    void PieceAdded(std::int32_t tile, std::size_t number, const TilePiece& piece);

    /// The pieces of mask i of a tile that are at the border in a direction.
    Word AtBorder(std::int32_t tile, std::size_t i, std::size_t direction) const {
        return BorderOf(tile, i)[direction];
    }
    bool IsStale(std::int32_t tile, std::size_t direction) const {
        return (unsigned{staleDirections_[static_cast<std::size_t>(tile)]} >> direction & 1u) != 0;
    }
    /// Finds the contacts of a tile with the next one, for both.
    void Find(std::int32_t tile, std::size_t direction, const PiecesOfTile& here, const PiecesOfTile& there);
    /// The contacts in a direction that is not stale; valid until the next call of Find.
    Range Of(std::int32_t tile, std::size_t direction) const {
        const Tile& at = tiles_[static_cast<std::size_t>(tile)];
        return {at.contacts.data() + at.First(direction), at.contacts.data() + at.ends[direction]};
    }

    /// Fetches ahead a tile's contacts and borders.
    void Fetch(std::int32_t tile) const;

    /// `pieces`: of all tiles.
    void CheckInvariants(const std::vector<PiecesOfTile>& pieces) const;

private:
    static constexpr std::size_t kContactsInside = 48;
    using Border = std::array<Word, TileGrid::kDirections>;
    struct alignas(64) Tile {
        std::array<std::uint16_t, TileGrid::kDirections> ends{};  // where the contacts of a direction end
        SmallVector<Contact, kContactsInside> contacts;           // direction by direction
        std::vector<Border> moreBorders;                          // of all masks but the first

        std::size_t First(std::size_t direction) const { return direction == 0 ? 0 : ends[direction - 1]; }
    };
    /// Pixels of a piece along the border in one direction.
    struct Side {
        Word pixels;
        std::uint16_t number;
    };

    const Border& BorderOf(std::int32_t tile, std::size_t i) const;
    Border& GrowBorderOf(std::int32_t tile, std::size_t i);
    void SetStale(std::int32_t tile, std::size_t direction);
    void SetContacts(std::int32_t tile, std::size_t direction);
    void GatherSides(std::int32_t tile, std::size_t direction, const PiecesOfTile& pieces,
                     std::vector<Side>& sides) const;
    void CheckBorders(std::int32_t tile, const PiecesOfTile& pieces) const;
    void CheckContacts(std::int32_t tile, std::size_t direction, const PiecesOfTile& here,
                       const PiecesOfTile& there) const;

    TileGrid grid_;
    ZeroedArray<std::uint8_t> staleDirections_;  // a bit for each direction
    ZeroedArray<Border> borders_;                // of the first mask
    std::vector<Tile> tiles_;
    // While contacts are found:
    std::vector<Side> here_, there_;
    std::vector<Contact> found_;
};

}  // namespace level_sweep
