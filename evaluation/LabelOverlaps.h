#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "VoxelImage.h"

namespace Korvane {

/// Where an object lies in its image.
enum class ObjectPlace {
    kInside,
    kAtEdge,  ///< it lies on the image's outermost pixels or beside them, where detection never labels: it may be cut
};

/// One label of a label image, pieces together.
struct EvaluatedObject {
    std::uint16_t label = 0;
    std::uint64_t pixels = 0;
    ObjectPlace place = ObjectPlace::kInside;
};

/// Pixels that a true object and a found one have in common; the objects are indices.
struct ObjectOverlap {
    std::size_t truth = 0;
    std::size_t found = 0;
    std::uint64_t pixels = 0;
};

/// The objects of two label images of the same field and what they share.
struct LabelOverlaps {
    std::vector<EvaluatedObject> truth;   ///< in ascending order of label
    std::vector<EvaluatedObject> found;   ///< the same
    std::vector<ObjectOverlap> overlaps;  ///< in ascending order of truth, then found; none without a common pixel
};

/// Throws ToolkitError when the sizes differ or there are several planes. Cost: one pass over the images and the sorting of the pairs that occur.
LabelOverlaps FindOverlaps(const qvox::LabelImage& truth, const qvox::LabelImage& found);

/// Common pixels per pixels of either, 0 .. 1.
double IntersectionOverUnion(const LabelOverlaps& objects, const ObjectOverlap& overlap);

/// True when a found object stands at the edge: by its own pixels, or because more than half of them lie in a true
/// object that does.
bool FoundAtEdge(const LabelOverlaps& objects, std::size_t found);

}  // namespace Korvane
