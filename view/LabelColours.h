#pragma once

#include <array>
#include <cstdint>

#include "VoxelImage.h"

namespace Korvane {

/// The colours of labels; they repeat every twelve labels.
inline constexpr std::array<qvox::Rgb8, 12> kLabelColours{{
    {255, 0, 0},
    {255, 255, 0},
    {0, 255, 0},
    {255, 128, 255},
    {0, 0, 255},
    {0, 255, 255},
    {128, 0, 0},
    {0, 128, 0},
    {0, 0, 128},
    {255, 128, 0},
    {128, 128, 255},
    {128, 0, 255},
}};

/// The colour of a label; black for 0, which is never drawn.
constexpr qvox::Rgb8 LabelColour(std::uint16_t label) {
    return label == 0 ? qvox::Rgb8{} : kLabelColours[static_cast<std::size_t>(label - 1) % kLabelColours.size()];
}

}  // namespace Korvane
