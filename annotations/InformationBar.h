#pragma once

#include <cstdint>

#include "VoxelImage.h"

namespace Korvane {

/// Rows of information bars at both ends of an image; 0 where there is none.
struct InformationBars {
    std::int64_t topRows = 0;
    std::int64_t bottomRows = 0;

    bool Empty() const { return topRows == 0 && bottomRows == 0; }
};

/// Finds the bars that microscopes write above or below an image: eight rows or more of one grey level, but for writing
/// on it, that end within two rows. A dark or saturated part of the specimen at the edge of the image ends softly or
/// at no row in particular; bars of more than two fifths of the image are not taken for such.
///
/// `image`: one plane of finite values, else there are none. Cost: one pass over the bars.
InformationBars FindInformationBars(const qvox::VoxelImage<float>& image);

}  // namespace Korvane
