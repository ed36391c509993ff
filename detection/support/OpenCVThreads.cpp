#include "support/OpenCVThreads.h"

#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>

namespace Korvane {

void SetOpenCVThreads(int count) { cv::setNumThreads(count < 1 ? 1 : count); }

void RunOnOpenCVThreads(std::size_t count, const std::function<void(std::size_t)>& part) {
    cv::parallel_for_(cv::Range(0, static_cast<int>(count)), [&](const cv::Range& range) {
        for (int i = range.start; i < range.end; ++i) part(static_cast<std::size_t>(i));
    });
}

}  // namespace Korvane
