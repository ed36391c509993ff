#include "operations/QueueFlood.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <utility>
#include <vector>

#include "LargePages.h"
#include "operations/WatershedQueue.h"

namespace qvox {

namespace {

/// The state of a voxel in one signed number. Without a label: its level, the relief's bits mapped to a number of
/// the same order. With one: the label above kLabelled. No float but a NaN maps below kUnlabelled, so the two never
/// mix.
constexpr Cell kLabelled = std::numeric_limits<Cell>::min();
constexpr Cell kUnlabelled = kLabelled + 65536;

/// Which voxels have no label yet, a bit each: of all that the flood looks at this alone stays in the processor's
/// cache.
class OpenVoxels {
public:
    /// No voxel is open. Voxels are numbered row by row; the outermost ones are never queried.
    OpenVoxels(std::size_t voxels, std::size_t stride)
        : stride_(stride), words_(MakeLargePageArray<std::uint64_t>(voxels / 64 + 2)) {
        std::fill_n(words_.get(), voxels / 64 + 2, std::uint64_t{0});
    }

    void OpenRun(std::size_t first, std::size_t count) {
        for (std::size_t at = first, end = first + count; at < end;) {
            const std::size_t taken = std::min(64 - at % 64, end - at);
            words_[at / 64] |= (~std::uint64_t{0} >> (64 - taken)) << (at % 64);
            at += taken;
        }
    }
    void Close(std::size_t voxel) { words_[voxel / 64] &= ~(std::uint64_t{1} << (voxel % 64)); }

    /// Bits 0 to 2 are the neighbours above from left to right, bits 4 and 6 those at the sides, 8 to 10 those below:
    /// in ascending order that of Neighbourhood8.
    unsigned Around(std::size_t voxel) const {
        return RowOf(voxel - stride_) | (RowOf(voxel) & 0b101u) << 4 | RowOf(voxel + stride_) << 8;
    }

private:
    unsigned RowOf(std::size_t middle) const {
        const std::size_t first = middle - 1;
        const std::uint64_t* word = words_.get() + first / 64;
        const std::uint64_t bits = word[0] >> (first % 64) | word[1] << 1 << (63 - first % 64);
        return static_cast<unsigned>(bits) & 0b111u;
    }

    std::size_t stride_;
    LargePageArray<std::uint64_t> words_;
};

/// The flooding of one image. The cells have a margin of one voxel that is never open, so that the loop knows no
/// border.
class Flooding {
public:
    Flooding(const VoxelImage<float>& relief, const LabelImage& markers, const PartRunner& run)
        : run_(run),
          width_(markers.SizeX()),
          height_(markers.SizeY()),
          stride_(width_ + 2),
          cells_(MakeLargePageArray<Cell>(stride_ * (height_ + 2))),
          unlabelled_(stride_ * (height_ + 2), stride_),
          waiting_(MakeLargePageArray<Waiting>(width_ * height_)) {
        LayOutBuckets(FillCells(relief));
        SeedQueue(relief, markers);
        const auto s = static_cast<std::int32_t>(stride_);
        neighbourOf_ = {-s - 1, -s, -s + 1, 0, -1, 0, 1, 0, s - 1, s, s + 1, 0};
    }

    void Run() {
        for (current_ = 0; current_ < buckets_.Count(); ++current_) {
            if (ends_[current_] == begins_[current_]) continue;
            OpenCurrent();
            while (open_.Advance()) FloodLevel();
        }
    }

    void CopyLabels(LabelImage& output) const {
        RunRows(height_, run_, [&](const PartRange& rows) {
            for (std::uint64_t y = rows.first; y < rows.end; ++y) {
                const Cell* cells = cells_.get() + At(0, y);
                std::uint16_t* row = output.Row(y);
                for (std::uint64_t x = 0; x < width_; ++x) row[x] = LabelIn(cells[x]);
            }
        });
    }

private:
    std::size_t At(std::uint64_t x, std::uint64_t y) const { return (y + 1) * stride_ + x + 1; }

    // Where no marker was, there are levels to the end.
    static std::uint16_t LabelIn(Cell cell) {
        return cell < kUnlabelled ? static_cast<std::uint16_t>(cell - kLabelled) : std::uint16_t{0};
    }

    using Counts = std::vector<std::uint32_t>;

    std::vector<std::uint32_t> FillCells(const VoxelImage<float>& relief) {
        for (std::uint64_t y = 0; y < height_; ++y) unlabelled_.OpenRun(At(0, y), width_);
        return CountRows(BucketMap::kBands, [&](std::uint64_t y, Counts& counts) {
            const float* row = relief.Row(y);
            Cell* cells = cells_.get() + At(0, y);
            for (std::uint64_t x = 0; x < width_; ++x) cells[x] = LevelOf(row[x]);
            for (std::uint64_t x = 0; x < width_; ++x) ++counts[BucketMap::BandOf(cells[x])];
        });
    }

    /// The sums of `size` counts that count(y, counts) makes of each row.
    template <typename Count>
    Counts CountRows(std::size_t size, Count count) const {
        // A part takes as long for its counts alone as for half so many voxels.
        constexpr std::uint64_t kFewestVoxels = std::uint64_t{1} << 19;
        const std::uint64_t fewestRows = kFewestVoxels / width_ + 1;
        std::vector<Counts> counts(PartsOf(height_, fewestRows));
        RunRanges(height_, fewestRows, run_, [&](const PartRange& rows) {
            Counts& ofPart = counts[rows.part];
            ofPart.assign(size, 0);
            for (std::uint64_t y = rows.first; y < rows.end; ++y) count(y, ofPart);
        });
        Counts& all = counts.front();
        for (std::size_t part = 1; part < counts.size(); ++part) {
            std::transform(all.begin(), all.end(), counts[part].begin(), all.begin(), std::plus<>{});
        }
        return std::move(all);
    }

    // Every voxel waits in its bucket at most once, so the buckets lie side by side in one array.
    void LayOutBuckets(const std::vector<std::uint32_t>& bandCounts) {
        buckets_.Divide(bandCounts);
        begins_ = CountRows(buckets_.Count() + 1, [&](std::uint64_t y, Counts& counts) {
            const Cell* cells = cells_.get() + At(0, y);
            for (std::uint64_t x = 0; x < width_; ++x) ++counts[buckets_.BucketOf(cells[x]) + 1];
        });
        for (std::uint32_t bucket = 0; bucket < buckets_.Count(); ++bucket) begins_[bucket + 1] += begins_[bucket];
        ends_ = begins_;
    }

    template <typename Visit>
    static void ForEachMarkerVoxel(const LabelImage& markers, Visit visit) {
        for (std::uint64_t y = 0; y < markers.SizeY(); ++y) {
            const std::uint16_t* row = markers.Row(y);
            for (std::uint64_t x = 0; x < markers.SizeX(); ++x) {
                if (row[x] != 0) visit(x, y, row[x]);
            }
        }
    }

    // Only marker voxels beside an unlabelled one are let in: the others reach nobody, now or later, and leaving them
    // out changes no order.
    void SeedQueue(const VoxelImage<float>& relief, const LabelImage& markers) {
        ForEachMarkerVoxel(markers, [this](std::uint64_t x, std::uint64_t y, std::uint16_t label) {
            cells_[At(x, y)] = kLabelled + label;
            unlabelled_.Close(At(x, y));
        });
        ForEachMarkerVoxel(markers, [&](std::uint64_t x, std::uint64_t y, std::uint16_t label) {
            if (unlabelled_.Around(At(x, y)) == 0) return;
            const Cell level = LevelOf(relief.Row(y)[x]);
            Await(buckets_.BucketOf(level), {level, label, static_cast<std::uint32_t>(At(x, y))});
        });
    }

    void Await(std::uint32_t bucket, Waiting entry) { waiting_[ends_[bucket]++] = entry; }

    // Voxels without an open neighbour are left out. The others lie anywhere in the image: the cells of their open
    // neighbours are fetched while they are dealt into slots.
    void OpenCurrent() {
        open_.Open(begins_[current_ + 1] - begins_[current_], buckets_.LastBits(current_));
        firstBits_ = buckets_.FirstBits(current_);
        for (std::uint32_t i = begins_[current_]; i < ends_[current_]; ++i) {
            const Waiting entry = waiting_[i];
            const unsigned around = unlabelled_.Around(entry.Voxel());
            if (around == 0) continue;
            const Cell* cell = cells_.get() + entry.Voxel();
            if ((around & 0x00Fu) != 0) __builtin_prefetch(cell - stride_, 1);
            if ((around & 0x0F0u) != 0) __builtin_prefetch(cell, 1);
            if ((around & 0xF00u) != 0) __builtin_prefetch(cell + stride_, 1);
            open_.Add(entry);
        }
    }

    // Takes out all that waits at the lowest level, then, wave by wave, what arrives at that level meanwhile.
    void FloodLevel() {
        SortedQueue& queue = open_.Queue();
        const std::uint16_t lowest = queue.FrontLevel();
        level_ = firstBits_ | Cell{lowest};
        do {
            Flood(queue.TakeFront());
        } while (!queue.Empty() && queue.FrontLevel() == lowest);
        while (!arrived_.empty()) {
            wave_.swap(arrived_);
            arrived_.clear();
            for (const Waiting entry : wave_) Flood(entry);
        }
    }

    void Flood(Waiting entry) {
        for (unsigned open = unlabelled_.Around(entry.Voxel()); open != 0; open &= open - 1) {
            const auto offset = neighbourOf_[static_cast<unsigned>(__builtin_ctz(open))];
            const std::uint32_t neighbour = entry.Voxel() + static_cast<std::uint32_t>(offset);
            const Cell level = cells_[neighbour];
            cells_[neighbour] = kLabelled + entry.Label();
            unlabelled_.Close(neighbour);
            const Waiting next(level, entry.Label(), neighbour);
            if (level <= level_) {
                arrived_.push_back(next);
                continue;
            }
            const std::uint32_t bucket = buckets_.BucketOf(level);
            if (bucket == current_) {
                open_.Add(next);
            } else {
                Await(bucket, next);
            }
        }
    }

    const PartRunner& run_;
    std::uint64_t width_;
    std::uint64_t height_;
    std::uint64_t stride_;
    std::array<std::int32_t, 12> neighbourOf_{};
    LargePageArray<Cell> cells_;
    OpenVoxels unlabelled_;
    LargePageArray<Waiting> waiting_;
    BucketMap buckets_;
    std::vector<std::uint32_t> begins_;
    std::vector<std::uint32_t> ends_;
    OpenBucket open_;
    std::uint32_t current_ = 0;
    Cell firstBits_ = 0;
    Cell level_ = 0;
    std::vector<Waiting> wave_;
    std::vector<Waiting> arrived_;
};

}  // namespace

void LabelByQueue(const VoxelImage<float>& relief, const LabelImage& markers, LabelImage& output,
                  const PartRunner& run) {
    Flooding flooding(relief, markers, run);
    flooding.Run();
    flooding.CopyLabels(output);
}

}  // namespace qvox
