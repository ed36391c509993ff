#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>

#include "Annotations.h"
#include "VoxelImage.h"

namespace Korvane {

/// A scale bar as a piece shows it: a band of rows (or columns) that reach from one end to the other.
struct Bar {
    int length = 0;
    int thickness = 0;
};

/// A connected piece of the outermost grey levels, with what tells burnt-in writing from parts of the specimen.
struct SharpPiece {
    int label = 0;
    cv::Rect box;
    int area = 0;
    float contrastToNoise = 0.0f;
    /// Shares of the pixels at distance 1 and 2 that have fallen half the way to the surroundings, in parts of the share
    /// that the surroundings themselves have there.
    double fallenAt1 = 0.0;
    double fallenAt2 = 0.0;
    double solidity = 1.0;  ///< its area in parts of its convex hull's
    std::optional<Bar> bar;
};

/// Grey levels of an image, as differences to the outermost one of an end of the range: 0 there and negative elsewhere.
/// They are worked out where they are wanted; as many as pixels would take as much memory as the image.
class LevelsBelow {
public:
    /// `sign`: 1 for the bright end, -1 for the dark one. The image must outlive this.
    LevelsBelow(const qvox::VoxelImage<float>& image, float outermost, float sign)
        : image_(&image), outermost_(outermost), sign_(sign) {}

    cv::Size Size() const { return {static_cast<int>(image_->SizeX()), static_cast<int>(image_->SizeY())}; }
    float At(std::uint64_t index) const { return Below((*image_)[index]); }
    cv::Mat1f Part(const cv::Rect& part) const;
    /// 255 where the level is at least this.
    cv::Mat1b AtLeast(float level) const;

private:
    float Below(float value) const { return sign_ * (value - outermost_); }

    const qvox::VoxelImage<float>* image_;
    float outermost_;
    float sign_;
};

/// `labels`: the pieces. `range`: the whole range of grey levels. None for a piece whose contrast to its surroundings
/// is too low to be written, or around which too few pixels lie.
std::optional<SharpPiece> DescribePiece(const LevelsBelow& levels, const cv::Mat1i& labels, int label, const cv::Rect& box,
                                        int area, float range);

}  // namespace Korvane
