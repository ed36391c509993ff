#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "LabelPainter.h"
#include "VoxelImage.h"

namespace Korvane {

/// Voxel count and coordinate sums of every label of one image, kept up to date by the editing tools, so that neither
/// the object count nor the numbers' anchors cost a pass over the image at each movement of the pointer. Whoever
/// changes labels in another way, or shows another image, must say so by Forget(); the next use then counts all again.
class LabelCensus {
public:
    /// The labels were changed elsewhere: the census is void.
    void Forget();

    /// Counts all again, if that is needed. Images have one plane. One pass after Forget(), else nothing.
    void Ensure(const qvox::LabelImage& labels);

    /// Whether there is a census: after Ensure(), before Forget().
    bool Taken() const { return !tallies_.empty(); }

    /// `length` voxels from (x, y) rightwards went from one label to another. Only after Ensure().
    void Replace(std::uint16_t before, std::uint16_t after, std::uint64_t x, std::uint64_t y, std::uint64_t length);

    /// Voxels of a label.
    std::uint64_t VoxelCount(std::uint16_t label) const { return tallies_.empty() ? 0 : tallies_[label].count; }

    /// Labels other than 0 that have a voxel.
    std::size_t ObjectCount() const { return objects_; }

    /// The smallest label from 1 on without a voxel; none when all 65535 are in use.
    std::optional<std::uint16_t> FirstUnusedLabel() const;

    /// As LabelAnchors gives them. Takes a look at each possible label, not at the image.
    std::vector<LabelAnchor> Anchors() const;

    /// Changes whenever the census or a label does: what was drawn from them can be kept while this stays.
    std::uint64_t Version() const { return version_; }

private:
    struct Tally {
        std::uint64_t count = 0;
        std::uint64_t x = 0;
        std::uint64_t y = 0;
    };

    std::vector<Tally> tallies_;  // by label; empty while void
    std::size_t objects_ = 0;
    std::uint64_t version_ = 0;
};

}  // namespace Korvane
