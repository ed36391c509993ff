#pragma once

#include <opencv2/core.hpp>

#include "VoxelImage.h"
#include "operations/PartRunner.h"

namespace Korvane {

/// Fifth stage: numbers the blobs. Each 8-connected set of pixels above 0 gets a label, 1, 2, 3 ... in row-major order
/// of first pixels; other pixels get 0.
///
/// @param blobs  one float channel
/// @param labels takes the sizes of `blobs`, one plane; its resolution, offset and description stay
/// Blobs that touch at a corner are one object; the border is nothing special. Throws ToolkitError when there are more
/// than 65535 blobs. Cost: one pass over the map.
/// Ranges of rows are the parts that `run` is given; the numbering takes one thread.
void LabelBlobs(const cv::Mat& blobs, qvox::LabelImage& labels, const qvox::PartRunner& run = qvox::RunOneByOne);

}  // namespace Korvane
