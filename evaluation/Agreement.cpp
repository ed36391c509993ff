#include "Agreement.h"

#include <cmath>
#include <limits>

namespace Korvane {

Agreement DiameterAgreement(const std::vector<DiameterPair>& pairs) {
    // 95 % of a normal distribution lie within so many standard deviations of its mean.
    constexpr double kReach = 1.96;
    constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
    Agreement agreement{pairs.size(), kNone, kNone, kNone, kNone};
    if (pairs.empty()) return agreement;
    const auto count = static_cast<double>(pairs.size());
    double sum = 0.0;
    for (const DiameterPair& pair : pairs) sum += pair.foundNm - pair.trueNm;
    agreement.biasNm = sum / count;
    if (pairs.size() < 2) return agreement;
    double squares = 0.0;
    for (const DiameterPair& pair : pairs) {
        const double deviation = pair.foundNm - pair.trueNm - agreement.biasNm;
        squares += deviation * deviation;
    }
    agreement.sdNm = std::sqrt(squares / (count - 1.0));
    agreement.lowerNm = agreement.biasNm - kReach * agreement.sdNm;
    agreement.upperNm = agreement.biasNm + kReach * agreement.sdNm;
    return agreement;
}

}  // namespace Korvane
