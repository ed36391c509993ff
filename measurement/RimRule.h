#pragma once

#include <cstddef>
#include <vector>

#include "FlankPath.h"

namespace Korvane {

/// The kind of outline that an object has, and with it the rule for `rim` below.
enum class RimKind {
    kNone,  ///< not measured
    kRim,   ///< a stained membrane or a fringe: the middle of the rim
    kEdge,  ///< a plain edge between two plateaus: half height
};

/// The mean profile of an object, aligned at its flank: sample `origin` lies on the flank.
struct MeanProfile {
    double step = 0.0;
    std::size_t origin = 0;
    std::vector<double> grey;  ///< times the flank's sign: it rises there

    double Place(std::size_t sample) const {
        return (static_cast<double>(sample) - static_cast<double>(origin)) * step;
    }
    /// Linear between samples, the end values beyond them.
    double At(double place) const;
    /// Mean over the samples in [from, to]; the end values where there are none.
    double MeanOver(double from, double to) const;
};

/// The part around the flank that at least an eighth of the directions see. Empty where there is none.
MeanProfile AlignedMean(const ProfileSet& profiles, const FlankPath& flank);

/// Lengths in units from the flank, positive outwards.
struct RimEstimate {
    RimKind kind = RimKind::kNone;
    double flank = 0.0;       ///< shift of the flank for the image's blur on a curved outline
    double rim = 0.0;         ///< the rim's middle, or the edge
    double width = 0.0;       ///< of the flank, without what the profiles' smoothing adds
    double inner = 0.0;       ///< grey level where the flank begins
    double top = 0.0;         ///< grey level where it ends: the rim, or the background
    double background = 0.0;  ///< grey level outside
};

/// The rule is described in docs/MEASUREMENTS.md, "Where the rim is".
RimEstimate EstimateRim(const ProfileSet& profiles, const FlankPath& flank);

}  // namespace Korvane
