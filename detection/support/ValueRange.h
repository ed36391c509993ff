#pragma once

#include <opencv2/core.hpp>

#include "operations/PartRunner.h"

namespace Korvane {

struct ValueRange {
    double minimum = 0.0;
    double maximum = 0.0;
};

/// The least and the greatest value of a matrix of one channel without NaN that has elements. Ranges of rows are the
/// parts that `run` is given.
ValueRange FindValueRange(const cv::Mat& map, const qvox::PartRunner& run = qvox::RunOneByOne);

}  // namespace Korvane
