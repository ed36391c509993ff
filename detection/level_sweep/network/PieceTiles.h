#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "bits/BitGrid.h"
#include "bits/Pixels.h"
#include "network/SmallVector.h"
#include "network/TileLabelling.h"
#include "bits/ZeroedArray.h"

namespace level_sweep {

/// Two kinds of pixels of a picture, regions and patches, cut into tiles of 64 x 64 and there into pieces: what hangs
/// together, 8-connected, within the tile and is of one kind. Floods then go from tile to tile: a word has a bit for
/// each of 64 pieces, so all pieces that are linked with some others in the same tile, or across one of its sides, are
/// found at once.
///
/// A patch that becomes a region joins the regions around it only when the tile's pieces are found again for some other
/// reason; until then they are pieces of one region that are linked.
///
/// The pieces of a tile are found when they are asked for, and again only when the tile's pixels are not those of the
/// last time; then those with changed pixels in or beside them: what is changed and changed back in between costs a
/// comparison. All others keep their numbers, so what is known of them, and of their links, stays as well.
class PieceTiles {
public:
    using Word = BitGrid::Word;
    static constexpr int kSide = 64;

    using Piece = TilePiece;
    struct PieceAt {
        std::int32_t tile;
        std::int32_t piece;
    };
    /// A bit for each of 64 pieces of a tile: numbers 64 * i to 64 * i + 63 in the tile's masks i. Most tiles have one.
    struct Masks {
        Word patches;
        Word known;                            // for the owner; 0 for a piece that is found
        Word visited, met, metFirst, waiting;  // for the owner; not changed when pieces are found
    };
    /// What visits ask of a tile, in a cache line.
    struct alignas(64) State {
        Masks masks;          // the first of the tile
        std::int32_t seenIn;  // for the owner, as the next three
        bool isVisited;
        bool isWaiting;
        bool isFoundAnew;         // since the owner said that it is not
        bool isStale;             // to be compared with the pixels that the pieces were found for
        bool hasGrown;            // there may be more pixels of either kind than there were then
        bool isToTake;            // its region may have changed
        std::uint8_t staleSides;  // directions that contacts are to be found for again
        std::uint8_t maskCount;
    };
    static_assert(sizeof(State) == 64, "a cache line");
    /// Pieces on either side of a tile's border that are 8-connected.
    struct Contact {
        std::uint16_t here, there;
    };
    /// The contacts of a tile with one of those around it.
    struct Contacts {
        std::int32_t tile;
        const Contact* first;
        const Contact* last;
    };
    enum Direction { kUp, kDown, kLeft, kRight, kUpLeft, kUpRight, kDownLeft, kDownRight, kDirections };
    static constexpr std::size_t kMostMasks = kSide * kSide / 2 / 64;  // 2 x 2 pixels are of at most two pieces
    /// A word for each of a tile's masks; only those of the tile count.
    using PieceSet = std::array<Word, kMostMasks>;

    PieceTiles(int width, int height);

    std::size_t Tiles() const { return tiles_.size(); }

    /// Adds pixels, and tells which are there, in row y from column 64 * tileColumn on.
    void AddPatch(int tileColumn, int y, Word pixels);
    Word PatchesIn(int tileColumn, int y) const { return BitsOf(TileOf(tileColumn, y)).patch[RowOf(y)]; }
    Word RegionsIn(int tileColumn, int y) const { return BitsOf(TileOf(tileColumn, y)).RegionIn(RowOf(y)); }
    /// Whether a patch has a pixel among the nine around (x, y).
    bool IsPatchAround(int x, int y) const;
    /// Adds pixels of either kind to a row of a tile.
    void AddRow(std::int32_t tile, int y, Word region, Word patch) {
        if ((region | patch) != 0) {
            BitsOf(tile).either[RowOf(y)] |= region | patch;
            BitsOf(tile).patch[RowOf(y)] |= patch;
            NoteRegionChange(tile);
            StateOf(tile).isStale = StateOf(tile).hasGrown = true;
        }
    }
    /// Makes regions of pieces of a tile that are patches, those of mask i that are in turned[i]. The pieces stay, and
    /// stay linked to those around them, which are of their kind then.
    void TurnPatches(std::int32_t tile, const PieceSet& turned);
    /// Makes patches of the region's pixels in a run.
    void ClearRegion(const PixelRun& run) {
        ChangeRun(run, [&](std::int32_t tile, std::size_t row, Word bits) {
            Bits& at = BitsOf(tile);
            bits &= at.RegionIn(row);
            if (bits != 0) {
                at.patch[row] |= bits;
                NoteRegionChange(tile);
                StateOf(tile).isStale = true;
            }
        });
    }

    /// The pixels of a tile's row that are of either kind.
    Word EitherIn(std::int32_t tile, int y) const { return BitsOf(tile).either[RowOf(y)]; }
    /// Calls changed(tile, y, gained, lost) for each row of a tile where region came or went since the last call, or
    /// the start, and is there or gone still.
    template <typename Changed>
    void TakeRegionChanges(Changed changed);

    /// Finds the pieces of a tile unless they are known. Pieces stay valid until a tile is refreshed after a change.
    void Refresh(std::int32_t tile) {
        if (StateOf(tile).isStale) {
            FindPieces(tile);
        }
    }
    State& StateOf(std::int32_t tile) { return states_[static_cast<std::size_t>(tile)]; }
    const State& StateOf(std::int32_t tile) const { return states_[static_cast<std::size_t>(tile)]; }
    Masks& MasksOf(std::int32_t tile, std::size_t i) {
        return i == 0 ? StateOf(tile).masks : tiles_[static_cast<std::size_t>(tile)].moreMasks[i - 1];
    }
    const Masks& MasksOf(std::int32_t tile, std::size_t i) const {
        return i == 0 ? StateOf(tile).masks : tiles_[static_cast<std::size_t>(tile)].moreMasks[i - 1];
    }
    bool IsPatch(PieceAt at) const { return (MasksOf(at).patches & BitOf(at)) != 0; }
    const Masks& MasksOf(PieceAt at) const { return MasksOf(at.tile, static_cast<std::size_t>(at.piece) / 64); }
    static Word BitOf(PieceAt at) { return BitGrid::Bit(at.piece); }

    std::int32_t TileAt(int x, int y) const {
        constexpr unsigned side = kSide;
        return static_cast<std::int32_t>(static_cast<unsigned>(y) / side) * tilesPerRow_ +
               static_cast<std::int32_t>(static_cast<unsigned>(x) / side);
    }
    int TilesPerRow() const { return tilesPerRow_; }
    int Left(std::int32_t tile) const { return tile % tilesPerRow_ * kSide; }
    int Top(std::int32_t tile) const { return tile / tilesPerRow_ * kSide; }

    /// The piece of a pixel of either kind.
    PieceAt Find(int x, int y);
    Piece& Get(PieceAt at) {
        return tiles_[static_cast<std::size_t>(at.tile)].pieces[static_cast<std::size_t>(at.piece)];
    }
    const Piece& Get(PieceAt at) const {
        return tiles_[static_cast<std::size_t>(at.tile)].pieces[static_cast<std::size_t>(at.piece)];
    }
    const Word* RowsOf(PieceAt at) const {
        return tiles_[static_cast<std::size_t>(at.tile)].rows.data() + Get(at).rows;
    }
    /// The pixels of some pieces of a tile, those of mask i that are in pieces[i]. Cost: their rows, or those of all
    /// others and of the tile, whatever is less.
    void FindPixels(std::int32_t tile, const PieceSet& pieces, TileRows& pixels) const;
    /// The pixels of a piece in row y of the picture, which is one of its tile's.
    Word PixelsOfRow(PieceAt at, int y) const {
        const Piece& piece = Get(at);
        const int row = y & (kSide - 1);
        return row >= piece.y0 && row <= piece.y1 ? RowsOf(at)[row - piece.y0] : 0;
    }

    /// In mask `there` of a tile the pieces that are 8-connected with some of mask `here`; they are of the other kind,
    /// or were when they were found.
    Word LinkedWith(std::int32_t tile, std::size_t here, Word pieces, std::size_t there) const {
        const Tile& at = tiles_[static_cast<std::size_t>(tile)];
        const std::size_t masks = StateOf(tile).maskCount;
        Word linked = 0;
        for (Word left = pieces; left != 0; left &= left - 1) {
            linked |= at.links[(here * 64 + static_cast<std::size_t>(BitGrid::LowestBit(left))) * masks + there];
        }
        return linked;
    }
    /// Of mask i of a tile the pieces that have pixels next to the tile in a direction; there is a tile.
    Word AtBorder(std::int32_t tile, std::size_t i, std::size_t direction) const {
        const Border& border = i == 0 ? borders_[static_cast<std::size_t>(tile)]
                                      : tiles_[static_cast<std::size_t>(tile)].moreBorders[i - 1];
        return border.pieces[direction];
    }
    /// The next tile in a direction; there is one.
    std::int32_t Next(std::int32_t tile, std::size_t direction) const { return tile + offsets_[direction]; }
    /// The contacts, of pieces of either kind, of a tile that is refreshed with the next one in a direction. There is a
    /// next one; this refreshes it. Valid until the next call.
    Contacts ContactsOf(std::int32_t tile, std::size_t direction) {
        const std::int32_t other = Next(tile, direction);
        Refresh(other);
        if ((unsigned{StateOf(tile).staleSides} >> direction & 1u) != 0) {
            FindContacts(tile, direction);
        }
        const Tile& at = tiles_[static_cast<std::size_t>(tile)];
        const Contact* contacts = at.contacts.data();
        return {other, contacts + at.FirstContact(direction), contacts + at.contactEnds[direction]};
    }
    /// Fetches ahead what ClearRegion will ask for around a pixel of the picture.
    void FetchAround(int x, int y) const {
        const Bits& bits = BitsOf(TileAt(x, y));
        constexpr int rowsOfLine = 64 / sizeof(Word);
        for (int row = std::max((y & (kSide - 1)) - rowsOfLine, 0);
             row < kSide && row <= (y & (kSide - 1)) + rowsOfLine; row += rowsOfLine) {
            __builtin_prefetch(&bits.patch[RowOf(row)], 1);
            __builtin_prefetch(&bits.either[RowOf(row)]);
        }
    }
    /// Fetches ahead what TurnPatches will ask for in any case.
    void FetchPatches(std::int32_t tile) const {
        __builtin_prefetch(&tiles_[static_cast<std::size_t>(tile)].pieces);
        for (std::size_t row = 0; row < kSide; row += 64 / sizeof(Word)) {
            __builtin_prefetch(&BitsOf(tile).patch[row], 1);
        }
    }
    /// Fetches ahead a tile's links and contacts, in so far as most tiles have them.
    void FetchLinks(std::int32_t tile) const {
        constexpr std::ptrdiff_t line = 64;
        const Tile& at = tiles_[static_cast<std::size_t>(tile)];
        const auto* end = reinterpret_cast<const char*>(&at.pieces);
        for (const auto* place = reinterpret_cast<const char*>(&at); place < end; place += line) {
            __builtin_prefetch(place);
        }
        __builtin_prefetch(&borders_[static_cast<std::size_t>(tile)]);
        for (const std::size_t direction : {kUp, kDown}) {
            const auto next = static_cast<std::size_t>(Next(tile, direction));
            __builtin_prefetch(states_.data() + (next < states_.size() ? next : 0));
        }
    }

private:
    using Rows = TileRows;
    struct Bits {
        Rows either;  // regions and patches; never less
        Rows patch;
        Rows eitherBefore;  // when pieces were found last
        Rows patchBefore;
        Rows regionTaken;  // when region's changes were taken last

        Word RegionIn(std::size_t row) const { return either[row] & ~patch[row]; }
    };
    struct alignas(64) Border {
        std::array<Word, kDirections> pieces;
    };
    struct SideOf {
        Word pixels;
        std::uint16_t piece;
    };
    struct Step {
        int x, y;
    };
    static constexpr std::array<Step, kDirections> kSteps{
        {{0, -1}, {0, 1}, {-1, 0}, {1, 0}, {-1, -1}, {1, -1}, {-1, 1}, {1, 1}}};
    struct Found {
        Word pieces;   // numbers in use
        Word patches;  // of these what was a patch when it was found
    };
    static constexpr std::size_t kContactsInside = 48;
    static constexpr std::size_t kLinksInside = 24;
    struct alignas(64) Tile {
        // What visits ask for, side by side.
        std::array<std::uint16_t, kDirections> contactEnds{};  // where those of a direction end
        SmallVector<Contact, kContactsInside> contacts;         // direction by direction
        SmallVector<Word, kLinksInside> links;                  // as many words for each number as the tile has masks
        // The rest.
        std::vector<Piece> pieces;  // by number, also numbers not in use
        std::vector<Word> rows;     // also those of pieces that are gone
        std::size_t rowsInUse = 0;
        // By masks; the first of most is in the tile's State.
        std::vector<Found> found;
        std::vector<Masks> moreMasks;
        std::vector<Border> moreBorders;

        std::size_t FirstContact(std::size_t direction) const {
            return direction == 0 ? 0 : contactEnds[direction - 1];
        }
    };

    std::int32_t TileOf(int tileColumn, int y) const { return (y / kSide) * tilesPerRow_ + tileColumn; }
    static std::size_t RowOf(int y) { return static_cast<std::size_t>(y & (kSide - 1)); }
    Bits& BitsOf(std::int32_t tile) { return bits_[static_cast<std::size_t>(tile)]; }
    const Bits& BitsOf(std::int32_t tile) const { return bits_[static_cast<std::size_t>(tile)]; }
    Border& BorderOf(std::int32_t tile, std::size_t i) {
        return i == 0 ? borders_[static_cast<std::size_t>(tile)]
                      : tiles_[static_cast<std::size_t>(tile)].moreBorders[i - 1];
    }
    void NoteRegionChange(std::int32_t tile) {
        State& changed = StateOf(tile);
        if (!changed.isToTake) {
            changed.isToTake = true;
            toTake_.push_back(tile);
        }
    }
    void FindPieces(std::int32_t tile);
    void TakeAway(std::int32_t tile, const Rows& now, bool arePatches, Rows& left);
    void Forget(std::int32_t tile);
    void AddPieces(std::int32_t tile, const Rows& pixels, bool arePatches);
    std::size_t NewNumber(std::int32_t tile);
    void AddMasks(std::int32_t tile);
    void NoteBorders(std::int32_t tile, const Piece& piece, std::size_t number);
    void FindLinks(std::int32_t tile);
    void LinkWith(Tile& tile, std::size_t number, std::size_t i, Word others);
    void FindContacts(std::int32_t tile, std::size_t direction);
    void SetContacts(std::int32_t tile, std::size_t direction);
    void GatherSides(std::int32_t tile, std::size_t direction, std::vector<SideOf>& sides) const;
    void AddRows(std::int32_t tile, std::size_t i, Word pieces, TileRows& pixels) const;
    void PackRows(Tile& tile);
    static void FetchPieces(const Tile& tile);
    template <typename Change>
    void ChangeRun(const PixelRun& run, Change change);
    static std::size_t Opposite(std::size_t direction) { return direction < kUpLeft ? direction ^ 1u : 11 - direction; }

    int tilesPerRow_;
    int tileRows_;
    std::array<std::int32_t, kDirections> offsets_;
    ZeroedArray<Bits> bits_;
    ZeroedArray<State> states_;
    ZeroedArray<Border> borders_;
    std::vector<Tile> tiles_;
    std::vector<std::int32_t> toTake_;  // tiles whose region may have changed
    // While a tile's pieces are found:
    PieceSet gone_;
    PieceSet new_;
    TileChanges changes_{};
    TilePieces pieces_{};
    TileShapes shapes_;
    std::vector<Word> packed_;
    // While contacts are found:
    std::vector<SideOf> here_, there_;
    std::vector<Contact> found_;
};

template <typename Change>
void PieceTiles::ChangeRun(const PixelRun& run, Change change) {
    for (int x0 = run.x0; x0 <= run.x1;) {
        const std::int32_t tile = TileAt(x0, run.y);
        const int x1 = run.x1 < (x0 | (kSide - 1)) ? run.x1 : (x0 | (kSide - 1));
        const Word bits = ~Word{0} >> (kSide - 1 - (x1 - x0)) << (x0 & (kSide - 1));
        change(tile, RowOf(run.y), bits);
        x0 = x1 + 1;
    }
}

template <typename Changed>
void PieceTiles::TakeRegionChanges(Changed changed) {
    for (const std::int32_t tile : toTake_) {
        StateOf(tile).isToTake = false;
        Bits& bits = BitsOf(tile);
        for (int row = 0; row < kSide; ++row) {
            const Word now = bits.RegionIn(RowOf(row));
            const Word before = bits.regionTaken[RowOf(row)];
            if (now != before) {
                changed(tile, Top(tile) + row, now & ~before, before & ~now);
                bits.regionTaken[RowOf(row)] = now;
            }
        }
    }
    toTake_.clear();
}

}  // namespace level_sweep
