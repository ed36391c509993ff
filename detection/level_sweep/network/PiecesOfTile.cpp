#include "network/PiecesOfTile.h"

#include <algorithm>

namespace level_sweep {

using Word = BitGrid::Word;

std::size_t PiecesOfTile::NumberAt(std::size_t column, std::size_t row) const {
    for (std::size_t i = 0; i < masks_.size(); ++i) {
        for (Word remaining = masks_[i].inUse; remaining != 0; remaining &= remaining - 1) {
            const std::size_t number = i * 64 + static_cast<std::size_t>(BitGrid::LowestBit(remaining));
            const TilePiece& piece = pieces_[number];
            if ((piece.columns >> column & 1u) != 0 && (RowOf(piece, row) >> column & 1u) != 0) {
                return number;
            }
        }
    }
    return masks_.size() * 64;
}

void PiecesOfTile::AddPixels(std::size_t i, Word pieces, TileRows& pixels) const {
    ForEachBit(pieces, [&](std::size_t bit) {
        const TilePiece& piece = pieces_[i * 64 + bit];
        const Word* rows = RowsOf(piece);
        for (std::size_t row = piece.y0; row <= piece.y1; ++row) {
            pixels[row] |= rows[row - piece.y0];
        }
    });
}

void PiecesOfTile::SelectChanged(const TileKinds& now, const TileKinds& before, PieceSearch& search) const {
    TileRows regions;
    TileRows regionsBefore;
    for (std::size_t y = 0; y < regions.size(); ++y) {
        regions[y] = now.RegionIn(y);
        regionsBefore[y] = before.RegionIn(y);
    }
    for (std::size_t i = 0; i < masks_.size(); ++i) {
        search.removed[i] = search.added[i] = 0;
    }
    TileLabelling::FindChanges(now.patch, before.patch, search.changes);
    search.patches = search.changes.added;
    for (std::size_t i = 0; i < masks_.size(); ++i) {
        SelectChanged(now.patch, search.changes, masks_[i].patches, i, search.removed, search.patches);
    }
    TileLabelling::FindChanges(regions, regionsBefore, search.changes);
    search.regions = search.changes.added;
    for (std::size_t i = 0; i < masks_.size(); ++i) {
        SelectChanged(regions, search.changes, masks_[i].inUse & ~masks_[i].patches, i, search.removed, search.regions);
    }
}

// A piece with no change in it or adjacent to it keeps its pixels, and no other pixel has joined it.
void PiecesOfTile::SelectChanged(const TileRows& now, const TileChanges& changes, Word among, std::size_t i,
                                 PieceSet& removed, TileRows& pixels) const {
    for (Word remaining = among; remaining != 0; remaining &= remaining - 1) {
        const TilePiece& piece = pieces_[i * 64 + static_cast<std::size_t>(BitGrid::LowestBit(remaining))];
        if ((piece.columns & changes.inColumns) == 0 || (BitsFromTo(piece.y0, piece.y1) & changes.inRows) == 0) {
            continue;
        }
        const Word* rows = RowsOf(piece);
        std::size_t y = piece.y0;
        while (y <= piece.y1 && (rows[y - piece.y0] & changes.rows[y + 1]) == 0) {
            ++y;
        }
        if (y <= piece.y1) {
            removed[i] |= remaining & (~remaining + 1);
            for (y = piece.y0; y <= piece.y1; ++y) {
                pixels[y] |= rows[y - piece.y0] & now[y];
            }
        }
    }
}

void PiecesOfTile::RemoveSelected(PieceSearch& search) {
    const std::size_t masks = masks_.size();
    for (std::size_t i = 0; i < masks; ++i) {
        const Word removed = search.removed[i];
        ForEachBit(removed, [&](std::size_t bit) {
            const TilePiece& piece = pieces_[i * 64 + bit];
            rowsInUse_ -= static_cast<std::size_t>(piece.y1 - piece.y0) + 1;
        });
        masks_[i].inUse &= ~removed;
        masks_[i].patches &= ~removed;
        masks_[i].newPieces &= ~removed;
        for (std::size_t at = i; at < links_.size(); at += masks) {
            links_[at] &= ~removed;
        }
    }
    if (rows_.size() > 2 * rowsInUse_ + 4 * TileGrid::kSide) {
        PackRows(search.packed);
    }
}

void PiecesOfTile::PackRows(std::vector<Word>& packed) {
    packed.clear();
    for (std::size_t i = 0; i < masks_.size(); ++i) {
        ForEachBit(masks_[i].inUse, [&](std::size_t bit) {
            TilePiece& piece = pieces_[i * 64 + bit];
            const Word* from = rows_.data() + piece.rows;
            piece.rows = static_cast<std::uint32_t>(packed.size());
            packed.insert(packed.end(), from, from + (piece.y1 - piece.y0 + 1));
        });
    }
    rows_.assign(packed.begin(), packed.end());
}

void PiecesOfTile::AddFound(PieceSearch& search) {
    AddFound(search.regions, false, search);
    AddFound(search.patches, true, search);
}

void PiecesOfTile::AddFound(const TileRows& pixels, bool arePatches, PieceSearch& search) {
    TileLabelling::FindPieces(pixels, search.found);
    const auto firstRow = static_cast<std::uint32_t>(rows_.size());
    rows_.insert(rows_.end(), search.found.rows.data(), search.found.rows.data() + search.found.rowCount);
    for (TilePiece& piece : search.found.pieces) {
        piece.rows += firstRow;
        rowsInUse_ += piece.y1 - piece.y0 + 1u;
        const std::size_t number = NewNumber(search.added);
        pieces_[number] = piece;
        masks_[number / 64].patches |= arePatches ? Word{1} << number % 64 : 0;
    }
}

// The lowest free number, without links.
std::size_t PiecesOfTile::NewNumber(PieceSet& added) {
    std::size_t i = 0;
    while (i < masks_.size() && ~masks_[i].inUse == 0) {
        ++i;
    }
    if (i == masks_.size()) {
        AddMask();
        added[i] = 0;
    }
    const Word free = ~masks_[i].inUse;
    const auto number = i * 64 + static_cast<std::size_t>(BitGrid::LowestBit(free));
    const std::size_t masks = masks_.size();
    masks_[i].inUse |= free & (~free + 1);
    masks_[i].newPieces |= free & (~free + 1);
    added[i] |= free & (~free + 1);
    if (number >= pieces_.size()) {
        pieces_.resize(number + 1);
        links_.Resize((number + 1) * masks);
    }
    std::fill_n(links_.data() + number * masks, masks, 0);
    return number;
}

void PiecesOfTile::AddMask() {
    const std::size_t masks = masks_.size();
    std::vector<Word> links(pieces_.size() * (masks + 1));
    for (std::size_t at = 0; at < links_.size(); ++at) {
        links[at / masks * (masks + 1) + at % masks] = links_[at];
    }
    links_.Resize(links.size());
    std::copy(links.begin(), links.end(), links_.data());
    masks_.push_back({});
}

void PiecesOfTile::LinkAdded(PieceSearch& search) {
    for (std::size_t i = 0; i < masks_.size(); ++i) {
        search.shapes = TileShapes{};
        ForEachBit(masks_[i].inUse, [&](std::size_t bit) {
            const TilePiece& piece = pieces_[i * 64 + bit];
            search.shapes.columns[bit] = piece.columns;
            search.shapes.rows[bit] = BitsFromTo(piece.y0, piece.y1);
        });
        // Of two new pieces the region finds the patch.
        const Word patches = masks_[i].patches;
        const Word regions = masks_[i].inUse & ~patches & ~search.added[i];
        for (std::size_t k = 0; k < masks_.size(); ++k) {
            ForEachBit(search.added[k], [&](std::size_t bit) {
                const bool isPatch = (masks_[k].patches >> bit & 1u) != 0;
                Link(k * 64 + bit, i, isPatch ? regions : patches, search.shapes);
            });
        }
    }
}

// Links a piece with those among `others`, of mask i, that are adjacent to it.
void PiecesOfTile::Link(std::size_t number, std::size_t i, Word others, const TileShapes& shapes) {
    const std::size_t masks = masks_.size();
    const TilePiece* pieces = pieces_.data();
    const Word adjacent = TileLabelling::FindAdjacent(pieces[number], pieces + i * 64, shapes, others, rows_.data());
    links_[number * masks + i] |= adjacent;
    ForEachBit(adjacent,
               [&](std::size_t bit) { links_[(i * 64 + bit) * masks + number / 64] |= Word{1} << number % 64; });
}

void PiecesOfTile::FetchLinks() const {
    constexpr std::ptrdiff_t line = 64;
    const auto* end = reinterpret_cast<const char*>(&pieces_);
    for (const auto* place = reinterpret_cast<const char*>(this); place < end; place += line) {
        __builtin_prefetch(place);
    }
}

void PiecesOfTile::FetchPieces() const {
    for (const TilePiece& piece : pieces_) {
        __builtin_prefetch(&piece);
    }
    constexpr std::size_t wordsOfLine = 64 / sizeof(Word);
    for (std::size_t i = 0; i < rows_.size(); i += wordsOfLine) {
        __builtin_prefetch(rows_.data() + i);
    }
}

}  // namespace level_sweep
