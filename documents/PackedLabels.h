#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "VoxelImage.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// The labels of an image as runs in the order of storage: some 4 bytes for each row of each object, nothing for
/// background. Where no two neighbours are alike it takes twice the memory of the image.
class PackedLabels {
public:
    /// All voxels are background.
    PackedLabels() = default;

    /// One pass.
    explicit PackedLabels(const qvox::LabelImage& labels);

    /// Sets all voxels. The image has the sizes of the one that was packed. Ranges of the background behind the last
    /// object are parts.
    void UnpackInto(qvox::LabelImage& labels, const qvox::PartRunner& run = qvox::RunOneByOne) const;

    /// Distinct labels other than 0. Takes a look at each run.
    std::size_t CountLabels() const;

    /// The memory taken.
    std::size_t Bytes() const { return runs_.capacity(); }

private:
    template <typename Visit>
    void ForEach(Visit visit) const;
    void Put(std::uint64_t number);

    std::vector<std::uint8_t> runs_;  ///< background voxels before the run, voxels of the run, its label
};

}  // namespace Korvane
