#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "ContourRow.h"
#include "VoxelImage.h"

namespace Korvane {

/// Remembers which voxels of an image belong to contours, of the parts that were looked at: views that show much of a
/// large image at once, again and again, look at its labels once. One bit per voxel.
class ContourIndex {
public:
    /// From now on of these labels, in this version: while both are the same, so are the voxels. They must outlive the
    /// next calls, and have one plane.
    void Use(const qvox::LabelImage& labels, std::uint64_t version);
    /// Knows nothing any more, of whatever labels.
    void Forget() { labels_ = nullptr; }

    const qvox::LabelImage& Labels() const { return *labels_; }

    /// Calls visit(x, label) for every contour voxel of columns begin .. end of a row, from left to right.
    template <typename Visit>
    void ForEach(std::uint64_t y, std::uint64_t begin, std::uint64_t end, Visit visit) {
        const std::uint16_t* const labels = labels_->Row(y);
        for (std::uint64_t block = begin / kBits; block * kBits < end; ++block) {
            std::uint64_t bits = BitsOf(y, block);
            const std::uint64_t first = block * kBits;
            if (first < begin) bits &= ~std::uint64_t{0} << (begin - first);
            if (end - first < kBits) bits &= ~(~std::uint64_t{0} << (end - first));
            for (; bits != 0; bits &= bits - 1) {
                const std::uint64_t x = first + static_cast<std::uint64_t>(__builtin_ctzll(bits));
                visit(x, labels[x]);
            }
        }
    }

private:
    static constexpr std::uint64_t kBits = 64;

    std::uint64_t BitsOf(std::uint64_t y, std::uint64_t block) {
        const std::uint64_t at = y * blocksPerRow_ + block;
        if (isKnown_[at] == 0) Look(y, block);
        return bits_[at];
    }
    void Look(std::uint64_t y, std::uint64_t block);

    const qvox::LabelImage* labels_ = nullptr;
    std::uint64_t version_ = 0;
    std::uint64_t blocksPerRow_ = 0;
    std::vector<std::uint64_t> bits_;    ///< by row and block of columns
    std::vector<std::uint8_t> isKnown_;  ///< the same
};

}  // namespace Korvane
