#pragma once

#include <cstdint>

#include <opencv2/core.hpp>

#include "operations/PartRunner.h"

namespace Korvane {

/// Third stage: keeps the candidate regions that are not too large and compact enough to survive an opening whose size
/// follows theirs.
///
/// A region is an 8-connected set of pixels that are 1 in the mask. It is dropped when it has more than
/// kMaximumCandidateAreaPx * scale pixels, compared in single precision. Otherwise it is opened by itself, with an
/// ellipse in a square of OpeningSize pixels, and kept when at least kKeptShare of its pixels, and at least one, are
/// left; exactly that share is enough. The larger `areaFraction`, the rounder a region must be.
///
/// @param candidateMask one float channel, 1 on candidates and 0 elsewhere. A mask whose minimum and maximum are not
///                      exactly 0 and 1, one that is set everywhere included, counts as set above kMaskThreshold.
/// @param filtered      8 bit, same size; kKeptCode is written on kept regions, other pixels stay as they are
/// @param scale         image pixels per nominal pixel
/// @param areaFraction  diameter of the ellipse per diameter of the region, 0 .. 1
/// Border: a region that touches it counts as going on beyond it. An empty mask keeps nothing. Throws cv::Exception
/// when types or sizes differ. Cost: one pass over the image and, per region, its bounding box times the opening size.
/// Ranges of rows and groups of regions are the parts that `run` is given.
void FilterCandidates(const cv::Mat& candidateMask, cv::Mat& filtered, float scale, float areaFraction,
                      const qvox::PartRunner& run = qvox::RunOneByOne);

/// Side in pixels of the square that holds the ellipse with which a region is opened: the larger of
/// 2 * floor(r * areaFraction) and floor(kMinimumOpeningPx * scale), r = sqrt(areaPx) / kRootOfPi, plus 1 if even.
int OpeningSize(std::int64_t areaPx, float scale, float areaFraction);

}  // namespace Korvane
