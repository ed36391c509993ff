#include "support/MatConversion.h"

#include <algorithm>
#include <limits>
#include <string>

#include "NominalSizes.h"

namespace Korvane {
namespace {

template <typename T>
cv::Size SizeOf(const qvox::VoxelImage<T>& image) {
    constexpr auto kMax = static_cast<std::uint64_t>(std::numeric_limits<int>::max());
    if (image.SizeX() > kMax || image.SizeY() > kMax || image.SizeZ() > 1) {
        throw qvox::ToolkitError("Matrix conversion: an image of " + std::to_string(image.SizeX()) + " x " +
                                 std::to_string(image.SizeY()) + " x " + std::to_string(image.SizeZ()) +
                                 " voxels does not fit into a matrix.");
    }
    return {static_cast<int>(image.SizeX()), static_cast<int>(image.SizeY())};
}

template <typename T>
void ResizeToMat(const cv::Mat& source, qvox::VoxelImage<T>& image) {
    image.Resize(static_cast<std::uint64_t>(source.cols), static_cast<std::uint64_t>(source.rows), 1);
}

template <typename T>
void CopyRows(const cv::Mat& source, qvox::VoxelImage<T>& image) {
    CV_Assert(source.type() == cv::traits::Type<T>::value);
    ResizeToMat(source, image);
    for (int y = 0; y < source.rows; ++y) {
        const T* row = source.ptr<T>(y);
        std::copy(row, row + source.cols, image.Row(static_cast<std::uint64_t>(y)));
    }
}

std::uint16_t WrapToSixteenBit(float value) {
    constexpr float kLimit = 2147483648.0f;
    const float scaled = value * kSixteenBitLevels;
    const int whole = scaled > -kLimit && scaled < kLimit ? static_cast<int>(scaled) : 0;
    return static_cast<std::uint16_t>(whole);
}

}  // namespace

cv::Mat ViewAsMat(qvox::VoxelImage<float>& image) { return cv::Mat(SizeOf(image), CV_32FC1, image.begin()); }

cv::Mat ViewAsMat(const qvox::VoxelImage<float>& image) {
    return cv::Mat(SizeOf(image), CV_32FC1, const_cast<float*>(image.begin()));
}

cv::Size MatSize(const qvox::VoxelImage<std::uint16_t>& image) { return SizeOf(image); }

void CopyFromMat(const cv::Mat& source, qvox::VoxelImage<float>& image) { CopyRows(source, image); }

void CopyFromMat(const cv::Mat& source, qvox::VoxelImage<std::uint8_t>& image) { CopyRows(source, image); }

void CopyToSixteenBit(const cv::Mat& source, qvox::VoxelImage<std::uint16_t>& image, const qvox::PartRunner& run) {
    CV_Assert(source.type() == CV_32FC1);
    ResizeToMat(source, image);
    qvox::RunRows(image.SizeY(), run, [&](const qvox::PartRange& rows) {
        for (std::uint64_t y = rows.first; y < rows.end; ++y) {
            const float* row = source.ptr<float>(static_cast<int>(y));
            std::transform(row, row + source.cols, image.Row(y), WrapToSixteenBit);
        }
    });
}

}  // namespace Korvane
