#include "LevelBuckets.h"

#include <algorithm>

#include "FloatWords.h"

namespace Korvane {
namespace {

/// Calls visit(offset) in raster order for the pixels of words of a grid.
template <typename Visit>
void ForEachPixel(const BitGrid& grid, int width, const std::vector<BitGrid::Word>& words, Visit visit) {
    const auto wordsPerRow = static_cast<std::size_t>(grid.WordsPerRow());
    std::size_t rowStart = 0;
    for (std::size_t row = 0; row < words.size(); row += wordsPerRow) {
        for (std::size_t column = 0; column < wordsPerRow; ++column) {
            const std::size_t start = rowStart + column * 64;
            for (BitGrid::Word left = words[row + column]; left != 0; left &= left - 1) {
                visit(start + static_cast<std::size_t>(BitGrid::Lowest(left)));
            }
        }
        rowStart += static_cast<std::size_t>(width);
    }
}

}  // namespace

LevelBuckets::LevelBuckets(const float* edges, const BitPlane& open, const std::vector<float>& levels, float step)
    : starts_(2 * levels.size() + 2, 0) {
    if (levels.empty()) {
        return;
    }
    const BitGrid& grid = open.Grid();
    std::vector<BitGrid::Word> wanted(grid.Words());
    for (int y = 0; y < open.Height(); ++y) {
        const float* row = edges + static_cast<std::ptrdiff_t>(y) * open.Width();
        for (int x = 0; x < open.Width(); x += 64) {
            const std::int32_t word = grid.WordAt(x, y);
            const BitGrid::Word pixels = open[word];
            const int count = std::min(64, open.Width() - x);
            wanted[static_cast<std::size_t>(word)] = pixels == 0 ? 0 : pixels & AtLeast(row + x, count, levels.back());
        }
    }
    // The levels are a step apart but for rounding: a guess from the distance to the first, then exact comparisons.
    const float perStep = 1.0f / step;
    const auto lowest = static_cast<float>(levels.size() - 1);
    std::vector<std::uint16_t> buckets;
    buckets.reserve(grid.Words() * 8);
    ForEachPixel(grid, open.Width(), wanted, [&](std::size_t pixel) {
        const float edge = edges[pixel];
        const float guess = (levels.front() - edge) * perStep;
        auto k = static_cast<std::int32_t>(std::max(std::min(guess, lowest), 0.0f));
        while (k > 0 && edge >= levels[static_cast<std::size_t>(k - 1)]) {
            --k;
        }
        while (edge < levels[static_cast<std::size_t>(k)]) {
            ++k;
        }
        const auto bucket = static_cast<std::uint16_t>(2 * k + (edge > levels[static_cast<std::size_t>(k)] ? 1 : 2));
        buckets.push_back(bucket);
        ++starts_[bucket];
    });
    std::size_t sum = 0;
    for (std::size_t& start : starts_) {
        sum += start;
        start = sum - start;
    }
    std::vector<std::size_t> next = starts_;
    pixels_.resize(sum);
    std::size_t i = 0;
    ForEachPixel(grid, open.Width(), wanted,
                 [&](std::size_t pixel) { pixels_[next[buckets[i++]]++] = static_cast<std::int32_t>(pixel); });
}

}  // namespace Korvane
