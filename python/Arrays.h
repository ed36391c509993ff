#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "BorrowedImage.h"
#include "VoxelImage.h"

namespace Korvane {

/// An array of a caller as an image: borrowed where it lies as images do, else copied. Made and destroyed with the
/// interpreter's lock held; in between the image may be read without it, as the array is kept alive.
template <typename T>
class ArrayImage {
public:
    ArrayImage(pybind11::array array, std::shared_ptr<qvox::BorrowedImage<T>> borrowed)
        : array_(std::move(array)), borrowed_(std::move(borrowed)) {}
    explicit ArrayImage(qvox::VoxelImage<T> copied) : copied_(std::move(copied)) {}

    void SetResolution(const qvox::PixelResolution& resolution) {
        if (borrowed_) borrowed_->SetResolution(resolution);
        copied_.SetResolution(resolution);
    }
    const qvox::VoxelImage<T>& Image() const { return borrowed_ ? borrowed_->Image() : copied_; }

private:
    pybind11::array array_;
    std::shared_ptr<qvox::BorrowedImage<T>> borrowed_;
    qvox::VoxelImage<T> copied_;
};

/// Rows and columns of 8-bit, 16-bit or float grey; float ones that are contiguous are not copied. Throws TypeError or
/// ValueError for any other array.
ArrayImage<float> GreyImage(const pybind11::array& array);

/// Rows and columns of whole numbers from 0 to 65535; 16-bit ones that are contiguous are not copied. Throws TypeError
/// or ValueError for any other array.
ArrayImage<std::uint16_t> LabelsOf(const pybind11::array& array);

/// The image as an array of rows and columns, or of planes of them, which takes over its voxels.
template <typename T>
pybind11::array ArrayOf(qvox::VoxelImage<T> image) {
    std::vector<pybind11::ssize_t> shape;
    if (image.SizeZ() > 1) shape.push_back(static_cast<pybind11::ssize_t>(image.SizeZ()));
    shape.push_back(static_cast<pybind11::ssize_t>(image.SizeY()));
    shape.push_back(static_cast<pybind11::ssize_t>(image.SizeX()));
    auto held = std::make_unique<qvox::VoxelImage<T>>(std::move(image));
    T* const voxels = held->begin();
    const pybind11::capsule owner(held.get(),
                                  [](void* kept) { delete static_cast<qvox::VoxelImage<T>*>(kept); });
    static_cast<void>(held.release());
    return pybind11::array_t<T>(shape, voxels, owner);
}

}  // namespace Korvane
