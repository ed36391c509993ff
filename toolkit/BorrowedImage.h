#pragma once

#include <cstdint>

#include "VoxelImage.h"

namespace qvox {

/// An image over voxels that someone else holds, for reading alone and not beyond their life. A copy of the image has
/// voxels of its own.
template <typename T>
class BorrowedImage {
public:
    /// The voxels lie row by row, as those of VoxelImage.
    BorrowedImage(const T* voxels, std::uint64_t x, std::uint64_t y) {
        image_.Borrow(const_cast<T*>(voxels), x, y);  // Image() is const
    }
    BorrowedImage(const BorrowedImage&) = delete;
    BorrowedImage& operator=(const BorrowedImage&) = delete;

    void SetResolution(const PixelResolution& resolution) { image_.SetResolution(resolution); }
    const VoxelImage<T>& Image() const { return image_; }

private:
    VoxelImage<T> image_;
};

}  // namespace qvox
