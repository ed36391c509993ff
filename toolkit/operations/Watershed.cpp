#include "operations/Watershed.h"

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "LargePages.h"

namespace qvox {

namespace {

/// What is known of a voxel, in one signed number. Without a label: its level, the relief's bits mapped to a number of
/// the same order. With one: the label above kLabelled. No float but a NaN maps below kUnlabelled, so the two never
/// mix.
using Cell = std::int32_t;

constexpr Cell kLabelled = std::numeric_limits<Cell>::min();
constexpr Cell kUnlabelled = kLabelled + 65536;

Cell LevelOf(float relief) {
    constexpr Cell kInfinity = 0x7F800000;
    Cell bits = 0;
    std::memcpy(&bits, &relief, sizeof bits);
    if ((bits & 0x7FFFFFFF) > kInfinity) return kInfinity;  // NaN floods last, with infinity
    return bits >= 0 ? bits : -(bits & 0x7FFFFFFF);         // -0.0 is no lower than 0.0
}

/// Maps levels to buckets, in the same order, so that each bucket receives about as many voxels of this image. A
/// level's upper 16 bits choose a band; a band is divided by further bits the finer, the more voxels it holds. So
/// neither a few outliers nor a narrow range of values spoils the division.
class BucketMap {
public:
    static constexpr std::size_t kBands = 65536;

    /// `bandCounts`: how many voxels each band holds.
    void Divide(const std::vector<std::uint32_t>& bandCounts) {
        bands_.assign(kBands, {});
        for (std::size_t band = 0; band < kBands; ++band) {
            if (bandCounts[band] == 0) continue;
            unsigned bits = 0;
            while (bits < 16 && (bandCounts[band] >> bits) > kVoxelsPerBucket) ++bits;
            bands_[band] = {count_, 16 - bits};
            count_ += 1u << bits;
        }
    }

    static std::size_t BandOf(Cell level) { return (static_cast<std::uint32_t>(level) ^ 0x80000000u) >> 16; }
    std::uint32_t Count() const { return count_; }
    std::uint32_t BucketOf(Cell level) const {
        const Band& band = bands_[BandOf(level)];
        return band.first + ((static_cast<std::uint32_t>(level) & 0xFFFFu) >> band.shift);
    }
    /// A bucket that holds this level holds all levels that agree with it but for so many last bits.
    unsigned LastBits(Cell level) const { return bands_[BandOf(level)].shift; }

private:
    static constexpr std::uint32_t kVoxelsPerBucket = 1024;
    struct Band {
        std::uint32_t first = 0;
        std::uint32_t shift = 16;
    };
    std::vector<Band> bands_;
    std::uint32_t count_ = 0;
};

struct Waiting {
    Cell level;
    std::uint32_t voxel;
};

/// A few voxels in order of level and arrival. They are kept sorted by insertion; where that would have to pass too
/// many, all become a heap, so that no image costs more than a logarithm per voxel.
class SortedQueue {
public:
    bool Empty() const { return first_ == sorted_.size() && heap_.empty(); }
    Cell FrontLevel() const { return heap_.empty() ? sorted_[first_].level : heap_.front().level; }

    /// Later arrivals go behind equal levels.
    void Add(Waiting entry) {
        if (!heap_.empty() || (sorted_.size() - first_ >= kMaxSorted && entry.level < sorted_.back().level)) {
            AddToHeap(entry);
            return;
        }
        sorted_.push_back(entry);
        std::size_t at = sorted_.size() - 1;
        for (; at != first_ && entry.level < sorted_[at - 1].level; --at) sorted_[at] = sorted_[at - 1];
        sorted_[at] = entry;
    }

    std::uint32_t TakeFront() {
        if (!heap_.empty()) return TakeFromHeap();
        const std::uint32_t voxel = sorted_[first_++].voxel;
        if (first_ == sorted_.size()) Clear();
        return voxel;
    }

private:
    static constexpr std::size_t kMaxSorted = 32;
    struct Ordered {
        Cell level;
        std::uint32_t voxel;
        std::uint64_t arrival;
    };
    static bool Later(const Ordered& a, const Ordered& b) {
        return a.level != b.level ? a.level > b.level : a.arrival > b.arrival;
    }
    void Clear() {
        sorted_.clear();
        first_ = 0;
    }
    void AddToHeap(Waiting entry) {
        for (; first_ < sorted_.size(); ++first_) {
            heap_.push_back({sorted_[first_].level, sorted_[first_].voxel, arrivals_++});
        }
        Clear();
        heap_.push_back({entry.level, entry.voxel, arrivals_++});
        std::push_heap(heap_.begin(), heap_.end(), Later);
    }
    std::uint32_t TakeFromHeap() {
        std::pop_heap(heap_.begin(), heap_.end(), Later);
        const std::uint32_t voxel = heap_.back().voxel;
        heap_.pop_back();
        return voxel;
    }

    std::vector<Waiting> sorted_;
    std::size_t first_ = 0;
    std::vector<Ordered> heap_;
    std::uint64_t arrivals_ = 0;
};

/// The voxels of the bucket that is being emptied, dealt into slots by further bits of their level: a slot is a list of
/// voxels in order of arrival, and only the lowest one that holds any is put in order.
class OpenBucket {
public:
    /// Makes ready for up to `capacity` voxels of levels that agree but for their last bits.
    void Open(std::uint32_t capacity, unsigned lastBits) {
        unsigned slotBits = 0;
        while (slotBits < lastBits && (capacity >> slotBits) > kVoxelsPerSlot) ++slotBits;
        shift_ = lastBits - slotBits;
        mask_ = (1u << slotBits) - 1;
        heads_.assign(std::size_t{1} << slotBits, kNone);
        tails_.resize(std::size_t{1} << slotBits);
        entries_.clear();
        slot_ = 0;
        slotIsOpen_ = false;
    }

    void Add(Waiting entry) {
        const std::uint32_t slot = (static_cast<std::uint32_t>(entry.level) >> shift_) & mask_;
        if (slotIsOpen_ && slot == slot_) {
            queue_.Add(entry);
            return;
        }
        const auto at = static_cast<std::uint32_t>(entries_.size());
        entries_.push_back({entry, kNone});
        if (heads_[slot] == kNone) {
            heads_[slot] = at;
        } else {
            entries_[tails_[slot]].next = at;
        }
        tails_[slot] = at;
    }

    /// Finds the lowest level that waits; false when none does.
    bool Advance() {
        while (queue_.Empty()) {
            if (slotIsOpen_ && ++slot_ > mask_) return false;
            slotIsOpen_ = true;
            for (std::uint32_t at = heads_[slot_]; at != kNone; at = entries_[at].next) {
                queue_.Add(entries_[at].waiting);
            }
        }
        return true;
    }
    SortedQueue& Queue() { return queue_; }

private:
    static constexpr std::uint32_t kNone = ~std::uint32_t{0};
    static constexpr std::uint32_t kVoxelsPerSlot = 2;
    struct Entry {
        Waiting waiting;
        std::uint32_t next;
    };
    unsigned shift_ = 0;
    std::uint32_t mask_ = 0;
    std::uint32_t slot_ = 0;
    bool slotIsOpen_ = false;
    std::vector<Entry> entries_;
    std::vector<std::uint32_t> heads_;
    std::vector<std::uint32_t> tails_;
    SortedQueue queue_;
};

/// The flooding of one image. The cells have a margin of one voxel that counts as labelled, so that the loop knows no
/// border.
class Flooding {
public:
    Flooding(const VoxelImage<float>& relief, const LabelImage& markers)
        : width_(markers.SizeX()),
          height_(markers.SizeY()),
          stride_(width_ + 2),
          cells_(MakeLargePageArray<Cell>(stride_ * (height_ + 2) + kReadAhead)),
          waiting_(MakeLargePageArray<Waiting>(width_ * height_)) {
        FillCells(relief);
        LayOutBuckets();
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
        for (std::uint64_t y = 0; y < height_; ++y) {
            const Cell* cells = cells_.get() + At(0, y);
            std::uint16_t* row = output.Row(y);
            for (std::uint64_t x = 0; x < width_; ++x) row[x] = LabelIn(cells[x]);
        }
    }

private:
    static constexpr std::size_t kReadAhead = 2;  // a row of three cells is read as four

    std::size_t At(std::uint64_t x, std::uint64_t y) const { return (y + 1) * stride_ + x + 1; }

    // Where no marker was, there are levels to the end.
    static std::uint16_t LabelIn(Cell cell) {
        return cell < kUnlabelled ? static_cast<std::uint16_t>(cell - kLabelled) : std::uint16_t{0};
    }

    void FillCells(const VoxelImage<float>& relief) {
        std::fill_n(cells_.get(), stride_, kLabelled);
        for (std::uint64_t y = 0; y < height_; ++y) {
            const float* row = relief.Row(y);
            Cell* cells = cells_.get() + At(0, y);
            cells[-1] = kLabelled;
            for (std::uint64_t x = 0; x < width_; ++x) cells[x] = LevelOf(row[x]);
            cells[width_] = kLabelled;
        }
        std::fill_n(cells_.get() + (height_ + 1) * stride_, stride_ + kReadAhead, kLabelled);
    }

    template <typename Visit>
    void ForEachCell(Visit visit) const {
        for (std::uint64_t y = 0; y < height_; ++y) {
            const Cell* cells = cells_.get() + At(0, y);
            for (std::uint64_t x = 0; x < width_; ++x) visit(cells[x]);
        }
    }

    // Every voxel waits in its bucket at most once, so the buckets lie side by side in one array.
    void LayOutBuckets() {
        std::vector<std::uint32_t> bandCounts(BucketMap::kBands, 0);
        ForEachCell([&](Cell level) { ++bandCounts[BucketMap::BandOf(level)]; });
        buckets_.Divide(bandCounts);
        begins_.assign(buckets_.Count() + 1, 0);
        ForEachCell([&](Cell level) { ++begins_[buckets_.BucketOf(level) + 1]; });
        for (std::uint32_t bucket = 0; bucket < buckets_.Count(); ++bucket) begins_[bucket + 1] += begins_[bucket];
        ends_ = begins_;
    }

    // Only marker voxels beside an unlabelled one are let in: the others reach nobody, now or later, and leaving them
    // out changes no order.
    void SeedQueue(const VoxelImage<float>& relief, const LabelImage& markers) {
        for (std::uint64_t y = 0; y < height_; ++y) {
            const std::uint16_t* row = markers.Row(y);
            Cell* cells = cells_.get() + At(0, y);
            for (std::uint64_t x = 0; x < width_; ++x) {
                if (row[x] != 0) cells[x] = kLabelled + row[x];
            }
        }
        for (std::uint64_t y = 0; y < height_; ++y) {
            const std::uint16_t* row = markers.Row(y);
            for (std::uint64_t x = 0; x < width_; ++x) {
                if (row[x] == 0 || UnlabelledNeighbours(At(x, y)) == 0) continue;
                const Cell level = LevelOf(relief.Row(y)[x]);
                waiting_[ends_[buckets_.BucketOf(level)]++] = {level, static_cast<std::uint32_t>(At(x, y))};
            }
        }
    }

    // What waits in a bucket lies anywhere in the image: its cells are asked for while it is dealt into slots.
    void OpenCurrent() {
        const std::uint32_t begin = begins_[current_];
        const Cell level = waiting_[begin].level;
        open_.Open(begins_[current_ + 1] - begin, buckets_.LastBits(level));
        for (std::uint32_t i = begin; i < ends_[current_]; ++i) {
            const Cell* cell = cells_.get() + waiting_[i].voxel;
            __builtin_prefetch(cell - stride_);
            __builtin_prefetch(cell);
            __builtin_prefetch(cell + stride_);
            open_.Add(waiting_[i]);
        }
    }

    // Bit i is set when the neighbour at neighbourOf_[i] has no label; in ascending order of bits this is the order of
    // Neighbourhood8.
    unsigned UnlabelledNeighbours(std::size_t voxel) const {
        const auto unlabelled = [this](std::size_t at) {
            const __m128i cells = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cells_.get() + at));
            return _mm_cmpgt_epi32(cells, _mm_set1_epi32(kUnlabelled - 1));
        };
        const __m128i upper = _mm_packs_epi32(unlabelled(voxel - stride_ - 1), unlabelled(voxel - 1));
        const __m128i lower = _mm_packs_epi32(unlabelled(voxel + stride_ - 1), _mm_setzero_si128());
        constexpr unsigned kNeighbours = 0b0111'0101'0111;
        return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(upper, lower))) & kNeighbours;
    }

    // Takes out all that waits at the lowest level, then, wave by wave, what arrives at that level meanwhile.
    void FloodLevel() {
        SortedQueue& queue = open_.Queue();
        level_ = queue.FrontLevel();
        do {
            Flood(queue.TakeFront());
        } while (!queue.Empty() && queue.FrontLevel() == level_);
        while (!arrived_.empty()) {
            wave_.swap(arrived_);
            arrived_.clear();
            for (const std::uint32_t voxel : wave_) Flood(voxel);
        }
    }

    void Flood(std::uint32_t voxel) {
        const Cell label = cells_[voxel];
        for (unsigned open = UnlabelledNeighbours(voxel); open != 0; open &= open - 1) {
            const auto offset = neighbourOf_[static_cast<unsigned>(__builtin_ctz(open))];
            const std::uint32_t neighbour = voxel + static_cast<std::uint32_t>(offset);
            const Cell level = cells_[neighbour];
            cells_[neighbour] = label;
            if (level <= level_) {
                arrived_.push_back(neighbour);
                continue;
            }
            const std::uint32_t bucket = buckets_.BucketOf(level);
            if (bucket == current_) {
                open_.Add({level, neighbour});
            } else {
                waiting_[ends_[bucket]++] = {level, neighbour};
            }
        }
    }

    std::uint64_t width_;
    std::uint64_t height_;
    std::uint64_t stride_;
    std::array<std::int32_t, 12> neighbourOf_{};
    LargePageArray<Cell> cells_;
    LargePageArray<Waiting> waiting_;
    BucketMap buckets_;
    std::vector<std::uint32_t> begins_;
    std::vector<std::uint32_t> ends_;
    OpenBucket open_;
    std::uint32_t current_ = 0;
    Cell level_ = 0;
    std::vector<std::uint32_t> wave_;
    std::vector<std::uint32_t> arrived_;
};

std::string Sizes(std::uint64_t x, std::uint64_t y, std::uint64_t z) {
    return std::to_string(x) + " x " + std::to_string(y) + " x " + std::to_string(z);
}

void CheckImages(const VoxelImage<float>& relief, const LabelImage& markers) {
    const std::string markerSizes = Sizes(markers.SizeX(), markers.SizeY(), markers.SizeZ());
    if (!relief.SameSizes(markers)) {
        throw ToolkitError("WatershedFromMarkers: the relief is " +
                           Sizes(relief.SizeX(), relief.SizeY(), relief.SizeZ()) + " voxels and the marker image " +
                           markerSizes + "; they must have the same sizes.");
    }
    if (relief.Empty()) throw ToolkitError("WatershedFromMarkers: the images are empty.");
    if (relief.SizeZ() != 1) {
        throw ToolkitError("WatershedFromMarkers: the images have " + std::to_string(relief.SizeZ()) +
                           " planes, but only one plane can be flooded.");
    }
    constexpr std::uint64_t kMaxVoxels = (std::uint64_t{1} << 32) - 1;
    if (relief.SizeX() + 2 > kMaxVoxels / (relief.SizeY() + 2) || relief.SizeX() > 0x7FFFFFF0u) {
        throw ToolkitError("WatershedFromMarkers: the images of " + markerSizes +
                           " voxels are too large; the limit is 2^32 voxels with a margin of one.");
    }
}

}  // namespace

void WatershedFromMarkers(const VoxelImage<float>& relief, const VoxelImage<std::uint16_t>& markers,
                          VoxelImage<std::uint16_t>& output, Neighbourhood8) {
    CheckImages(relief, markers);
    Flooding flooding(relief, markers);
    flooding.Run();
    output.CopyPropertiesFrom(markers);
    output.Resize(markers.SizeX(), markers.SizeY(), 1);
    flooding.CopyLabels(output);
}

}  // namespace qvox
