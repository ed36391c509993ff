#pragma once

#include "LabelComparison.h"
#include "LabelPainter.h"

namespace Korvane {

/// The image in grey with what a comparison found: matched objects as they were found in green with a ring in the
/// middle, false ones in purple with a cross, missed ones as they truly are in orange with a diamond. Colours that the
/// colour-blind tell apart (Okabe, Ito 2008); where contours meet, missed lies over false over matched.
ColourPicture PaintComparison(const qvox::VoxelImage<float>& image, const qvox::LabelImage& truth,
                              const qvox::LabelImage& found, const LabelComparison& comparison);

}  // namespace Korvane
