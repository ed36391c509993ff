#pragma once

#include <string>

#include "VoxelImage.h"

namespace qvox {

/// "1344 x 1024 x 1", as the messages of the operations give an image's sizes.
template <typename T>
std::string DescribeSizes(const VoxelImage<T>& image) {
    return std::to_string(image.SizeX()) + " x " + std::to_string(image.SizeY()) + " x " +
           std::to_string(image.SizeZ());
}

/// Throws ToolkitError when the image has no voxels.
template <typename T>
void RequireVoxels(const char* operation, const VoxelImage<T>& image) {
    if (image.Empty()) {
        throw ToolkitError(std::string(operation) + ": the input image is empty (" + DescribeSizes(image) + ").");
    }
}

/// Throws ToolkitError when both are the same object: the operation reads its input while it writes its output.
template <typename T>
void RequireSeparateOutput(const char* operation, const VoxelImage<T>& input, const VoxelImage<T>& output) {
    if (&input == &output) {
        throw ToolkitError(std::string(operation) + ": the output is the input image itself (" + DescribeSizes(input) +
                           "); it must be another image.");
    }
}

/// Gives the output the input's sizes, resolution, offset and description; its voxels are undefined afterwards.
template <typename T, typename U>
void ShapeOutputLike(const VoxelImage<T>& input, VoxelImage<U>& output) {
    output.Resize(input.SizeX(), input.SizeY(), input.SizeZ());
    output.CopyPropertiesFrom(input);
}

}  // namespace qvox
