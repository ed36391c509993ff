#include "distance/TiledSet.h"

namespace level_sweep {

TiledSet::TiledSet(int width, int height)
    : width_(width),
      height_(height),
      tilesPerRow_((width + kSide - 1) / kSide),
      tileRows_((height + kSide - 1) / kSide),
      outsideLast_(width % kSide == 0 ? 0 : ~Word{0} << (width % kSide)),
      rows_(static_cast<std::size_t>(tilesPerRow_) * static_cast<std::size_t>(tileRows_) * kSide) {}

void TiledSet::FillWindow(std::int32_t tile, int margin, TileErosion::Window& window) const {
    const int column = tile % tilesPerRow_;
    const int first = tile / tilesPerRow_ * kSide - margin;
    const int rows = RowsInside(tile) + 2 * margin;
    FillColumn(column - 1, first, rows, window.west);
    FillColumn(column, first, rows, window.centre);
    FillColumn(column + 1, first, rows, window.east);
}

void TiledSet::FillColumn(int column, int first, int rows, TileErosion::Column& filled) const {
    std::fill_n(filled.begin(), rows + 2, ~Word{0});
    if (column < 0 || column >= tilesPerRow_) {
        return;
    }
    const Word outside = ~ColumnsInsideOf(column);
    const int last = std::min(first + rows, height_) - 1;
    for (int y = std::max(first, 0); y <= last;) {
        const int end = std::min(last, y | (kSide - 1));
        const Word* from = RowsOf((y / kSide) * tilesPerRow_ + column);
        for (; y <= end; ++y) {
            filled[static_cast<std::size_t>(y - first + 1)] = from[y % kSide] | outside;
        }
    }
}

}  // namespace level_sweep
