#include "support/OpenCVThreads.h"

#include <opencv2/core/utility.hpp>

namespace Korvane {

void SetOpenCVThreads(int count) { cv::setNumThreads(count < 1 ? 1 : count); }

}  // namespace Korvane
