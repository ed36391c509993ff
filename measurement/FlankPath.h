#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "ProfileSampling.h"

namespace Korvane {

/// Where the inner flank of an object is steepest, direction by direction.
struct FlankPath {
    float sign = 0.0f;  ///< 1 where grey rises outwards, -1 where it falls, 0 where there is no flank
    std::array<double, kProfileDirections>
        place{};  ///< on the profile, in units; interpolated where it was not measured
    std::array<bool, kProfileDirections> isMeasured{};
    int measured = 0;  ///< directions
};

/// The closed path through the profiles along which the sum of the slopes, less a cost for every jump between
/// neighbouring directions, is largest (dynamic programming; the smaller place wins a tie). Paths for rising and for
/// falling flanks are compared: the one further inside is taken if it is at least a third as steep as the other, since
/// a stained rim has a flank on either side and the inner one may be the weaker. The set is not empty.
FlankPath FindInnerFlank(const ProfileSet& profiles);

}  // namespace Korvane
