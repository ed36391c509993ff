#include "reference/PlainMatConversion.h"

namespace korvane_reference {

namespace {

template <typename T>
void CopyToImage(const cv::Mat& matrix, qvox::VoxelImage<T>& image) {
    image.Resize(static_cast<std::uint64_t>(matrix.cols), static_cast<std::uint64_t>(matrix.rows), 1);
    for (int y = 0; y < matrix.rows; ++y) {
        for (int x = 0; x < matrix.cols; ++x) {
            image(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y)) = matrix.at<T>(y, x);
        }
    }
}

}  // namespace

cv::Mat PlainToMat(const qvox::VoxelImage<float>& image) {
    cv::Mat matrix(static_cast<int>(image.SizeY()), static_cast<int>(image.SizeX()), CV_32F);
    for (int y = 0; y < matrix.rows; ++y) {
        for (int x = 0; x < matrix.cols; ++x) {
            matrix.at<float>(y, x) = image(static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y));
        }
    }
    return matrix;
}

void PlainToImage(const cv::Mat& matrix, qvox::VoxelImage<float>& image) { CopyToImage(matrix, image); }
void PlainToImage(const cv::Mat& matrix, qvox::VoxelImage<std::uint8_t>& image) { CopyToImage(matrix, image); }

}  // namespace korvane_reference
