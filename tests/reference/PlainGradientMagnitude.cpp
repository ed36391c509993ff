#include "reference/PlainGradientMagnitude.h"

#include <cmath>

#include <opencv2/imgproc.hpp>

namespace korvane_reference {

namespace {

float HalfDifference(float after, float before) {
    const float difference = after - before;
    return static_cast<float>(0.5 * static_cast<double>(difference));
}

}  // namespace

cv::Mat PlainGradientMagnitude(const cv::Mat& source) {
    // The library refuses to pad a matrix without pixels; its copy is the answer.
    if (source.rows == 0 || source.cols == 0) return source.clone();
    cv::Mat padded;
    cv::copyMakeBorder(source, padded, 1, 1, 1, 1, cv::BORDER_REPLICATE);
    cv::Mat output;
    cv::copyMakeBorder(source, output, 1, 1, 1, 1, cv::BORDER_REPLICATE);
    for (int y = 1; y <= padded.rows - 2; ++y) {
        for (int x = 1; x <= padded.cols - 2; ++x) {
            const float gx = HalfDifference(padded.at<float>(y, x + 1), padded.at<float>(y, x - 1));
            const float gy = HalfDifference(padded.at<float>(y + 1, x), padded.at<float>(y - 1, x));
            output.at<float>(y, x) = std::sqrt(gx * gx + gy * gy);
        }
    }
    return output(cv::Rect(1, 1, source.cols, source.rows));
}

}  // namespace korvane_reference
