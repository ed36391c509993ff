#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Annotations.h"
#include "PixelResolution.h"
#include "files/ImageFile.h"

namespace Korvane {

/// True when both axes have this many pixels per micrometre, to 1e-6 of it.
bool HasPixelSize(const qvox::PixelResolution& resolution, float pixelsPerUm);

/// The lengths of the scale bars among the pieces, in pixels; each once, in the pieces' order.
std::vector<std::int64_t> BarLengthsPx(const std::vector<Annotation>& pieces);

/// The changes of a copy against its image.
struct CopyChanges {
    std::optional<float> pixelsPerUm;               ///< in x and y; none: as the image has it
    qvox::ReadOptions reading;                      ///< which page, and what becomes of colours
    std::function<void()> beforeWriting = nullptr;  ///< what it throws is thrown, and nothing written; null: nothing
};

/// Writes the image that LoadImageFile reads of `from` to `to`, with the same planes, voxels, offset and description.
/// `type` is the voxel type to read it as: what the probe says of `from`, or GreyTypeOf of a colour image.
/// Throws UnsupportedPixelType for other types than 8-bit, 16-bit and float grey, ToolkitError, std::bad_alloc; `to` is
/// then as it was.
void WriteCopy(const std::string& from, const std::string& to, qvox::VoxelType type, const CopyChanges& changes);

}  // namespace Korvane
