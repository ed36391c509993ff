#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "branches/LinePixels.h"

namespace level_sweep {

/// Finds the paths affected by changed pixels: those that have come to the lines or left them, or that another path has
/// newly taken or released.
///
/// A path reads the line pixels adjacent to its own and the 3 x 3 patches of these. So a change affects the paths with
/// pixels adjacent to it, or adjacent to a line pixel that is adjacent to the change. The pixels of a path that are so
/// near a change become stale: up to the first of them the path stays as it is.
///
///     changed    centres    near
///     .......    .......    .......    x  a changed pixel
///     .......    .......    ..ooo..    l  a line pixel adjacent to it, whose patch has the change
///     ...x...    ...x...    ..oooo.    o  a path with pixels here is affected
///     .......    ....l..    ..oooo.
///     .......    .......    ...ooo.
///
/// Invariant, outside of Begin and Finish: no change is collected.
class AffectedPaths {
public:
    using Word = ColumnGrid::Word;
    using Rank = LinePixels::Rank;

    /// Borrows the lines, of an image of this height, for its lifetime.
    AffectedPaths(LinePixels& lines, int height) : lines_(lines), height_(height) {}

    /// From here on paths of ends before this one, in raster order, are found.
    void Begin(Rank before);
    void Add(std::size_t word, Word changed);
    /// The ends of the paths affected by all changes since Begin, but for those whose stale pixels were known.
    const std::vector<Rank>& Finish();

    void CheckInvariants() const;

private:
    static constexpr std::size_t kRows = 64;

    void FindCollected();
    void FindAtSides(std::size_t word, Word changed);
    void MarkStale(std::size_t word, int x0, int y, Word pixels);

    LinePixels& lines_;
    int height_;
    Rank before_ = 0;
    std::vector<Rank> ends_;
    // Changes collected in words that lie below each other, by row from first_ on; others are 0.
    std::size_t first_ = 0;
    std::size_t top_ = kRows;
    std::size_t bottom_ = 0;
    std::array<Word, kRows> changed_{};
};

}  // namespace level_sweep
