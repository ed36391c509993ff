#pragma once

#include <opencv2/core.hpp>
#include <optional>

#include "Annotations.h"

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

/// `levels`: grey levels as differences to the outermost one, 0 there and negative elsewhere. `labels`: the pieces.
/// `range`: the whole range of grey levels. None for a piece whose contrast to its surroundings is too low to be
/// written, or around which too few pixels lie.
std::optional<SharpPiece> DescribePiece(const cv::Mat1f& levels, const cv::Mat1i& labels, int label, const cv::Rect& box,
                                        int area, float range);

}  // namespace Korvane
