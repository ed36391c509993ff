#pragma once

#include <cstdint>
#include <vector>

#include "VoxelImage.h"

namespace qvox {

/// The record of one connected component.
struct ComponentRecord {
    std::uint16_t identifier = 0;
    std::uint16_t sourceValue = 0;  ///< value of the component's voxels in the source image
    std::uint64_t voxelCount = 0;
    std::uint64_t minX = 0;  ///< bounding box, both ends included
    std::uint64_t minY = 0;
    std::uint64_t maxX = 0;
    std::uint64_t maxY = 0;
};

/// The connected components of a label image: an identifier per voxel (0 = no component) and a record per
/// component, in ascending order of identifier. The identifier image carries the source's resolution, offset and
/// description. Made by LabelForegroundRegions, changed by RemoveLabel.
class ComponentImage {
public:
    const LabelImage& Identifiers() const { return identifiers_; }
    const std::vector<ComponentRecord>& Components() const { return components_; }

    /// The record of that identifier, or null when there is no such component. Logarithmic.
    const ComponentRecord* Find(std::uint16_t identifier) const;

    /// Takes an identifier image with its records, which must be in ascending order of identifier and describe it.
    void Assign(LabelImage identifiers, std::vector<ComponentRecord> components);

    /// Sets the component's voxels to 0 and drops its record. Throws ToolkitError when there is no such component.
    /// Costs one pass over the component's bounding box.
    void Remove(std::uint16_t identifier);

private:
    LabelImage identifiers_;
    std::vector<ComponentRecord> components_;
};

}  // namespace qvox
