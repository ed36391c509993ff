#pragma once

#include <vector>

#include "Agreement.h"
#include "LabelOverlaps.h"
#include "ObjectMatching.h"
#include "Scores.h"

namespace Korvane {

/// How the labels of one image compare with its true ones. Objects at the image's edge are counted apart: a true one
/// with its match, and a found one without a match as FoundAtEdge says.
struct LabelComparison {
    LabelOverlaps objects;
    ObjectMatching matching;
    Tally inside;
    Tally atEdge;
    std::vector<DiameterPair> diameters;  ///< of the matches inside; empty without a pixel size
};

/// Diameters are those of discs of the labels' area, at the resolution of `found`. Throws as FindOverlaps.
LabelComparison CompareLabels(const qvox::LabelImage& truth, const qvox::LabelImage& found,
                              double threshold = kDefaultMatchThreshold);

/// The counts inside alone.
Tally TallyInside(const LabelOverlaps& objects, double threshold = kDefaultMatchThreshold);

}  // namespace Korvane
