#pragma once

#include <cstddef>
#include <vector>

namespace Korvane {

/// The diameter of one object, measured twice, in nanometres.
struct DiameterPair {
    double trueNm = 0.0;
    double foundNm = 0.0;
};

/// How far two ways of measuring agree (Bland, Altman 1986). Differences are found - true.
struct Agreement {
    std::size_t count = 0;
    double biasNm = 0.0;   ///< mean difference; NaN without a pair
    double sdNm = 0.0;     ///< of the differences, divisor count - 1; NaN below two pairs
    double lowerNm = 0.0;  ///< limits of agreement: bias -/+ 1.96 sd
    double upperNm = 0.0;
};

Agreement DiameterAgreement(const std::vector<DiameterPair>& pairs);

}  // namespace Korvane
