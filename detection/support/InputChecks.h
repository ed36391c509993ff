#pragma once

#include <new>
#include <string>

#include <opencv2/core.hpp>

#include "VoxelImage.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// Throws ToolkitError, in a sentence that begins with `operation`, unless the image has voxels and one plane.
void CheckSinglePlane(const std::string& operation, const qvox::VoxelImage<float>& image);

/// Throws ToolkitError when the image of one plane holds NaN or infinity (the first such pixel is named), is the same
/// everywhere, or spans more than a float can hold. Ranges of rows are the parts that `run` is given.
void CheckIntensities(const std::string& operation, const qvox::VoxelImage<float>& image,
                      const qvox::PartRunner& run = qvox::RunOneByOne);

/// xResolution / kReferenceResolution in single precision. Throws ToolkitError when the resolution is undefined (0),
/// negative or not a number, or so large that the scale would exceed kMaximumScale.
float CheckedResolutionScale(const std::string& operation, float xResolution);

/// The scale of every nominal size: float(resolution scale * (2 - relativeExosomeSize)), the resolution scale in single
/// precision, the product in double. Throws as CheckedResolutionScale, and when the size leaves no positive scale.
float CheckedScale(const std::string& operation, float xResolution, float relativeExosomeSize);

/// Runs work() and turns OpenCV's own report of exhausted memory into std::bad_alloc; its other errors pass.
template <typename Work>
void WithOpenCvMemoryErrors(Work work) {
    try {
        work();
    } catch (const cv::Exception& error) {
        if (error.code == cv::Error::StsNoMem) throw std::bad_alloc();
        throw;
    }
}

}  // namespace Korvane
