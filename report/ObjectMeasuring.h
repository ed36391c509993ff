#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "ObjectList.h"
#include "VoxelImage.h"

namespace Korvane {

/// Keeps the measures of positions true while their labels change, without making anybody wait: the labels are
/// copied a part at a time, and the copy is measured on a thread of its own. One thread uses this.
class ObjectMeasuring {
public:
    using Image = std::shared_ptr<const qvox::VoxelImage<float>>;

    /// Measures copies of an image and its labels, on any thread; never throws.
    using Measure = std::function<MeasuredPosition(const qvox::VoxelImage<float>&, const qvox::LabelImage&)>;

    /// `measureOf` is called for a position when its measuring begins; MeasurePosition without it.
    void MeasureBy(std::function<Measure(std::size_t position)> measureOf) { measureOf_ = std::move(measureOf); }

    /// So many positions are open, none of them measured.
    void Reset(std::size_t positions);
    /// The labels of a position changed; it may be called in the middle of a stroke.
    void Changed(std::size_t position) { ++versions_[position]; }
    /// All labels may have changed.
    void ChangedAll();

    /// The position to be copied next: the current one first. None where all that are wanted were measured, and while
    /// copies are being measured.
    std::optional<std::size_t> Next(ListedPositions which, std::size_t current) const;
    /// Whether all that are wanted were measured.
    bool IsDone(ListedPositions which, std::size_t current) const { return !Unmeasured(which, current).has_value(); }

    /// Copies the next `voxels` of the position that Next names; begins to measure when they are all copied. What was
    /// copied of labels that changed since, or of another position, is copied again.
    /// The image is held as it is until it is measured. Throws std::bad_alloc.
    void Copy(std::size_t position, const Image& image, const qvox::LabelImage& labels, std::uint64_t voxels);

    struct Measured {
        std::size_t position;
        MeasuredPosition measures;
    };
    /// A result, once. None while there is none, and where the labels changed meanwhile: then they are copied again.
    std::optional<Measured> Take();

    /// Leaves a position as it is until its labels change: there is no memory for copies of it.
    void GiveUp(std::size_t position) { measured_[position] = versions_[position]; }

private:
    struct Copies {
        Image image;
        qvox::LabelImage labels;
    };

    std::optional<std::size_t> Unmeasured(ListedPositions which, std::size_t current) const;
    void Begin(std::size_t position, const Image& image, const qvox::LabelImage& labels);

    std::function<Measure(std::size_t position)> measureOf_;
    std::vector<std::uint64_t> versions_;  ///< by position, from 1
    std::vector<std::uint64_t> measured_;  ///< the version that was measured last; 0: none
    std::uint64_t generation_ = 0;         ///< of the positions that are open

    std::unique_ptr<Copies> copies_;
    std::size_t position_ = 0;  ///< of the copies
    std::uint64_t version_ = 0;
    std::uint64_t copiesGeneration_ = 0;
    std::uint64_t copied_ = 0;               ///< voxels of the labels
    std::future<MeasuredPosition> running_;  ///< measures the copies, which nobody touches meanwhile
};

}  // namespace Korvane
