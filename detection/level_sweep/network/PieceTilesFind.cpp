#include <algorithm>

#include "network/PieceTiles.h"

namespace level_sweep {
void PieceTiles::FindPieces(std::int32_t number) {
    Tile& tile = tiles_[static_cast<std::size_t>(number)];
    Bits& bits = BitsOf(number);
    State& state = StateOf(number);
    const bool hasGrown = state.hasGrown && bits.either != bits.eitherBefore;
    state.isStale = state.hasGrown = false;
    for (std::size_t i = 0; i < state.maskCount; ++i) {
        MasksOf(number, i).patches = tile.found[i].patches;  // also those turned, and cleared again
        gone_[i] = new_[i] = 0;
    }
    if (!hasGrown && bits.patch == bits.patchBefore) {
        return;
    }
    FetchPieces(tile);
    state.isFoundAnew = true;
    Rows regions;
    Rows regionsBefore;
    for (std::size_t y = 0; y < regions.size(); ++y) {
        regions[y] = bits.RegionIn(y);
        regionsBefore[y] = bits.eitherBefore[y] & ~bits.patchBefore[y];
    }
    Rows patchesLeft;
    Rows regionsLeft;
    TileLabelling::FindChanges(bits.patch, bits.patchBefore, changes_);
    TakeAway(number, bits.patch, true, patchesLeft);
    TileLabelling::FindChanges(regions, regionsBefore, changes_);
    TakeAway(number, regions, false, regionsLeft);
    Forget(number);
    AddPieces(number, regionsLeft, false);
    AddPieces(number, patchesLeft, true);
    bits.eitherBefore = bits.either;
    bits.patchBefore = bits.patch;
    FindLinks(number);
}

// All at once instead of one after the other.
void PieceTiles::FetchPieces(const Tile& tile) {
    for (const Piece& piece : tile.pieces) {
        __builtin_prefetch(&piece);
    }
    constexpr std::size_t wordsOfLine = 64 / sizeof(Word);
    for (std::size_t i = 0; i < tile.rows.size(); i += wordsOfLine) {
        __builtin_prefetch(tile.rows.data() + i);
    }
}

// A piece with no change in it or beside it is what it was, and nothing else has joined it. `left`: the pixels that are
// of no piece any more, or of none yet.
void PieceTiles::TakeAway(std::int32_t number, const Rows& now, bool arePatches, Rows& left) {
    const Tile& tile = tiles_[static_cast<std::size_t>(number)];
    left = changes_.added;
    for (std::size_t i = 0; i < tile.found.size(); ++i) {
        const Found& found = tile.found[i];
        for (Word kept = arePatches ? found.patches : found.pieces & ~found.patches; kept != 0; kept &= kept - 1) {
            const Piece& piece = tile.pieces[i * 64 + static_cast<std::size_t>(BitGrid::LowestBit(kept))];
            if ((piece.columns & changes_.inColumns) == 0 || (BitsFromTo(piece.y0, piece.y1) & changes_.inRows) == 0) {
                continue;
            }
            const Word* rows = tile.rows.data() + piece.rows;
            std::size_t y = piece.y0;
            while (y <= piece.y1 && (rows[y - piece.y0] & changes_.rows[y + 1]) == 0) {
                ++y;
            }
            if (y <= piece.y1) {
                gone_[i] |= kept & (~kept + 1);
                for (y = piece.y0; y <= piece.y1; ++y) {
                    left[y] |= rows[y - piece.y0] & now[y];
                }
            }
        }
    }
}

// Frees the numbers of the pieces that are gone.
void PieceTiles::Forget(std::int32_t number) {
    Tile& tile = tiles_[static_cast<std::size_t>(number)];
    const std::size_t masks = tile.found.size();
    for (std::size_t i = 0; i < masks; ++i) {
        ForEachBit(gone_[i], [&](std::size_t bit) {
            const Piece& piece = tile.pieces[i * 64 + bit];
            NoteBorders(number, piece, i * 64 + bit);
            tile.rowsInUse -= static_cast<std::size_t>(piece.y1 - piece.y0) + 1;
        });
        for (Word& pieces : BorderOf(number, i).pieces) {
            pieces &= ~gone_[i];
        }
        tile.found[i].pieces &= ~gone_[i];
        tile.found[i].patches &= ~gone_[i];
        MasksOf(number, i).known &= ~gone_[i];
        MasksOf(number, i).patches &= ~gone_[i];
        for (std::size_t at = i; at < tile.links.size(); at += masks) {
            tile.links[at] &= ~gone_[i];
        }
    }
    if (tile.rows.size() > 2 * tile.rowsInUse + 4 * kSide) {
        PackRows(tile);
    }
}

void PieceTiles::PackRows(Tile& tile) {
    packed_.clear();
    for (std::size_t i = 0; i < tile.found.size(); ++i) {
        ForEachBit(tile.found[i].pieces, [&](std::size_t bit) {
            Piece& piece = tile.pieces[i * 64 + bit];
            const Word* from = tile.rows.data() + piece.rows;
            piece.rows = static_cast<std::uint32_t>(packed_.size());
            packed_.insert(packed_.end(), from, from + (piece.y1 - piece.y0 + 1));
        });
    }
    tile.rows.assign(packed_.begin(), packed_.end());
}

void PieceTiles::AddPieces(std::int32_t number, const Rows& pixels, bool arePatches) {
    TileLabelling::FindPieces(pixels, pieces_);
    Tile& tile = tiles_[static_cast<std::size_t>(number)];
    const auto firstRow = static_cast<std::uint32_t>(tile.rows.size());
    tile.rows.insert(tile.rows.end(), pieces_.rows.data(), pieces_.rows.data() + pieces_.rowCount);
    for (Piece& piece : pieces_.pieces) {
        piece.rows += firstRow;
        tile.rowsInUse += piece.y1 - piece.y0 + 1u;
        const std::size_t at = NewNumber(number);
        tile.pieces[at] = piece;
        const Word bit = BitGrid::Bit(static_cast<int>(at));
        tile.found[at / 64].patches |= arePatches ? bit : 0;
        MasksOf(number, at / 64).patches |= arePatches ? bit : 0;
        NoteBorders(number, piece, at);
    }
}

// The lowest that is free, without links.
std::size_t PieceTiles::NewNumber(std::int32_t number) {
    Tile& tile = tiles_[static_cast<std::size_t>(number)];
    std::size_t i = 0;
    while (i < tile.found.size() && ~tile.found[i].pieces == 0) {
        ++i;
    }
    if (i == tile.found.size()) {
        AddMasks(number);
    }
    const Word free = ~tile.found[i].pieces;
    const auto at = i * 64 + static_cast<std::size_t>(BitGrid::LowestBit(free));
    const std::size_t masks = tile.found.size();
    tile.found[i].pieces |= free & (~free + 1);
    new_[i] |= free & (~free + 1);
    if (at >= tile.pieces.size()) {
        tile.pieces.resize(at + 1);
        tile.links.Resize((at + 1) * masks);
    }
    std::fill_n(tile.links.data() + at * masks, masks, 0);
    return at;
}

void PieceTiles::AddMasks(std::int32_t number) {
    Tile& tile = tiles_[static_cast<std::size_t>(number)];
    const std::size_t masks = tile.found.size();
    std::vector<Word> links(tile.pieces.size() * (masks + 1));
    for (std::size_t at = 0; at < tile.links.size(); ++at) {
        links[at / masks * (masks + 1) + at % masks] = tile.links[at];
    }
    tile.links.Resize(links.size());
    std::copy(links.begin(), links.end(), tile.links.data());
    tile.found.push_back({});
    tile.moreMasks.push_back({});
    tile.moreBorders.push_back({});
    new_[masks] = 0;
    StateOf(number).maskCount = static_cast<std::uint8_t>(masks + 1);
}

// A piece that comes or goes: contacts are found again where it is at the tile's border.
void PieceTiles::NoteBorders(std::int32_t tile, const Piece& piece, std::size_t number) {
    if ((piece.top | piece.bottom | piece.left | piece.right) == 0) {
        return;
    }
    constexpr auto last = Word{1} << (kSide - 1);
    const std::array<Word, kDirections> pixels{piece.top,         piece.bottom,       piece.left,
                                               piece.right,       piece.top & 1u,     piece.top & last,
                                               piece.bottom & 1u, piece.bottom & last};
    Border& border = BorderOf(tile, number / 64);
    const int column = tile % tilesPerRow_;
    const int row = tile / tilesPerRow_;
    for (std::size_t direction = 0; direction < kDirections; ++direction) {
        const Step at{column + kSteps[direction].x, row + kSteps[direction].y};
        if (pixels[direction] != 0 && at.x >= 0 && at.y >= 0 && at.x < tilesPerRow_ && at.y < tileRows_) {
            border.pieces[direction] |= BitGrid::Bit(static_cast<int>(number));
            StateOf(tile).staleSides |= static_cast<std::uint8_t>(1u << direction);
            StateOf(tile + offsets_[direction]).staleSides |= static_cast<std::uint8_t>(1u << Opposite(direction));
        }
    }
}

void PieceTiles::FindLinks(std::int32_t number) {
    Tile& tile = tiles_[static_cast<std::size_t>(number)];
    for (std::size_t i = 0; i < tile.found.size(); ++i) {
        shapes_ = TileShapes{};
        ForEachBit(tile.found[i].pieces, [&](std::size_t bit) {
            const Piece& piece = tile.pieces[i * 64 + bit];
            shapes_.columns[bit] = piece.columns;
            shapes_.rows[bit] = BitsFromTo(piece.y0, piece.y1);
        });
        // Of two new ones, the region finds the patch.
        const Word patches = tile.found[i].patches;
        const Word regions = tile.found[i].pieces & ~patches & ~new_[i];
        for (std::size_t k = 0; k < tile.found.size(); ++k) {
            ForEachBit(new_[k], [&](std::size_t bit) {
                const bool isPatch = (tile.found[k].patches >> bit & 1u) != 0;
                LinkWith(tile, k * 64 + bit, i, isPatch ? regions : patches);
            });
        }
    }
}

// Links a piece with those of others, in mask i, that are beside it.
void PieceTiles::LinkWith(Tile& tile, std::size_t number, std::size_t i, Word others) {
    const std::size_t masks = tile.found.size();
    const Piece* pieces = tile.pieces.data();
    const Word beside = TileLabelling::FindBeside(pieces[number], pieces + i * 64, shapes_, others, tile.rows.data());
    tile.links[number * masks + i] |= beside;
    ForEachBit(beside, [&](std::size_t bit) {
        tile.links[(i * 64 + bit) * masks + number / 64] |= BitGrid::Bit(static_cast<int>(number));
    });
}

}  // namespace level_sweep
