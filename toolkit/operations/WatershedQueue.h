#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "operations/WatershedLevels.h"

namespace qvox {

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
            bandOfBucket_.resize(count_, static_cast<std::uint16_t>(band));
        }
    }

    static std::size_t BandOf(Cell level) { return (static_cast<std::uint32_t>(level) ^ 0x80000000u) >> 16; }
    std::uint32_t Count() const { return count_; }
    std::uint32_t BucketOf(Cell level) const {
        const Band& band = bands_[BandOf(level)];
        return band.first + ((static_cast<std::uint32_t>(level) & 0xFFFFu) >> band.shift);
    }
    /// The levels of a bucket agree but for so many last bits.
    unsigned LastBits(std::uint32_t bucket) const { return bands_[bandOfBucket_[bucket]].shift; }
    /// A bucket's levels without their last 16 bits.
    Cell FirstBits(std::uint32_t bucket) const {
        return static_cast<Cell>((std::uint32_t{bandOfBucket_[bucket]} << 16) ^ 0x80000000u);
    }

private:
    static constexpr std::uint32_t kVoxelsPerBucket = 2048;
    struct Band {
        std::uint32_t first = 0;
        std::uint32_t shift = 16;
    };
    std::vector<Band> bands_;
    std::vector<std::uint16_t> bandOfBucket_;
    std::uint32_t count_ = 0;
};

/// A labelled voxel that waits in a bucket, which tells the rest of its level: one number, so that it is stored and
/// loaded at once.
class Waiting {
public:
    Waiting() = default;
    /// Of the level only the last 16 bits are kept.
    Waiting(Cell level, std::uint16_t label, std::uint32_t voxel)
        : bits_(std::uint64_t{static_cast<std::uint16_t>(level)} << 48 | std::uint64_t{label} << 32 | voxel) {}

    std::uint16_t Level() const { return static_cast<std::uint16_t>(bits_ >> 48); }
    std::uint16_t Label() const { return static_cast<std::uint16_t>(bits_ >> 32); }
    std::uint32_t Voxel() const { return static_cast<std::uint32_t>(bits_); }

private:
    std::uint64_t bits_;
};

/// A few voxels in order of level and arrival. They are kept sorted by insertion; where that would have to pass too
/// many, all become a heap, so that no image costs more than a logarithm per voxel.
class SortedQueue {
public:
    bool Empty() const { return first_ == sorted_.size() && heap_.empty(); }
    std::uint16_t FrontLevel() const { return heap_.empty() ? sorted_[first_].Level() : heap_.front().entry.Level(); }

    /// Later arrivals go behind equal levels.
    void Add(Waiting entry) {
        if (!heap_.empty() || (sorted_.size() - first_ >= kMaxSorted && entry.Level() < sorted_.back().Level())) {
            AddToHeap(entry);
            return;
        }
        sorted_.push_back(entry);
        std::size_t at = sorted_.size() - 1;
        for (; at != first_ && entry.Level() < sorted_[at - 1].Level(); --at) sorted_[at] = sorted_[at - 1];
        sorted_[at] = entry;
    }

    Waiting TakeFront() {
        if (!heap_.empty()) return TakeFromHeap();
        const Waiting entry = sorted_[first_++];
        if (first_ == sorted_.size()) Clear();
        return entry;
    }

private:
    static constexpr std::size_t kMaxSorted = 32;
    struct Ordered {
        Waiting entry;
        std::uint64_t arrival;
    };
    static bool Later(const Ordered& a, const Ordered& b) {
        return a.entry.Level() != b.entry.Level() ? a.entry.Level() > b.entry.Level() : a.arrival > b.arrival;
    }
    void Clear() {
        sorted_.clear();
        first_ = 0;
    }
    void AddToHeap(Waiting entry) {
        for (; first_ < sorted_.size(); ++first_) {
            heap_.push_back({sorted_[first_], arrivals_++});
        }
        Clear();
        heap_.push_back({entry, arrivals_++});
        std::push_heap(heap_.begin(), heap_.end(), Later);
    }
    Waiting TakeFromHeap() {
        std::pop_heap(heap_.begin(), heap_.end(), Later);
        const Waiting entry = heap_.back().entry;
        heap_.pop_back();
        return entry;
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
        const std::uint32_t slot = (std::uint32_t{entry.Level()} >> shift_) & mask_;
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
    static constexpr std::uint32_t kVoxelsPerSlot = 4;
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

}  // namespace qvox
