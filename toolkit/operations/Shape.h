#pragma once

#include <cstdint>
#include <vector>

#include "ComponentImage.h"

namespace qvox {

enum class ShapeMeasure {
    kPerimeter = 0,  ///< micrometres
    kArea = 1,       ///< square micrometres
};

/// One measure of one component.
double EstimateShape(const ComponentImage& components, std::uint16_t identifier, ShapeMeasure measure);

}  // namespace qvox
