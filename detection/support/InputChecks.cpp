#include "support/InputChecks.h"

#include <cmath>

#include "DetectionDriver.h"

namespace Korvane {

void CheckSinglePlane(const std::string& operation, const qvox::VoxelImage<float>& image) {
    if (image.Empty()) throw qvox::ToolkitError(operation + ": the image is empty.");
    if (image.SizeZ() != 1) {
        throw qvox::ToolkitError(operation + ": the image has " + std::to_string(image.SizeZ()) +
                                 " planes; only an image of one plane can be analysed.");
    }
}

float CheckedResolutionScale(const std::string& operation, float xResolution) {
    if (!(xResolution > 0.0f) || std::isinf(xResolution)) {
        throw qvox::ToolkitError(operation +
                                 ": the pixel size of the image is undefined, so nothing is known about the " +
                                 "sizes of its objects.");
    }
    const float scale = xResolution / kReferenceResolution;
    if (!(scale > 0.0f) || scale > kMaxScale) {
        throw qvox::ToolkitError(operation + ": a resolution of " + std::to_string(xResolution) +
                                 " pixels per micrometre is out of range; the pixel size of the image must be wrong.");
    }
    return scale;
}

}  // namespace Korvane
