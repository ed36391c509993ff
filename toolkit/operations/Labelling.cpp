#include "operations/Labelling.h"

#include <emmintrin.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "LargePages.h"

namespace qvox {

namespace {

constexpr std::size_t kMaxComponents = 65535;

/// Voxels [begin, end) of one row that hold the same non-zero value.
struct Run {
    std::uint32_t begin;
    std::uint32_t end;
    std::uint32_t label;  ///< provisional: an index into the union-find
};

/// Disjoint sets of provisional labels; the representative is the smallest, which is the first in raster order.
class LabelSets {
public:
    std::uint32_t Add() {
        parents_.push_back(static_cast<std::uint32_t>(parents_.size()));
        return parents_.back();
    }
    std::uint32_t Join(std::uint32_t a, std::uint32_t b) {
        a = Root(a);
        b = Root(b);
        const auto [low, high] = std::minmax(a, b);
        parents_[high] = low;
        return low;
    }
    std::size_t Size() const { return parents_.size(); }

    /// Replaces every label by the number of its set, 1, 2, ... in raster order, and returns the count of sets.
    std::size_t Number() {
        std::uint32_t count = 0;
        for (std::uint32_t label = 0; label < parents_.size(); ++label) {
            parents_[label] = parents_[label] == label ? ++count : parents_[parents_[label]];
        }
        return count;
    }
    std::uint32_t NumberOf(std::uint32_t label) const { return parents_[label]; }

private:
    std::uint32_t Root(std::uint32_t label) {
        while (parents_[label] != label) {
            parents_[label] = parents_[parents_[label]];
            label = parents_[label];
        }
        return label;
    }

    std::vector<std::uint32_t> parents_;
};

/// Bit i: whether the value at x + i differs from the one before it; 16 values, x at least 1.
unsigned ChangesFrom(const std::uint16_t* row, std::uint32_t x) {
    const auto equalToPrevious = [row](std::uint32_t at) {
        return _mm_cmpeq_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(row + at)),
                               _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + at - 1)));
    };
    const __m128i equal = _mm_packs_epi16(equalToPrevious(x), equalToPrevious(x + 8));
    return ~static_cast<unsigned>(_mm_movemask_epi8(equal)) & 0xFFFFu;
}

/// Calls found(x) for every x in [1, width) whose value differs from the one before it, in ascending order.
template <typename Found>
void ForEachChange(const std::uint16_t* row, std::uint32_t width, Found found) {
    std::uint32_t x = 1;
    for (; x + 16 <= width; x += 16) {
        for (unsigned changes = ChangesFrom(row, x); changes != 0; changes &= changes - 1) {
            found(x + static_cast<std::uint32_t>(__builtin_ctz(changes)));
        }
    }
    for (; x < width; ++x) {
        if (row[x] != row[x - 1]) found(x);
    }
}

/// At least as many as the row has runs.
std::size_t CountStretches(const std::uint16_t* row, std::uint32_t width) {
    std::size_t count = 1;
    std::uint32_t x = 1;
    for (; x + 16 <= width; x += 16) count += static_cast<unsigned>(__builtin_popcount(ChangesFrom(row, x)));
    for (; x < width; ++x) count += row[x] != row[x - 1] ? 1u : 0u;
    return count;
}

/// Writes the row's runs to `run`, which has room for all of them, and returns the end.
Run* WriteRuns(const std::uint16_t* row, std::uint32_t width, Run* run) {
    std::uint32_t begin = 0;
    const auto close = [&](std::uint32_t end) {
        *run = {begin, end, 0};
        run += row[begin] != 0 ? 1 : 0;
        begin = end;
    };
    ForEachChange(row, width, close);
    close(width);
    return run;
}

/// Fills [begin, end) of a row that is written from left to right: what lies right of it may be spoilt.
void FillOnward(std::uint16_t* row, std::uint32_t begin, std::uint32_t end, std::uint32_t width, std::uint16_t value) {
    const __m128i values = _mm_set1_epi16(static_cast<std::int16_t>(value));
    for (; begin < end && begin + 8 <= width; begin += 8) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row + begin), values);
    }
    for (; begin < end; ++begin) row[begin] = value;
}

/// The first pass: all runs of the image, provisionally labelled.
class RunTable {
public:
    explicit RunTable(const LabelImage& source) : source_(source) {
        const auto width = static_cast<std::uint32_t>(source.SizeX());
        std::size_t stretches = 0;
        for (std::uint64_t y = 0; y < source.SizeY(); ++y) stretches += CountStretches(source.Row(y), width);
        runs_ = MakeLargePageArray<Run>(stretches);
        rowEnds_.reserve(source.SizeY() + 1);
        rowEnds_.push_back(runs_.get());
        for (std::uint64_t y = 0; y < source.SizeY(); ++y) {
            rowEnds_.push_back(WriteRuns(source.Row(y), width, rowEnds_.back()));
            LabelRow(y);
        }
    }

    const Run* RowBegin(std::uint64_t y) const { return rowEnds_[y]; }
    const Run* RowEnd(std::uint64_t y) const { return rowEnds_[y + 1]; }
    LabelSets& Sets() { return sets_; }

private:
    // A run of the row above touches when it overlaps the run widened by one voxel on either side. Both rows are walked
    // once: a run above that ends before this one begins cannot touch the next one either.
    void LabelRow(std::uint64_t y) {
        constexpr std::uint32_t kNone = ~std::uint32_t{0};
        Run* run = rowEnds_[y];
        const Run* const rowEnd = rowEnds_[y + 1];
        const Run* above = y == 0 ? rowEnd : RowBegin(y - 1);
        const Run* const aboveEnd = y == 0 ? rowEnd : RowEnd(y - 1);
        const std::uint16_t* row = source_.Row(y);
        const std::uint16_t* rowAbove = y == 0 ? row : source_.Row(y - 1);
        for (; run != rowEnd; ++run) {
            const std::uint16_t value = row[run->begin];
            while (above != aboveEnd && above->end < run->begin) ++above;
            std::uint32_t label = kNone;
            for (const Run* other = above; other != aboveEnd && other->begin <= run->end; ++other) {
                if (rowAbove[other->begin] != value) continue;
                label = label == kNone ? other->label : label == other->label ? label : sets_.Join(label, other->label);
            }
            run->label = label == kNone ? sets_.Add() : label;
        }
    }

    const LabelImage& source_;
    LargePageArray<Run> runs_;
    std::vector<Run*> rowEnds_;  // of the rows before, the first of none
    LabelSets sets_;
};

void Extend(ComponentRecord& record, const Run& run, std::uint64_t y, std::uint16_t value) {
    if (record.voxelCount == 0) {
        record.sourceValue = value;
        record.minX = run.begin;
        record.minY = y;
    }
    record.voxelCount += run.end - run.begin;
    record.minX = std::min<std::uint64_t>(record.minX, run.begin);
    record.maxX = std::max<std::uint64_t>(record.maxX, run.end - 1);
    record.maxY = y;
}

void CheckSource(const LabelImage& source) {
    if (source.Empty()) throw ToolkitError("LabelForegroundRegions: the image is empty.");
    if (source.SizeZ() != 1) {
        throw ToolkitError("LabelForegroundRegions: the image has " + std::to_string(source.SizeZ()) +
                           " planes, but only one plane can be labelled.");
    }
    if (source.VoxelCount() >= (std::uint64_t{1} << 32)) {
        throw ToolkitError("LabelForegroundRegions: the image of " + std::to_string(source.SizeX()) + " x " +
                           std::to_string(source.SizeY()) + " voxels is too large; the limit is 2^32 voxels.");
    }
}

}  // namespace

void LabelForegroundRegions(ComponentImage& components, const VoxelImage<std::uint16_t>& source, Neighbourhood8) {
    CheckSource(source);
    RunTable table(source);
    const std::size_t count = table.Sets().Number();
    if (count > kMaxComponents) {
        throw ToolkitError("LabelForegroundRegions: the image has " + std::to_string(count) +
                           " components, more than the " + std::to_string(kMaxComponents) +
                           " that a 16-bit label image can hold.");
    }
    std::vector<ComponentRecord> records(count);
    for (std::size_t i = 0; i < count; ++i) records[i].identifier = static_cast<std::uint16_t>(i + 1);

    LabelImage identifiers;
    identifiers.CopyPropertiesFrom(source);
    identifiers.Resize(source.SizeX(), source.SizeY(), 1);
    const auto width = static_cast<std::uint32_t>(source.SizeX());
    for (std::uint64_t y = 0; y < source.SizeY(); ++y) {
        const std::uint16_t* row = source.Row(y);
        std::uint16_t* out = identifiers.Row(y);
        std::uint32_t written = 0;
        for (const Run* run = table.RowBegin(y); run != table.RowEnd(y); ++run) {
            const std::uint32_t number = table.Sets().NumberOf(run->label);
            FillOnward(out, written, run->begin, width, 0);
            FillOnward(out, run->begin, run->end, width, static_cast<std::uint16_t>(number));
            written = run->end;
            Extend(records[number - 1], *run, y, row[run->begin]);
        }
        FillOnward(out, written, width, width, 0);
    }
    components.Assign(std::move(identifiers), std::move(records));
}

void RemoveLabel(ComponentImage& components, std::uint16_t identifier) { components.Remove(identifier); }

}  // namespace qvox
