#include "network/PieceTiles.h"

#include <algorithm>

namespace level_sweep {

using Word = BitGrid::Word;

PieceTiles::PieceTiles(int width, int height)
    : tilesPerRow_((width + kSide - 1) / kSide),
      tileRows_((height + kSide - 1) / kSide),
      bits_(static_cast<std::size_t>(tilesPerRow_) * static_cast<std::size_t>(tileRows_)),
      states_(bits_.size()),
      borders_(bits_.size()),
      tiles_(bits_.size()) {
    for (std::size_t direction = 0; direction < kDirections; ++direction) {
        offsets_[direction] = kSteps[direction].y * tilesPerRow_ + kSteps[direction].x;
    }
    for (std::size_t tile = 0; tile < states_.size(); ++tile) {
        states_[tile].maskCount = 1;
        tiles_[tile].found.resize(1);
    }
}

void PieceTiles::AddPatch(int tileColumn, int y, Word pixels) {
    const std::int32_t tile = TileOf(tileColumn, y);
    BitsOf(tile).either[RowOf(y)] |= pixels;
    BitsOf(tile).patch[RowOf(y)] |= pixels;
    StateOf(tile).isStale = StateOf(tile).hasGrown = true;
}

bool PieceTiles::IsPatchAround(int x, int y) const {
    const int bit = x & (kSide - 1);
    const int row = y & (kSide - 1);
    if (bit > 0 && bit < kSide - 1 && row > 0 && row < kSide - 1) {
        const Word* patch = &bits_[static_cast<std::size_t>(TileAt(x, y))].patch[static_cast<std::size_t>(row)];
        return ((patch[-1] | patch[0] | patch[1]) >> (bit - 1) & 7u) != 0;
    }
    for (int v = std::max(y - 1, 0); v <= std::min(y + 1, tileRows_ * kSide - 1); ++v) {
        for (int u = std::max(x - 1, 0); u <= std::min(x + 1, tilesPerRow_ * kSide - 1); ++u) {
            if ((PatchesIn(u / kSide, v) & BitGrid::Bit(u)) != 0) {
                return true;
            }
        }
    }
    return false;
}

void PieceTiles::TurnPatches(std::int32_t tile, const PieceSet& turned) {
    Rows& patch = BitsOf(tile).patch;
    int turnedCount = 0;
    int leftCount = 0;
    for (std::size_t i = 0; i < StateOf(tile).maskCount; ++i) {
        MasksOf(tile, i).patches &= ~turned[i];
        turnedCount += __builtin_popcountll(turned[i]);
        leftCount += __builtin_popcountll(MasksOf(tile, i).patches);
    }
    Rows rows{};
    for (std::size_t i = 0; i < StateOf(tile).maskCount; ++i) {
        AddRows(tile, i, leftCount < turnedCount ? MasksOf(tile, i).patches : turned[i], rows);
    }
    for (std::size_t y = 0; y < rows.size(); ++y) {
        patch[y] = leftCount < turnedCount ? rows[y] : patch[y] & ~rows[y];
    }
    NoteRegionChange(tile);
}

void PieceTiles::FindPixels(std::int32_t tile, const PieceSet& pieces, TileRows& pixels) const {
    const Tile& at = tiles_[static_cast<std::size_t>(tile)];
    int count = 0;
    int otherCount = 0;
    for (std::size_t i = 0; i < at.found.size(); ++i) {
        count += __builtin_popcountll(pieces[i]);
        otherCount += __builtin_popcountll(at.found[i].pieces & ~pieces[i]);
    }
    pixels.fill(0);
    for (std::size_t i = 0; i < at.found.size(); ++i) {
        AddRows(tile, i, otherCount < count ? at.found[i].pieces & ~pieces[i] : pieces[i], pixels);
    }
    if (otherCount < count) {
        const Rows& either = BitsOf(tile).either;
        for (std::size_t y = 0; y < pixels.size(); ++y) {
            pixels[y] = either[y] & ~pixels[y];
        }
    }
}

void PieceTiles::AddRows(std::int32_t tile, std::size_t i, Word pieces, TileRows& pixels) const {
    ForEachBit(pieces, [&](std::size_t bit) {
        const PieceAt at{tile, static_cast<std::int32_t>(i * 64 + bit)};
        const Piece& piece = Get(at);
        const Word* rows = RowsOf(at);
        for (std::size_t row = piece.y0; row <= piece.y1; ++row) {
            pixels[row] |= rows[row - piece.y0];
        }
    });
}

PieceTiles::PieceAt PieceTiles::Find(int x, int y) {
    PieceAt at{TileAt(x, y), 0};
    Refresh(at.tile);
    const Tile& tile = tiles_[static_cast<std::size_t>(at.tile)];
    for (const Found& found : tile.found) {
        for (Word left = found.pieces; left != 0; left &= left - 1) {
            const PieceAt near{at.tile, at.piece + BitGrid::LowestBit(left)};
            if ((Get(near).columns & BitGrid::Bit(x)) != 0 && (PixelsOfRow(near, y) & BitGrid::Bit(x)) != 0) {
                return near;
            }
        }
        at.piece += 64;
    }
    return at;
}

void PieceTiles::FindContacts(std::int32_t tile, std::size_t direction) {
    const std::int32_t other = tile + offsets_[direction];
    const std::size_t back = Opposite(direction);
    GatherSides(tile, direction, here_);
    GatherSides(other, back, there_);
    found_.clear();
    for (const SideOf& here : here_) {
        const Word near = DilateRow(here.pixels);
        for (const SideOf& there : there_) {
            if ((near & there.pixels) != 0) {
                found_.push_back({here.piece, there.piece});
            }
        }
    }
    SetContacts(tile, direction);
    for (Contact& contact : found_) {
        std::swap(contact.here, contact.there);
    }
    SetContacts(other, back);
}

// Pixels at a corner are a word with one bit.
void PieceTiles::GatherSides(std::int32_t tile, std::size_t direction, std::vector<SideOf>& sides) const {
    constexpr std::array<Word Piece::*, 4> kPixels{&Piece::top, &Piece::bottom, &Piece::left, &Piece::right};
    const std::vector<Piece>& pieces = tiles_[static_cast<std::size_t>(tile)].pieces;
    sides.clear();
    for (std::size_t i = 0; i < StateOf(tile).maskCount; ++i) {
        ForEachBit(AtBorder(tile, i, direction), [&](std::size_t bit) {
            const std::size_t number = i * 64 + bit;
            const Word pixels = direction < kPixels.size() ? pieces[number].*kPixels[direction] : 1;
            sides.push_back({pixels, static_cast<std::uint16_t>(number)});
        });
    }
}

// The contacts of the other directions stay.
void PieceTiles::SetContacts(std::int32_t tile, std::size_t direction) {
    Tile& at = tiles_[static_cast<std::size_t>(tile)];
    const std::size_t first = at.FirstContact(direction);
    const std::size_t end = at.contactEnds[direction];
    at.contacts.Replace(first, end, found_.data(), found_.size());
    for (std::size_t i = direction; i < kDirections; ++i) {
        at.contactEnds[i] = static_cast<std::uint16_t>(at.contactEnds[i] + found_.size() - (end - first));
    }
    StateOf(tile).staleSides &= static_cast<std::uint8_t>(~(1u << direction));
}

}  // namespace level_sweep
