#pragma once

#include <cstdint>

#include "ComponentImage.h"
#include "Neighbourhood8.h"

namespace qvox {

/// Every connected set of non-zero voxels of equal value becomes one component; neighbouring voxels of different value
/// belong to different components.
///
/// `source`: one plane. `components` is replaced; its former contents do not matter, and `source` may be its own
/// identifier image. Identifiers are 1, 2, ... in raster order of each component's first voxel; a record carries the
/// source value, the voxel count and the bounding box. The identifier image takes the source's sizes, resolution,
/// offset and description. An image of zeros has no components.
/// Voxels beyond the border count as 0.
///
/// Throws ToolkitError when the source is empty or has more than one plane, and when there are more components than
/// the 65535 that 16-bit identifiers can name; `components` is then unchanged.
/// Cost: linear in the voxels, 12 bytes per horizontal run of equal values beside the result.
/// Source: two passes over runs with a union-find (Rosenfeld, Pfaltz 1966; He, Chao, Suzuki 2008).
void LabelForegroundRegions(ComponentImage& components, const VoxelImage<std::uint16_t>& source,
                            Neighbourhood8 neighbourhood);

/// Deletes a component: its voxels become 0 and its record is dropped; the other identifiers stay as they are.
/// Throws ToolkitError when there is no such component. Cost: one pass over its bounding box.
void RemoveLabel(ComponentImage& components, std::uint16_t identifier);

}  // namespace qvox
