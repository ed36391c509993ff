#include "LabelChanges.h"

#include <algorithm>

#include "ToolkitError.h"

namespace Korvane {

namespace {

/// Set in the second number of a run whose labels are those of the run before it.
constexpr std::uint64_t kSameLabels = 1;

/// Reversing so many blocks takes some milliseconds.
constexpr std::size_t kBlocksPerPart = 64;

/// Small numbers of either sign as small numbers without one.
std::uint64_t Folded(std::int64_t number) {
    return number < 0 ? (~static_cast<std::uint64_t>(number) << 1) | 1 : static_cast<std::uint64_t>(number) << 1;
}

std::int64_t Unfolded(std::uint64_t number) {
    return static_cast<std::int64_t>((number & 1) != 0 ? ~(number >> 1) : number >> 1);
}

void Put(std::vector<std::uint8_t>& bytes, std::uint64_t number) {
    for (; number >= 0x80; number >>= 7) bytes.push_back(static_cast<std::uint8_t>(number | 0x80));
    bytes.push_back(static_cast<std::uint8_t>(number));
}

/// Reads what Put wrote.
class Reader {
public:
    Reader(const std::vector<std::uint8_t>& bytes, std::size_t at) : bytes_(bytes), at_(at) {}

    bool AtEnd() const { return at_ >= bytes_.size(); }
    std::size_t At() const { return at_; }

    std::uint64_t Number() {
        std::uint64_t number = 0;
        for (unsigned shift = 0; shift < 64; shift += 7) {
            if (AtEnd()) break;
            const std::uint8_t byte = bytes_[at_++];
            number |= static_cast<std::uint64_t>(byte & 0x7f) << shift;
            if ((byte & 0x80) == 0) return number;
        }
        throw qvox::ToolkitError("The changes of labels are damaged.");
    }

    LabelRun Run(const LabelRun& last) {
        LabelRun run;
        run.start = last.start + last.length + static_cast<std::uint64_t>(Unfolded(Number()));
        const std::uint64_t length = Number();
        run.length = length >> 1;
        run.before = last.before;
        run.after = last.after;
        if ((length & kSameLabels) == 0) {
            run.before = Label();
            run.after = Label();
        }
        return run;
    }

private:
    std::uint16_t Label() {
        const std::uint64_t number = Number();
        if (number > 0xffff) throw qvox::ToolkitError("The changes of labels are damaged.");
        return static_cast<std::uint16_t>(number);
    }

    const std::vector<std::uint8_t>& bytes_;
    std::size_t at_;
};

/// Goes over the runs of a row that differ; `after` of a clearing is null.
void AddRow(const std::uint16_t* before, const std::uint16_t* after, std::uint64_t length, std::uint64_t start,
            LabelChanges& changes) {
    const auto to = [after](std::uint64_t x) { return after == nullptr ? std::uint16_t{0} : after[x]; };
    for (std::uint64_t x = 0; x < length;) {
        const std::uint64_t first = x;
        const std::uint16_t from = before[x];
        const std::uint16_t into = to(x);
        for (; x < length && before[x] == from && to(x) == into; ++x) {
        }
        if (from != into) changes.Add({start + first, x - first, from, into});
    }
}

}  // namespace

/// The bytes, for runs to be added to them.
std::vector<std::uint8_t>& LabelChanges::Own() {
    if (!bytes_) {
        bytes_ = std::make_shared<std::vector<std::uint8_t>>();
    } else if (bytes_.use_count() > 1) {
        bytes_ = std::make_shared<std::vector<std::uint8_t>>(*bytes_);
    }
    return *bytes_;
}

const std::vector<std::uint8_t>& LabelChanges::Packed() const {
    static const std::vector<std::uint8_t> none;
    return bytes_ ? *bytes_ : none;
}

LabelChanges::SharedBytes LabelChanges::Share() const {
    if (bytes_) return bytes_;
    return std::make_shared<const std::vector<std::uint8_t>>();
}

void LabelChanges::Add(const LabelRun& run) {
    if (run.length == 0 || run.before == run.after) return;
    std::vector<std::uint8_t>& bytes = Own();
    if (runs_ % kRunsPerBlock == 0) {
        blocks_.push_back(bytes.size());
        last_ = {};
    }
    Put(bytes, Folded(static_cast<std::int64_t>(run.start - (last_.start + last_.length))));
    const bool same = run.before == last_.before && run.after == last_.after;
    Put(bytes, run.length << 1 | (same ? kSameLabels : 0));
    if (!same) {
        Put(bytes, run.before);
        Put(bytes, run.after);
    }
    last_ = run;
    ++runs_;
}

void LabelChanges::Append(const LabelChanges& later) {
    if (Empty()) {
        *this = later;
        return;
    }
    later.ForEach([this](const LabelRun& run) { Add(run); });
}

std::vector<LabelRun> LabelChanges::Unpacked(std::size_t block) const {
    std::vector<LabelRun> runs;
    const std::size_t count = std::min(kRunsPerBlock, runs_ - block * kRunsPerBlock);
    runs.reserve(count);
    Reader reader(Packed(), blocks_[block]);
    LabelRun last;
    for (std::size_t i = 0; i < count; ++i) {
        last = reader.Run(last);
        runs.push_back(last);
    }
    return runs;
}

void LabelChanges::ForEach(const std::function<void(const LabelRun&)>& visit) const {
    for (std::size_t block = 0; block < blocks_.size(); ++block) {
        for (const LabelRun& run : Unpacked(block)) visit(run);
    }
}

void LabelChanges::ForEachReversed(const std::function<void(const LabelRun&)>& visit) const {
    for (std::size_t block = blocks_.size(); block-- > 0;) {
        const std::vector<LabelRun> runs = Unpacked(block);
        std::for_each(runs.rbegin(), runs.rend(), visit);
    }
}

LabelChanges LabelChanges::Reversed() const {
    LabelChanges reversed;
    ForEachReversed([&](const LabelRun& run) { reversed.Add({run.start, run.length, run.after, run.before}); });
    return reversed;
}

std::function<LabelChanges::SharedBytes()> LabelChanges::ReversedInParts() const {
    const auto reversed = std::make_shared<LabelChanges>();
    // About as many bytes again; growing would move all of them at once.
    if (bytes_) reversed->Own().reserve(bytes_->size() + runs_);
    return [changes = *this, reversed, left = blocks_.size()]() mutable -> SharedBytes {
        for (const std::size_t end = left - std::min(left, kBlocksPerPart); left > end; --left) {
            const std::vector<LabelRun> runs = changes.Unpacked(left - 1);
            std::for_each(runs.rbegin(), runs.rend(), [&](const LabelRun& run) {
                reversed->Add({run.start, run.length, run.after, run.before});
            });
        }
        return left > 0 ? nullptr : reversed->Share();
    };
}

LabelChanges LabelChanges::FromPacked(const std::vector<std::uint8_t>& bytes, std::uint64_t voxels) {
    LabelChanges changes;
    Reader reader(bytes, 0);
    LabelRun last;
    while (!reader.AtEnd()) {
        if (changes.runs_ % kRunsPerBlock == 0) {
            changes.blocks_.push_back(reader.At());
            last = {};
        }
        last = reader.Run(last);
        if (last.length == 0 || last.length > voxels || last.start > voxels - last.length) {
            throw qvox::ToolkitError("The changes of labels are not of an image of this size.");
        }
        ++changes.runs_;
    }
    changes.bytes_ = std::make_shared<std::vector<std::uint8_t>>(bytes);
    changes.last_ = last;
    return changes;
}

LabelChanges DifferenceOf(const qvox::LabelImage& before, const qvox::LabelImage& after) {
    LabelChanges changes;
    const std::uint64_t width = before.SizeX();
    for (std::uint64_t start = 0; start < before.VoxelCount(); start += width) {
        const std::uint16_t* const from = before.begin() + start;
        const std::uint16_t* const into = after.begin() + start;
        if (!std::equal(from, from + width, into)) AddRow(from, into, width, start, changes);
    }
    return changes;
}

LabelChanges ClearingOf(const qvox::LabelImage& labels) {
    LabelChanges changes;
    const std::uint64_t width = labels.SizeX();
    for (std::uint64_t start = 0; start < labels.VoxelCount(); start += width) {
        AddRow(labels.begin() + start, nullptr, width, start, changes);
    }
    return changes;
}

LabelChanges RemovalOf(const qvox::LabelImage& labels, const std::vector<std::uint16_t>& removed) {
    std::vector<bool> isRemoved(65536, false);
    for (const std::uint16_t label : removed) isRemoved[label] = label != 0;
    LabelChanges changes;
    const std::uint64_t count = labels.VoxelCount();
    for (std::uint64_t start = 0; start < count;) {
        const std::uint16_t label = labels[start];
        std::uint64_t end = start + 1;
        while (end < count && labels[end] == label) ++end;
        if (isRemoved[label]) changes.Add({start, end - start, label, 0});
        start = end;
    }
    return changes;
}

void ApplyChanges(const LabelChanges& changes, ChangeDirection direction, qvox::LabelImage& labels) {
    const bool undo = direction == ChangeDirection::kUndo;
    const auto apply = [&](const LabelRun& run) {
        std::fill_n(labels.begin() + run.start, run.length, undo ? run.before : run.after);
    };
    if (undo) {
        changes.ForEachReversed(apply);
    } else {
        changes.ForEach(apply);
    }
}

}  // namespace Korvane
