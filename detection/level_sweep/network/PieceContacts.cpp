#include "network/PieceContacts.h"

#include <algorithm>
#include <utility>

#include "Assert.h"

namespace level_sweep {
namespace {

using Word = BitGrid::Word;

/// The pixels of a piece next to the tile in each direction; at a corner bit 0.
std::array<Word, TileGrid::kDirections> BorderPixels(const TilePiece& piece) {
    constexpr int last = TileGrid::kSide - 1;
    return {piece.north,     piece.south,         piece.west,      piece.east,
            piece.north & 1, piece.north >> last, piece.south & 1, piece.south >> last};
}

}  // namespace

const PieceContacts::Border& PieceContacts::BorderOf(std::int32_t tile, std::size_t i) const {
    static const Border none{};
    if (i == 0) {
        return borders_[static_cast<std::size_t>(tile)];
    }
    const std::vector<Border>& more = tiles_[static_cast<std::size_t>(tile)].moreBorders;
    return i <= more.size() ? more[i - 1] : none;
}

PieceContacts::Border& PieceContacts::GrowBorderOf(std::int32_t tile, std::size_t i) {
    if (i == 0) {
        return borders_[static_cast<std::size_t>(tile)];
    }
    std::vector<Border>& more = tiles_[static_cast<std::size_t>(tile)].moreBorders;
    if (i > more.size()) {
        more.resize(i);
    }
    return more[i - 1];
}

void PieceContacts::PieceRemoved(std::int32_t tile, std::size_t number, const TilePiece& piece) {
    if ((piece.north | piece.south | piece.west | piece.east) == 0) {
        return;
    }
    Border& border = GrowBorderOf(tile, number / 64);
    const Word bit = Word{1} << number % 64;
    for (std::size_t direction = 0; direction < TileGrid::kDirections; ++direction) {
        if ((border[direction] & bit) != 0) {
            border[direction] &= ~bit;
            SetStale(tile, direction);
        }
    }
}

void PieceContacts::PieceAdded(std::int32_t tile, std::size_t number, const TilePiece& piece) {
    if ((piece.north | piece.south | piece.west | piece.east) == 0) {
        return;
    }
    const std::array<Word, TileGrid::kDirections> pixels = BorderPixels(piece);
    Border& border = GrowBorderOf(tile, number / 64);
    for (std::size_t direction = 0; direction < TileGrid::kDirections; ++direction) {
        if (pixels[direction] != 0 && grid_.HasNext(tile, direction)) {
            border[direction] |= Word{1} << number % 64;
            SetStale(tile, direction);
        }
    }
}

void PieceContacts::SetStale(std::int32_t tile, std::size_t direction) {
    const auto next = static_cast<std::size_t>(grid_.Next(tile, direction));
    staleDirections_[static_cast<std::size_t>(tile)] |= static_cast<std::uint8_t>(1u << direction);
    staleDirections_[next] |= static_cast<std::uint8_t>(1u << TileGrid::Opposite(direction));
}

void PieceContacts::Find(std::int32_t tile, std::size_t direction, const PiecesOfTile& here,
                         const PiecesOfTile& there) {
    const std::int32_t next = grid_.Next(tile, direction);
    const std::size_t back = TileGrid::Opposite(direction);
    GatherSides(tile, direction, here, here_);
    GatherSides(next, back, there, there_);
    found_.clear();
    for (const Side& a : here_) {
        const Word around = DilateRow(a.pixels);
        for (const Side& b : there_) {
            if ((around & b.pixels) != 0) {
                found_.push_back({a.number, b.number});
            }
        }
    }
    SetContacts(tile, direction);
    for (Contact& contact : found_) {
        std::swap(contact.here, contact.there);
    }
    SetContacts(next, back);
}

void PieceContacts::GatherSides(std::int32_t tile, std::size_t direction, const PiecesOfTile& pieces,
                                std::vector<Side>& sides) const {
    constexpr std::array<Word TilePiece::*, 4> kPixels{&TilePiece::north, &TilePiece::south, &TilePiece::west,
                                                       &TilePiece::east};
    sides.clear();
    for (std::size_t i = 0; i < pieces.MaskCount(); ++i) {
        ForEachBit(AtBorder(tile, i, direction), [&](std::size_t bit) {
            const std::size_t number = i * 64 + bit;
            // At a corner there is one pixel.
            const Word pixels = direction < kPixels.size() ? pieces.At(number).*kPixels[direction] : 1;
            sides.push_back({pixels, static_cast<std::uint16_t>(number)});
        });
    }
}

// The contacts in the other directions stay.
void PieceContacts::SetContacts(std::int32_t tile, std::size_t direction) {
    Tile& at = tiles_[static_cast<std::size_t>(tile)];
    const std::size_t first = at.First(direction);
    const std::size_t end = at.ends[direction];
    at.contacts.Replace(first, end, found_.data(), found_.size());
    for (std::size_t i = direction; i < TileGrid::kDirections; ++i) {
        at.ends[i] = static_cast<std::uint16_t>(at.ends[i] + found_.size() - (end - first));
    }
    staleDirections_[static_cast<std::size_t>(tile)] &= static_cast<std::uint8_t>(~(1u << direction));
}

void PieceContacts::Fetch(std::int32_t tile) const {
    constexpr std::ptrdiff_t line = 64;
    const Tile& at = tiles_[static_cast<std::size_t>(tile)];
    const auto* end = reinterpret_cast<const char*>(&at.moreBorders);
    for (const auto* place = reinterpret_cast<const char*>(&at); place < end; place += line) {
        __builtin_prefetch(place);
    }
    __builtin_prefetch(&borders_[static_cast<std::size_t>(tile)]);
}

void PieceContacts::CheckInvariants(const std::vector<PiecesOfTile>& pieces) const {
    for (std::size_t tile = 0; tile < tiles_.size(); ++tile) {
        const auto at = static_cast<std::int32_t>(tile);
        CheckBorders(at, pieces[tile]);
        for (std::size_t direction = 0; direction < TileGrid::kDirections; ++direction) {
            if (!grid_.HasNext(at, direction)) {
                KORVANE_ASSERT(!IsStale(at, direction) && Of(at, direction).first == Of(at, direction).last);
                continue;
            }
            const std::int32_t next = grid_.Next(at, direction);
            KORVANE_ASSERT(IsStale(at, direction) == IsStale(next, TileGrid::Opposite(direction)));
            if (!IsStale(at, direction)) {
                CheckContacts(at, direction, pieces[tile], pieces[static_cast<std::size_t>(next)]);
            }
        }
    }
}

void PieceContacts::CheckBorders(std::int32_t tile, const PiecesOfTile& pieces) const {
    KORVANE_ASSERT(tiles_[static_cast<std::size_t>(tile)].moreBorders.size() < pieces.MaskCount());
    for (std::size_t i = 0; i < pieces.MaskCount(); ++i) {
        Border expected{};
        ForEachBit(pieces.InUse(i), [&](std::size_t bit) {
            const auto pixels = BorderPixels(pieces.At(i * 64 + bit));
            for (std::size_t direction = 0; direction < TileGrid::kDirections; ++direction) {
                const bool isAtBorder = pixels[direction] != 0 && grid_.HasNext(tile, direction);
                expected[direction] |= Word{isAtBorder} << bit;
            }
        });
        KORVANE_ASSERT(BorderOf(tile, i) == expected);
    }
}

void PieceContacts::CheckContacts(std::int32_t tile, std::size_t direction, const PiecesOfTile& here,
                                  const PiecesOfTile& there) const {
    const Range contacts = Of(tile, direction);
    const std::size_t back = TileGrid::Opposite(direction);
    const Range swapped = Of(grid_.Next(tile, direction), back);
    KORVANE_ASSERT(contacts.last - contacts.first == swapped.last - swapped.first);
    const auto has = [](const Range& among, std::size_t a, std::size_t b) {
        return std::count_if(among.first, among.last,
                             [&](const Contact& contact) { return contact.here == a && contact.there == b; }) == 1;
    };
    const auto atSide = [](const PiecesOfTile& pieces, std::size_t towards) {
        std::vector<Side> sides;
        for (std::size_t number = 0; number < pieces.MaskCount() * 64; ++number) {
            const bool isInUse = (pieces.InUse(number / 64) >> number % 64 & 1u) != 0;
            const Word pixels = isInUse ? BorderPixels(pieces.At(number))[towards] : 0;
            if (pixels != 0) {
                sides.push_back({pixels, static_cast<std::uint16_t>(number)});
            }
        }
        return sides;
    };
    std::ptrdiff_t expected = 0;
    const std::vector<Side> sidesThere = atSide(there, back);
    for (const Side& a : atSide(here, direction)) {
        for (const Side& b : sidesThere) {
            if ((DilateRow(a.pixels) & b.pixels) != 0) {
                ++expected;
                KORVANE_ASSERT(has(contacts, a.number, b.number) && has(swapped, b.number, a.number));
            }
        }
    }
    KORVANE_ASSERT(contacts.last - contacts.first == expected);
}

}  // namespace level_sweep
