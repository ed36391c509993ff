#include "support/GradientMagnitude.h"

#include <algorithm>
#include <cmath>

namespace Korvane {
namespace {

// Halving is exact but for the smallest denormals, where rounding the double product once gives the float product.
float Magnitude(float left, float right, float above, float below) {
    const float gx = 0.5f * (right - left);
    const float gy = 0.5f * (below - above);
    return std::sqrt(gx * gx + gy * gy);
}

void MagnitudeRow(const float* above, const float* row, const float* below, float* __restrict__ out, int width) {
    const int last = width - 1;
    out[0] = Magnitude(row[0], row[std::min(1, last)], above[0], below[0]);
    for (int x = 1; x < last; ++x) out[x] = Magnitude(row[x - 1], row[x + 1], above[x], below[x]);
    if (last > 0) out[last] = Magnitude(row[last - 1], row[last], above[last], below[last]);
}

}  // namespace

void GradientMagnitude(const cv::Mat& source, cv::Mat& result) {
    CV_Assert(source.type() == CV_32FC1);
    result.create(source.size(), CV_32FC1);
    if (source.empty()) return;
    CV_Assert(result.data != source.data);
    for (int y = 0; y < source.rows; ++y) {
        MagnitudeRow(source.ptr<float>(std::max(y - 1, 0)), source.ptr<float>(y),
                     source.ptr<float>(std::min(y + 1, source.rows - 1)), result.ptr<float>(y), source.cols);
    }
}

cv::Mat GradientMagnitude(const cv::Mat& source) {
    cv::Mat result;
    GradientMagnitude(source, result);
    return result;
}

}  // namespace Korvane
