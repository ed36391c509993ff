#pragma once

#include <cstdint>
#include <vector>

#include "LabelPainter.h"
#include "VoxelImage.h"

namespace Korvane {

/// Finds the contour voxels of a part of an image, one row at a time.
class ContourRow {
public:
    /// The part's columns, which must lie in the image; at least one.
    ContourRow(const qvox::LabelImage& labels, std::uint64_t firstX, std::uint64_t width)
        : labels_(labels), firstX_(firstX), differs_(width) {}

    /// Non-zero where a voxel of row y, from the first column on, is one of a contour. One pass over the row and its
    /// neighbours; runs of background cost a look at the row only.
    const std::vector<std::uint16_t>& At(std::uint64_t y);

    /// Calls visit(x, y, label) for every contour voxel of row y, from left to right.
    template <typename Visit>
    void ForEach(std::uint64_t y, Visit visit) {
        const std::uint16_t* const marks = At(y).data();
        const std::uint16_t* const label = labels_.Row(y) + firstX_;
        const std::uint64_t width = differs_.size();
        for (std::uint64_t x = 0; x < width;) {
            // Marks are sparse.
            if (x + kStep <= width && (marks[x] | marks[x + 1] | marks[x + 2] | marks[x + 3] | marks[x + 4] |
                                       marks[x + 5] | marks[x + 6] | marks[x + 7]) == 0) {
                x += kStep;
                continue;
            }
            if (marks[x] != 0) visit(firstX_ + x, y, label[x]);
            ++x;
        }
    }

private:
    static constexpr std::uint64_t kStep = 8;

    const qvox::LabelImage& labels_;
    std::uint64_t firstX_;
    std::vector<std::uint16_t> differs_;
};

}  // namespace Korvane
