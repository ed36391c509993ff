#pragma once

#include <cstdint>

#include "ComponentImage.h"
#include "Neighbourhood8.h"

namespace qvox {

/// Every connected set of non-zero voxels of equal value becomes one component, numbered from 1.
void LabelForegroundRegions(ComponentImage& components, const VoxelImage<std::uint16_t>& source,
                            Neighbourhood8 neighbourhood);

/// Deletes a component: its voxels become 0 and its record is dropped.
void RemoveLabel(ComponentImage& components, std::uint16_t identifier);

}  // namespace qvox
