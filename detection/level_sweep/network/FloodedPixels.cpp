#include "network/FloodedPixels.h"

#include "Assert.h"

namespace level_sweep {

bool FloodedPixels::Collect(std::int32_t tile, const PieceTiles& tiles, const FloodMarks& marks) {
    const auto at = static_cast<std::size_t>(tile);
    const std::size_t maskCount = tiles.MaskCount(tile);
    if (maskCount == 1 && !tiles.PiecesChanged(tile) && pieces_[at] == marks.Of(tile, 0).flooded) {
        return false;
    }
    PieceSet flooded;
    for (std::size_t i = 0; i < maskCount; ++i) {
        flooded[i] = marks.Of(tile, i).flooded;
    }
    pieces_[at] = flooded[0];
    tiles.FindPixels(tile, flooded, rows_[at]);
    return true;
}

void FloodedPixels::CheckInvariants(const PieceTiles& tiles, const FloodMarks& marks) const {
    for (const FloodMarks::FloodedTile& at : marks.FloodedTiles()) {
        TileRows expected{};
        for (std::size_t i = 0; i < tiles.MaskCount(at.tile); ++i) {
            ForEachBit(marks.Of(at.tile, i).flooded, [&](std::size_t bit) {
                for (int row = 0; row < TileGrid::kSide; ++row) {
                    const PieceTiles::PieceAt piece{at.tile, static_cast<std::int32_t>(i * 64 + bit)};
                    expected[static_cast<std::size_t>(row)] |= tiles.PixelsOfRow(piece, row);
                }
            });
        }
        KORVANE_ASSERT(RowsOf(at.tile) == expected);
    }
}

}  // namespace level_sweep
