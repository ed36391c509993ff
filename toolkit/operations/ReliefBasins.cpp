#include "operations/ReliefBasins.h"

#include <algorithm>
#include <numeric>

#include "operations/FollowDirections.h"
#include "operations/LowestNeighbour.h"

namespace qvox {

namespace {

constexpr std::uint32_t kNoBasin = ~std::uint32_t{0};

std::size_t StrideOf(std::size_t width) { return (width + 3) / 4 * 4 + LowestNeighbour::kReadBehind; }

}  // namespace

bool ReliefBasins::HasRoom(std::uint64_t width, std::uint64_t height) {
    constexpr std::uint64_t kMost = ~std::uint32_t{0};
    return width < kMost - 8 && StrideOf(width) <= kMost / (height + 2);
}

ReliefBasins::ReliefBasins(const VoxelImage<float>& relief, const PartRunner& run)
    : width_(relief.SizeX()),
      height_(relief.SizeY()),
      stride_(StrideOf(width_)),
      levels_(MakeLargePageArray<Cell>(stride_ * (height_ + 2))),
      basins_(MakeLargePageArray<std::uint32_t>(stride_ * (height_ + 2))) {
    FillMargins();
    const std::size_t strips = PartsOf(height_, kFewestRowsOfPart);
    firstBasins_.assign(strips + 1, 0);
    stripOfRow_.resize(height_);
    std::vector<std::vector<BasinPass>> inside(strips);
    RunRows(height_, run, [&](const PartRange& strip) {
        std::fill(stripOfRow_.begin() + static_cast<std::ptrdiff_t>(strip.first),
                  stripOfRow_.begin() + static_cast<std::ptrdiff_t>(strip.end), static_cast<std::uint8_t>(strip.part));
        FillLevels(relief, strip);
        firstBasins_[strip.part + 1] = NameBasins(strip);
        inside[strip.part] = PassesInside(strip);
        KeepJoiningPasses(inside[strip.part], firstBasins_[strip.part + 1]);
    });
    std::partial_sum(firstBasins_.begin(), firstBasins_.end(), firstBasins_.begin());
    std::vector<std::vector<BasinPass>> atEdges(strips);
    RunRows(height_, run, [&](const PartRange& strip) { atEdges[strip.part] = PassesAtEdges(strip); });
    for (std::size_t strip = 0; strip < strips; ++strip) {
        for (BasinPass pass : inside[strip]) {
            pass.a += firstBasins_[strip];
            pass.b += firstBasins_[strip];
            passes_.push_back(pass);
        }
        passes_.insert(passes_.end(), atEdges[strip].begin(), atEdges[strip].end());
    }
}

void ReliefBasins::FillMargins() {
    std::fill_n(levels_.get(), stride_, kBeyond);
    std::fill_n(levels_.get() + (height_ + 1) * stride_, stride_, kBeyond);
}

void ReliefBasins::FillLevels(const VoxelImage<float>& relief, const PartRange& rows) {
    for (std::uint64_t y = rows.first; y < rows.end; ++y) {
        Cell* levels = levels_.get() + At(0, y);
        std::transform(relief.Row(y), relief.Row(y) + width_, levels, LevelOf);
        levels[-1] = kBeyond;
        std::fill(levels + width_, levels + stride_ - 1, kBeyond);
    }
}

/// Numbers the basins of a strip by their lowest voxels in raster order and returns how many there are.
std::uint32_t ReliefBasins::NameBasins(const PartRange& rows) {
    const std::size_t rowCount = rows.end - rows.first;
    std::vector<std::uint8_t> directions(rowCount * stride_ + LowestNeighbour::kWrittenBehind);
    const std::vector<Cell> beyond(stride_, kBeyond);
    LowestNeighbour lowest(width_);
    lowest.Start(beyond.data() + 1, levels_.get() + At(0, rows.first));
    for (std::uint64_t y = rows.first; y < rows.end; ++y) {
        const Cell* below = y + 1 == rows.end ? beyond.data() + 1 : levels_.get() + At(0, y + 1);
        lowest.Next(levels_.get() + At(0, y), below, AmongEquals::kFirst, &directions[(y - rows.first) * stride_]);
    }

    std::uint32_t* basins = basins_.get() + At(0, rows.first);
    std::uint32_t count = 0;
    for (std::size_t row = 0; row < rowCount * stride_; row += stride_) {
        for (std::size_t at = row; at < row + width_; ++at) {
            const bool isLowest = directions[at] == kHere;
            basins[at] = isLowest ? count : kNoBasin;
            count += isLowest ? 1u : 0u;
        }
    }
    FollowDirections({directions.data(), width_, rowCount, stride_}, kNoBasin, basins);
    return count;
}

/// `firstBasins`: what is added to the basins of the row above, of this one and of that below.
void ReliefBasins::AddPasses(std::uint64_t y, const PartRange& strip, const std::array<std::uint32_t, 3>& firstBasins,
                             std::vector<BasinPass>& passes) const {
    constexpr unsigned kAbove = 0b00000111u;
    constexpr unsigned kBelow = 0b11100000u;
    const unsigned otherStrips = (y == strip.first ? kAbove : 0u) | (y + 1 == strip.end ? kBelow : 0u);
    std::vector<NeighbourSet> lower(width_ + LowestNeighbour::kWrittenBehind);
    FindLowerNeighbours(levels_.get() + At(0, y), width_, stride_, lower.data());
    for (std::size_t x = 0; x < width_; ++x) {
        unsigned groups = groups_.FirstOfEach(lower[x]);
        const bool isLowest = (lower[x] & ~otherStrips) == 0;
        if ((groups & (groups - 1)) == 0 && !(isLowest && groups != 0)) continue;
        const std::size_t here = At(x, y);
        for (; groups != 0; groups &= groups - 1) {
            const Neighbourhood8::Offset& offset =
                Neighbourhood8::kOffsets[static_cast<unsigned>(__builtin_ctz(groups))];
            const std::size_t other =
                At(x + static_cast<std::size_t>(offset.dx), y + static_cast<std::size_t>(offset.dy));
            const std::uint32_t a = basins_[here] + firstBasins[1];
            const std::uint32_t b = basins_[other] + firstBasins[static_cast<std::size_t>(offset.dy + 1)];
            if (a != b) passes.push_back({levels_[here], static_cast<std::uint32_t>(here), a, b});
        }
    }
}

/// The passes of all voxels but those of a strip's first and last row; basins are counted from the strip's first.
std::vector<BasinPass> ReliefBasins::PassesInside(const PartRange& strip) const {
    std::vector<BasinPass> passes;
    for (std::uint64_t y = strip.first + 1; y + 1 < strip.end; ++y) AddPasses(y, strip, {0, 0, 0}, passes);
    return passes;
}

std::vector<BasinPass> ReliefBasins::PassesAtEdges(const PartRange& strip) const {
    std::vector<BasinPass> passes;
    const std::uint32_t first = firstBasins_[strip.part];
    const std::uint32_t above = strip.part == 0 ? first : firstBasins_[strip.part - 1];
    const std::uint32_t below = firstBasins_[strip.part + 1];
    const bool isOneRow = strip.first + 1 == strip.end;
    AddPasses(strip.first, strip, {above, first, isOneRow ? below : first}, passes);
    if (!isOneRow) AddPasses(strip.end - 1, strip, {first, first, below}, passes);
    return passes;
}

void ReliefBasins::Raise(const std::vector<Cell>& levelsOfBasins, const PartRunner& run) {
    RunRows(height_, run, [&](const PartRange& strip) {
        const Cell* ofStrip = levelsOfBasins.data() + firstBasins_[strip.part];
        for (std::uint64_t y = strip.first; y < strip.end; ++y) {
            Cell* levels = levels_.get() + At(0, y);
            const std::uint32_t* basins = basins_.get() + At(0, y);
            for (std::size_t x = 0; x < width_; ++x) levels[x] = std::max(levels[x], ofStrip[basins[x]]);
        }
    });
}

}  // namespace qvox
