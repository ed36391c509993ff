#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
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

    /// Calls visit(x, y, label) for every contour voxel of row y, from left to right. Of background it takes a look at
    /// the row only.
    template <typename Visit>
    void ForEach(std::uint64_t y, Visit visit) {
        const std::uint16_t* const label = labels_.Row(y);
        const std::uint64_t end = firstX_ + differs_.size();
        for (std::uint64_t block = firstX_; block < end; block += kBlock) {
            const std::uint64_t blockEnd = std::min(block + kBlock, end);
            if (!MarkBlock(y, block, blockEnd)) continue;
            const std::uint16_t* const marks = differs_.data() + (block - firstX_);
            const std::uint64_t count = blockEnd - block;
            for (std::uint64_t i = 0; i < count; ++i) {
                if (i + kTogether <= count && NoneMarked(marks + i)) {
                    i += kTogether - 1;
                } else if (marks[i] != 0) {
                    visit(block + i, y, label[block + i]);
                }
            }
        }
    }

private:
    static constexpr std::uint64_t kBlock = 64;
    static constexpr std::uint64_t kTogether = 4;

    static bool NoneMarked(const std::uint16_t* marks) {
        std::uint64_t together = 0;
        std::memcpy(&together, marks, sizeof together);
        return together == 0;
    }

    /// Marks the contour voxels of columns begin .. end of a row, which lie in the part. False where there are none; of
    /// background nothing is marked then, nor anything unmarked.
    bool MarkBlock(std::uint64_t y, std::uint64_t begin, std::uint64_t end);

    const qvox::LabelImage& labels_;
    std::uint64_t firstX_;
    std::vector<std::uint16_t> differs_;
};

}  // namespace Korvane
