#include "support/GradientMagnitude.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "support/MatConversion.h"

namespace Korvane {
namespace {

// Halving is exact but for the smallest denormals, where rounding the double product once gives the float product.
float Magnitude(float left, float right, float above, float below) {
    const float gx = 0.5f * (right - left);
    const float gy = 0.5f * (below - above);
    return std::sqrt(gx * gx + gy * gy);
}

template <typename T>
void MagnitudeRow(const T* above, const T* row, const T* below, float* __restrict__ out, int width) {
    const auto at = [](T value) { return static_cast<float>(value); };
    const int last = width - 1;
    out[0] = Magnitude(at(row[0]), at(row[std::min(1, last)]), at(above[0]), at(below[0]));
    for (int x = 1; x < last; ++x) out[x] = Magnitude(at(row[x - 1]), at(row[x + 1]), at(above[x]), at(below[x]));
    if (last > 0) out[last] = Magnitude(at(row[last - 1]), at(row[last]), at(above[last]), at(below[last]));
}

/// rowOf(y): row y of the source.
template <typename RowOf>
void MagnitudeRows(RowOf rowOf, cv::Mat& result, const qvox::PartRunner& run) {
    const int lastRow = result.rows - 1;
    qvox::RunRows(static_cast<std::uint64_t>(result.rows), run, [&](const qvox::PartRange& rows) {
        for (int y = static_cast<int>(rows.first); y < static_cast<int>(rows.end); ++y) {
            MagnitudeRow(rowOf(std::max(y - 1, 0)), rowOf(y), rowOf(std::min(y + 1, lastRow)), result.ptr<float>(y),
                         result.cols);
        }
    });
}

}  // namespace

void GradientMagnitude(const cv::Mat& source, cv::Mat& result, const qvox::PartRunner& run) {
    CV_Assert(source.type() == CV_32FC1);
    result.create(source.size(), CV_32FC1);
    if (source.empty()) return;
    CV_Assert(result.data != source.data);
    MagnitudeRows([&](int y) { return source.ptr<float>(y); }, result, run);
}

void GradientMagnitude(const qvox::VoxelImage<std::uint16_t>& source, cv::Mat& result, const qvox::PartRunner& run) {
    result.create(MatSize(source), CV_32FC1);
    if (source.Empty()) return;
    MagnitudeRows([&](int y) { return source.Row(static_cast<std::uint64_t>(y)); }, result, run);
}

cv::Mat GradientMagnitude(const cv::Mat& source) {
    cv::Mat result;
    GradientMagnitude(source, result);
    return result;
}

}  // namespace Korvane
