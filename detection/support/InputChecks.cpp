#include "support/InputChecks.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "NominalSizes.h"
#include "support/MatConversion.h"
#include "support/ValueRange.h"

namespace Korvane {
namespace {

void CheckFinite(const std::string& operation, const qvox::VoxelImage<float>& image, const qvox::PartRunner& run) {
    std::vector<std::uint8_t> finite(qvox::PartsOf(image.SizeY(), qvox::kFewestRowsOfPart), 0);
    qvox::RunRows(image.SizeY(), run, [&](const qvox::PartRange& rows) {
        finite[rows.part] = std::all_of(image.Row(rows.first), image.Row(rows.end - 1) + image.SizeX(),
                                        [](float v) { return std::isfinite(v); });
    });
    if (std::count(finite.begin(), finite.end(), 0) == 0) return;
    const auto bad = std::find_if(image.begin(), image.end(), [](float v) { return !std::isfinite(v); });
    const auto at = image.Coordinates(static_cast<std::uint64_t>(bad - image.begin()));
    throw qvox::ToolkitError(operation + ": the image holds an intensity that is not a finite number, at column " +
                             std::to_string(at[0]) + ", row " + std::to_string(at[1]) + ".");
}

}  // namespace

void CheckSinglePlane(const std::string& operation, const qvox::VoxelImage<float>& image) {
    if (image.Empty()) throw qvox::ToolkitError(operation + ": the image is empty.");
    if (image.SizeZ() != 1) {
        throw qvox::ToolkitError(operation + ": the image has " + std::to_string(image.SizeZ()) +
                                 " planes; only an image of one plane can be analysed.");
    }
}

void CheckIntensities(const std::string& operation, const qvox::VoxelImage<float>& image,
                      const qvox::PartRunner& run) {
    CheckFinite(operation, image, run);
    const ValueRange found = FindValueRange(ViewAsMat(image), run);
    const auto range = static_cast<float>(found.maximum - found.minimum);
    if (range > 0.0f && !std::isinf(range)) return;
    throw qvox::ToolkitError(operation + ": the intensity " +
                             (range > 0.0f ? "spans more than a float can hold." : "is the same everywhere.") +
                             " There is nothing to detect in such an image.");
}

float CheckedResolutionScale(const std::string& operation, float xResolution) {
    if (!(xResolution > 0.0f) || std::isinf(xResolution)) {
        throw qvox::ToolkitError(operation +
                                 ": the pixel size of the image is undefined, so nothing is known about the " +
                                 "sizes of its objects.");
    }
    const float scale = xResolution / kReferenceResolution;
    if (!(scale > 0.0f) || scale > kMaximumScale) {
        throw qvox::ToolkitError(operation + ": a resolution of " + std::to_string(xResolution) +
                                 " pixels per micrometre is out of range; the pixel size of the image must be wrong.");
    }
    return scale;
}

float CheckedScale(const std::string& operation, float xResolution, float relativeExosomeSize) {
    const auto resolutionScale = static_cast<double>(CheckedResolutionScale(operation, xResolution));
    const auto scale = static_cast<float>(resolutionScale * (kScaleReach - static_cast<double>(relativeExosomeSize)));
    if (!(scale > 0.0f) || scale > kMaximumScale) {
        throw qvox::ToolkitError(operation + ": a relative exosome size of " + std::to_string(relativeExosomeSize) +
                                 " leaves no usable scale; it must be below 2.");
    }
    return scale;
}

}  // namespace Korvane
