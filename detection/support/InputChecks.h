#pragma once

#include <new>
#include <string>

#include <opencv2/core.hpp>

#include "VoxelImage.h"

namespace Korvane {

/// Largest size factor that is worked with: a pixel would be smaller than an atom a hundred times over, and filters
/// grow with the factor.
inline constexpr float kMaxScale = 1000.0f;

/// Throws ToolkitError, in a sentence that begins with `operation`, unless the image has voxels and one plane.
void CheckSinglePlane(const std::string& operation, const qvox::VoxelImage<float>& image);

/// xResolution / 672 in single precision. Throws ToolkitError when the resolution is undefined (0), negative or not a
/// number, or so large that the scale would exceed kMaxScale.
float CheckedResolutionScale(const std::string& operation, float xResolution);

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
