#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "VoxelImage.h"

namespace Korvane {

/// A run of voxels of one image, in the order of storage, that went from one label to another.
struct LabelRun {
    std::uint64_t start = 0;
    std::uint64_t length = 0;
    std::uint16_t before = 0;
    std::uint16_t after = 0;
};
inline bool operator==(const LabelRun& a, const LabelRun& b) {
    return a.start == b.start && a.length == b.length && a.before == b.before && a.after == b.after;
}

/// What was changed in the labels of one image, run by run in the order of the changes; a voxel can be in several.
/// Packed: a run takes 2 to 14 bytes, mostly 3 or 4. Copies share them until one of the two is added to.
class LabelChanges {
public:
    using SharedBytes = std::shared_ptr<const std::vector<std::uint8_t>>;

    void Add(const LabelRun& run);
    void Append(const LabelChanges& later);

    bool Empty() const { return runs_ == 0; }
    std::size_t RunCount() const { return runs_; }
    /// The memory taken.
    std::size_t Bytes() const {
        return (bytes_ ? bytes_->capacity() : 0) + blocks_.capacity() * sizeof(std::size_t);
    }

    void ForEach(const std::function<void(const LabelRun&)>& visit) const;
    /// The last change first.
    void ForEachReversed(const std::function<void(const LabelRun&)>& visit) const;

    /// The changes that take these back.
    LabelChanges Reversed() const;
    /// The same, packed, and worked out a part at a time, of some milliseconds: null until all is there. Works on what
    /// the changes are now.
    std::function<SharedBytes()> ReversedInParts() const;

    /// The runs as bytes, the same on every machine, and back. Bytes that are no runs, or runs that reach beyond
    /// `voxels`, throw ToolkitError.
    const std::vector<std::uint8_t>& Packed() const;
    /// The same, held by whoever wants them for as long as he likes: later runs are added to a copy then.
    SharedBytes Share() const;
    static LabelChanges FromPacked(const std::vector<std::uint8_t>& bytes, std::uint64_t voxels);

private:
    /// The packing begins anew at each block: so many runs are unpacked at a time where they are wanted reversed.
    static constexpr std::size_t kRunsPerBlock = 1024;

    std::vector<LabelRun> Unpacked(std::size_t block) const;
    std::vector<std::uint8_t>& Own();

    std::shared_ptr<std::vector<std::uint8_t>> bytes_;  ///< null without runs
    std::vector<std::size_t> blocks_;  ///< where each begins in bytes_
    std::size_t runs_ = 0;
    LabelRun last_;  ///< of the block that is being filled
};

/// What differs between two images of the same sizes. One pass.
LabelChanges DifferenceOf(const qvox::LabelImage& before, const qvox::LabelImage& after);

/// What clearing all labels changes. One pass.
LabelChanges ClearingOf(const qvox::LabelImage& labels);

enum class ChangeDirection { kUndo, kRedo };

/// What removing some of the labels changes. One pass.
LabelChanges RemovalOf(const qvox::LabelImage& labels, const std::vector<std::uint16_t>& removed);

/// Takes changes back, or makes them again. The labels are those after them, or before them.
void ApplyChanges(const LabelChanges& changes, ChangeDirection direction, qvox::LabelImage& labels);

}  // namespace Korvane
