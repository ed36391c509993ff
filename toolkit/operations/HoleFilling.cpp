#include "operations/HoleFilling.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "operations/OperationChecks.h"
#include "operations/PassGraph.h"

namespace qvox {

namespace {

/// The highest level. No climb is higher, so a voxel of this level is as good as one of the border: it stays.
constexpr std::uint16_t kTop = 65535;

using TileGraph = PassGraph<std::uint16_t, std::uint32_t>;
using PlaneGraph = PassGraph<std::uint32_t, std::uint64_t>;

/// A rectangle of the plane, small enough to stay in a processor's cache.
struct Tile {
    static constexpr std::uint64_t kSide = 128;
    std::uint64_t x;
    std::uint64_t y;
    std::uint64_t width;
    std::uint64_t height;
};

/// Gives each voxel of a tile the number of its basin: the voxels from which a way that never climbs leads to the same
/// voxel. Basin 0 leads to the plane's border, or stays as it is anyway.
class BasinLabels {
public:
    static constexpr std::size_t kStride = Tile::kSide + 2;

    BasinLabels() { values_.fill(kTop); }

    /// Returns the number of basins, basin 0 included.
    std::size_t Label(const VoxelImage<std::uint16_t>& input, std::uint64_t z, const Tile& tile) {
        for (std::uint64_t y = 0; y < tile.height; ++y) {
            std::uint16_t* row = values_.data() + (y + 1) * kStride + 1;
            std::memcpy(row, input.Row(tile.y + y, z) + tile.x, tile.width * sizeof *row);
            row[tile.width] = kTop;
        }
        std::fill_n(values_.data() + (tile.height + 1) * kStride, kStride, kTop);
        std::size_t regions = 1;
        for (std::uint64_t y = 0; y < tile.height; ++y) {
            FindWays(y, tile.width);
            if (tile.y + y == 0 || tile.y + y + 1 == input.SizeY()) Drain(0, tile.width);
            if (tile.x == 0) Drain(0, 1);
            if (tile.x + tile.width == input.SizeX()) Drain(tile.width - 1, 1);
            regions = LabelRow(y, tile.width, regions);
        }
        return JoinRegions(tile, regions);
    }

    const std::uint16_t* Values(std::uint64_t y) const { return values_.data() + (y + 1) * kStride + 1; }
    const std::uint16_t* Labels(std::uint64_t y) const { return labels_.data() + (y + 1) * kStride + 1; }

private:
    // To each voxel of a row a step that does not climb: up or to the left, where there is one, since the basin there
    // is known when the row is labelled; else the voxel starts a region, and from there on the step is one to the right
    // or down, or none. Equal voxels are stepped to upwards and to the left only, so that no way goes round in a
    // circle. A voxel of the highest level has no way and starts nothing. A voxel of the tile's rim may have no way
    // within the tile: it is a basin by itself.
    void FindWays(std::uint64_t y, std::uint64_t width) {
        constexpr auto kDown = static_cast<std::uint16_t>(kStride);
        const std::uint16_t* v = Values(y);
        for (std::uint64_t x = 0; x < width; ++x) {
            const std::uint16_t own = v[x];
            const std::uint16_t step = v[x + kStride] < own ? kDown : std::uint16_t{0};
            steps_[x] = v[x + 1] < own ? std::uint16_t{1} : step;
            const std::uint16_t up = *(v + x - kStride) <= own ? kAll : std::uint16_t{0};
            const std::uint16_t left = v[static_cast<std::ptrdiff_t>(x) - 1] <= own ? kAll : std::uint16_t{0};
            const std::uint16_t way = own == kTop ? std::uint16_t{0} : kAll;
            up_[x] = up & way;
            left_[x] = static_cast<std::uint16_t>(left & ~up & way);
            starts_[x] = static_cast<std::uint16_t>(~(up | left) & way);
        }
    }

    // The voxels' way is to the plane's border: basin 0.
    void Drain(std::uint64_t x, std::uint64_t count) {
        std::fill_n(up_.begin() + static_cast<std::ptrdiff_t>(x), count, std::uint16_t{0});
        std::fill_n(left_.begin() + static_cast<std::ptrdiff_t>(x), count, std::uint16_t{0});
        std::fill_n(starts_.begin() + static_cast<std::ptrdiff_t>(x), count, std::uint16_t{0});
    }

    // Without branches: in noise they would go either way at random.
    std::size_t LabelRow(std::uint64_t y, std::uint64_t width, std::size_t regions) {
        const std::size_t first = (y + 1) * kStride + 1;
        std::uint16_t* labels = labels_.data() + first;
        std::uint16_t label = 0;
        for (std::uint64_t x = 0; x < width; ++x) {
            const auto other = static_cast<std::uint16_t>((*(labels + x - kStride) & up_[x]) | (regions & starts_[x]));
            label = static_cast<std::uint16_t>((label & left_[x]) | other);
            labels[x] = label;
            nexts_[regions] = static_cast<std::uint16_t>(first + x + steps_[x]);
            regions += starts_[x] & 1u;
        }
        return regions;
    }

    // Backwards, most ways end in a region whose own way is known to its end.
    std::size_t JoinRegions(const Tile& tile, std::size_t regions) {
        std::uint16_t* into = into_.data();
        for (std::size_t n = 1; n < regions; ++n) into[n] = labels_[nexts_[n]];
        for (std::size_t n = regions; n-- > 1;) into[n] = into[into[n]];
        std::size_t basins = 0;
        for (std::size_t n = 0; n < regions; ++n) {
            names_[n] = static_cast<std::uint16_t>(basins);
            basins += static_cast<std::size_t>(into[n] == n);
        }
        for (std::size_t n = regions; n-- > 1;) {
            std::size_t at = into[n];
            while (into[at] != at) at = into[at] = into[into[at]];
            into[n] = static_cast<std::uint16_t>(at);
        }
        for (std::size_t n = 1; n < regions; ++n) names_[n] = names_[into[n]];
        for (std::uint64_t y = 0; y < tile.height; ++y) {
            std::uint16_t* labels = labels_.data() + (y + 1) * kStride + 1;
            for (std::uint64_t x = 0; x < tile.width; ++x) labels[x] = names_[labels[x]];
        }
        return basins;
    }

    static constexpr std::uint16_t kAll = 0xFFFF;
    using Row = std::array<std::uint16_t, Tile::kSide>;
    using PerRegion = std::array<std::uint16_t, Tile::kSide * Tile::kSide + 2>;  // one more is written, never read

    std::array<std::uint16_t, kStride * kStride> values_;
    std::array<std::uint16_t, kStride * kStride> labels_{};
    Row steps_{};
    Row up_{};           // all bits set where the way leads there
    Row left_{};         // the same
    Row starts_{};       // all bits set where a region starts
    PerRegion nexts_{};  // where a region's way leads: the index of a voxel
    PerRegion into_{};   // the region that this leads to
    PerRegion names_{};
};

/// One plane. From a voxel one can go down into its basin and back, so its level is its own value or its basin's level,
/// whichever is higher; what remains is to find the basins' levels. Basins are found and joined tile by tile, as far as
/// a tile knows all their passes; what is left of all tiles is joined over the whole plane. Until the end, the output
/// holds the voxels' basins in their tiles.
class PlaneFilling {
public:
    PlaneFilling(const VoxelImage<std::uint16_t>& input, VoxelImage<std::uint16_t>& output, std::uint64_t z)
        : input_(input), output_(output), z_(z) {
        for (std::uint64_t y = 0; y < input.SizeY(); y += Tile::kSide) {
            for (std::uint64_t x = 0; x < input.SizeX(); x += Tile::kSide) {
                tiles_.push_back(
                    {x, y, std::min(Tile::kSide, input.SizeX() - x), std::min(Tile::kSide, input.SizeY() - y)});
            }
        }
    }

    void Run() {
        for (std::size_t i = 0; i < tiles_.size(); ++i) ContractTile(i);
        for (std::size_t i = 0; i < tiles_.size(); ++i) JoinToNextTiles(i);
        plane_.Begin(left_, passes_.data(), passes_.size());
        plane_.Contract();
        for (std::size_t i = 0; i < tiles_.size(); ++i) Fill(i);
    }

private:
    /// The basin that one of a tile has become part of, and the highest pass on the way to that.
    struct Basin {
        std::uint16_t climb;
        std::uint16_t part;
    };

    void ContractTile(std::size_t i) {
        const Tile& tile = tiles_[i];
        const std::size_t count = basins_.Label(input_, z_, tile);
        graph_.Begin(count, tilePasses_.data(), CollectPasses(tile));
        MarkRim(tile);
        graph_.Contract();
        begins_.push_back(basinsOfAll_.size());
        firstParts_.push_back(left_);
        KeepBasins(count);
        for (const TileGraph::Pass& pass : graph_.NeededPasses()) {
            passes_.push_back({Part(i, pass.a), Part(i, pass.b), pass.level});
        }
        left_ += static_cast<std::uint32_t>(graph_.Left()) - 1;
        for (std::uint64_t y = 0; y < tile.height; ++y) {
            std::memcpy(output_.Row(tile.y + y, z_) + tile.x, basins_.Labels(y), tile.width * sizeof(std::uint16_t));
        }
    }

    void KeepBasins(std::size_t count) {
        const std::size_t begin = basinsOfAll_.size();
        if (basinsOfAll_.capacity() < begin + count) {
            basinsOfAll_.reserve((begin + count) * tiles_.size() / begins_.size() * 17 / 16);
        }
        basinsOfAll_.resize(begin + count);
        Basin* basins = basinsOfAll_.data() + begin;
        for (std::size_t n = 0; n < count; ++n) basins[n] = {graph_.ClimbOf(n), graph_.PartOf(n)};
    }

    // In the plane, region 0 of every tile is region 0.
    std::uint32_t Part(std::size_t tile, std::uint32_t part) const {
        return part == 0 ? 0 : firstParts_[tile] + part - 1;
    }

    // What lies on a tile's rim has passes into the next tiles.
    void MarkRim(const Tile& tile) {
        for (std::uint64_t x = 0; x < tile.width; ++x) {
            graph_.MarkOpen(basins_.Labels(0)[x]);
            graph_.MarkOpen(basins_.Labels(tile.height - 1)[x]);
        }
        for (std::uint64_t y = 0; y < tile.height; ++y) {
            graph_.MarkOpen(basins_.Labels(y)[0]);
            graph_.MarkOpen(basins_.Labels(y)[tile.width - 1]);
        }
    }

    // Of the four passes round a corner the highest is not needed: the other three lead the same way. Among equally
    // high ones let those between rows be the higher ones, and of these the right one. Then the highest lies between
    // rows always, and those remain which are lower than the next one to the left and no higher than the next to the
    // right.
    std::size_t CollectPasses(const Tile& tile) {
        TileGraph::Pass* passes = tilePasses_.data();
        std::size_t count = 0;
        constexpr std::size_t kStride = BasinLabels::kStride;
        for (std::uint64_t y = 0; y < tile.height; ++y) {
            const std::uint16_t* v = basins_.Values(y);
            const std::uint16_t* l = basins_.Labels(y);
            for (std::uint64_t x = 0; x + 1 < tile.width; ++x) {
                passes[count] = {l[x], l[x + 1], std::max(v[x], v[x + 1])};
                count += static_cast<std::size_t>(l[x] != l[x + 1]);
            }
            if (y + 1 == tile.height) break;
            FindLowPassesDown(v, l, tile.width);
            for (std::uint64_t x = 0; x < tile.width; ++x) {
                passes[count] = {l[x], l[x + kStride], levelsDown_[x]};
                count += neededDown_[x];
            }
        }
        return count;
    }

    void FindLowPassesDown(const std::uint16_t* v, const std::uint16_t* l, std::uint64_t width) {
        constexpr std::size_t kStride = BasinLabels::kStride;
        std::uint16_t* levels = levelsDown_.data();
        std::uint16_t* needed = neededDown_.data();
        for (std::uint64_t x = 0; x < width; ++x) {
            levels[x] = std::max(v[x], v[x + kStride]);
            needed[x] = l[x] != l[x + kStride] ? 1 : 0;
        }
        for (std::uint64_t x = 0; x + 1 < width; ++x) needed[x] &= levels[x] <= levels[x + 1] ? 1 : 0;
        for (std::uint64_t x = 1; x < width; ++x) needed[x] &= levels[x] < levels[x - 1] ? 1 : 0;
    }

    std::uint32_t PartAt(std::size_t tile, std::uint64_t x, std::uint64_t y) const {
        return Part(tile, basinsOfAll_[begins_[tile] + output_(x, y, z_)].part);
    }

    void Join(std::size_t tileA, std::uint64_t xA, std::uint64_t yA, std::size_t tileB, std::uint64_t xB,
              std::uint64_t yB) {
        const std::uint32_t a = PartAt(tileA, xA, yA);
        const std::uint32_t b = PartAt(tileB, xB, yB);
        if (a == b) return;
        passes_.push_back({a, b, std::max(input_(xA, yA, z_), input_(xB, yB, z_))});
    }

    void JoinToNextTiles(std::size_t i) {
        const Tile& tile = tiles_[i];
        const std::uint64_t xEnd = tile.x + tile.width;
        const std::uint64_t yEnd = tile.y + tile.height;
        const std::size_t across = (input_.SizeX() + Tile::kSide - 1) / Tile::kSide;
        if (xEnd < input_.SizeX()) {
            for (std::uint64_t y = tile.y; y < yEnd; ++y) Join(i, xEnd - 1, y, i + 1, xEnd, y);
        }
        if (yEnd < input_.SizeY()) {
            for (std::uint64_t x = tile.x; x < xEnd; ++x) Join(i, x, yEnd - 1, i + across, x, yEnd);
        }
    }

    void Fill(std::size_t i) {
        const Tile& tile = tiles_[i];
        const std::size_t end = i + 1 < tiles_.size() ? begins_[i + 1] : basinsOfAll_.size();
        levels_.resize(end - begins_[i]);
        for (std::size_t n = 0; n < levels_.size(); ++n) {
            const Basin basin = basinsOfAll_[begins_[i] + n];
            levels_[n] = std::max(basin.climb, plane_.ClimbOf(Part(i, basin.part)));
        }
        for (std::uint64_t y = tile.y; y < tile.y + tile.height; ++y) {
            const std::uint16_t* in = input_.Row(y, z_) + tile.x;
            std::uint16_t* out = output_.Row(y, z_) + tile.x;
            for (std::uint64_t x = 0; x < tile.width; ++x) out[x] = std::max(in[x], levels_[out[x]]);
        }
    }

    const VoxelImage<std::uint16_t>& input_;
    VoxelImage<std::uint16_t>& output_;
    std::uint64_t z_;
    std::vector<Tile> tiles_;
    BasinLabels basins_;
    TileGraph graph_;
    std::array<std::uint16_t, Tile::kSide> levelsDown_{};
    std::array<std::uint16_t, Tile::kSide> neededDown_{};
    std::vector<TileGraph::Pass> tilePasses_ = std::vector<TileGraph::Pass>(2 * Tile::kSide * Tile::kSide);
    std::vector<std::size_t> begins_;        // of each tile, in basinsOfAll_
    std::vector<std::uint32_t> firstParts_;  // the number in the plane of each tile's part 1
    std::vector<Basin> basinsOfAll_;
    std::vector<PlaneGraph::Pass> passes_;
    std::uint32_t left_ = 1;
    PlaneGraph plane_;
    std::vector<std::uint16_t> levels_;
};

}  // namespace

void FillHoles(const VoxelImage<std::uint16_t>& input, VoxelImage<std::uint16_t>& output) {
    RequireVoxels("FillHoles", input);
    RequireSeparateOutput("FillHoles", input, output);
    ShapeOutputLike(input, output);
    for (std::uint64_t z = 0; z < input.SizeZ(); ++z) PlaneFilling(input, output, z).Run();
}

}  // namespace qvox
