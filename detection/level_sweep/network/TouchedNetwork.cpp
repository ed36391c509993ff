#include "network/TouchedNetwork.h"

namespace level_sweep {

TouchedNetwork::TouchedNetwork(const BitPlane& background, const BitPlane& touched)
    : words_(background.Grid()),
      tiles_(background.Width(), background.Height()),
      floods_(tiles_, words_, background.Height()),
      flooded_(tiles_.Grid()),
      known_(words_, tiles_, floods_.Marks(), flooded_) {
    for (int y = 0; y < background.Height(); ++y) {
        for (int column = 0; column < words_.WordsPerRow(); ++column) {
            const std::int32_t word = words_.WordAt(0, y) + column;
            tiles_.AddRow(tiles_.Grid().TileOfWord(column, y), y, touched[word], background[word]);
        }
    }
    tiles_.TakeRegionChanges([](std::int32_t, int, Word, Word) {});
}

void TouchedNetwork::Touch(const std::vector<WordPixels<BitGrid>>& component) {
    floods_.Run(component);
    const FloodMarks& marks = floods_.Marks();
    for (const FloodMarks::FloodedTile& at : marks.FloodedTiles()) {
        if (flooded_.Collect(at.tile, tiles_, marks)) {
            known_.FloodedRowsChanged(at.tile, tiles_.PiecesChanged(at.tile) ? tiles_.TakeNewPieces(at.tile)[0] : 0);
        }
    }
}

void TouchedNetwork::CheckInvariants() const {
    tiles_.CheckInvariants();
    floods_.CheckInvariants();
    flooded_.CheckInvariants(tiles_, floods_.Marks());
    known_.CheckInvariants();
}

}  // namespace level_sweep
