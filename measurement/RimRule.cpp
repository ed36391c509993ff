#include "RimRule.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace Korvane {

namespace {

// Directions that must see a place of the mean profile.
constexpr int kLeastDirections = kProfileDirections / 8;
// The flank's foot: its slope has fallen to a fifth of its steepest.
constexpr double kFootShare = 0.2;
// Height over steepest slope of a step, and the largest of a thin line, blurred by a Gaussian of sigma 1.
constexpr double kStepWidth = 2.5066282746310002;
constexpr double kLineWidth = 1.6487212707001282;
// A rim stands out from the background by at least this share of the flank's height.
constexpr double kLeastOvershoot = 0.1;
// The ringing of a resampled or sharpened image overshoots as well. It is weak, and the flank beside it is as sharp as
// pixels allow: sigma below half a pixel.
constexpr double kRingingOvershoot = 0.35;
constexpr double kRingingSigma = 0.5;
// The weights of the peak below and above these overshoots, linear between them; see RimMiddle.
constexpr double kWeakRim = 0.2;
constexpr double kStrongRim = 0.5;
constexpr double kPeakOfWeakRim = 0.5;
constexpr double kPeakOfStrongRim = -0.75;
// Reaches of the search for the outer flank and the background, in widths of the flank.
constexpr double kOuterFlankReach = 2.0;
constexpr double kOuterFlankShare = 0.5;
constexpr double kBackgroundFrom = 1.0;
constexpr double kBackgroundTo = 4.0;
// The steepest place of the thickness of a sphere blurred by a Gaussian lies that many sigmas inside its outline.
constexpr double kSphereShift = 0.765;
// Interiors are compared at these depths, in radii, with a sphere's; a rise below the last number is a plateau's.
constexpr double kShallow = 0.2;
constexpr double kDeepOverShallow = 2.5;
constexpr double kTaperNoise = 0.15;

/// Places of the mean profile around its flank, found once.
struct Landmarks {
    std::vector<double> slope;
    double steepest = 0.0;
    double inner = 0.0;          ///< the flank's inner foot
    double foot = 0.0;           ///< its outer foot
    std::optional<double> peak;  ///< where the slope has fallen to 0
    double top = 0.0;            ///< grey at the peak, else at the foot
    double width = 0.0;          ///< height over steepest slope
};

Landmarks FindLandmarks(const MeanProfile& mean) {
    Landmarks marks;
    const std::size_t count = mean.grey.size();
    marks.slope.assign(count, 0.0);
    for (std::size_t k = 1; k + 1 < count; ++k) {
        marks.slope[k] = (mean.grey[k + 1] - mean.grey[k - 1]) / (2.0 * mean.step);
    }
    const std::size_t around = 2;
    const std::size_t from = mean.origin > around ? mean.origin - around : 0;
    for (std::size_t k = from; k <= std::min(mean.origin + around, count - 1); ++k) {
        marks.steepest = std::max(marks.steepest, marks.slope[k]);
    }
    const double low = kFootShare * marks.steepest;
    std::size_t k = mean.origin;
    while (k > 1 && marks.slope[k] > low) --k;
    marks.inner = mean.Place(k);
    k = mean.origin;
    while (k + 2 < count && marks.slope[k] > low) ++k;
    marks.foot = mean.Place(k);
    while (k + 2 < count && marks.slope[k] > 0.0) ++k;
    if (k > 0 && marks.slope[k] <= 0.0 && marks.slope[k - 1] > 0.0) {
        const double before = marks.slope[k - 1];
        marks.peak = mean.Place(k - 1) + mean.step * before / (before - marks.slope[k]);
    }
    marks.top = mean.At(marks.peak.value_or(marks.foot));
    if (marks.steepest > 0.0) marks.width = (marks.top - mean.At(marks.inner)) / marks.steepest;
    return marks;
}

/// Beyond the peak the first place that is steeper than its neighbours, at least half as steep as the steepest between
/// the peak and the lowest place within reach: halos fall on slowly and far.
std::optional<double> OuterFlank(const MeanProfile& mean, const Landmarks& marks) {
    const double reach = *marks.peak + kOuterFlankReach * marks.width;
    std::size_t lowest = 0;
    for (std::size_t k = 0; k < mean.grey.size(); ++k) {
        const double place = mean.Place(k);
        if (place < *marks.peak || place > reach) continue;
        if (lowest == 0 || mean.grey[k] < mean.grey[lowest]) lowest = k;
    }
    double fall = 0.0;
    for (std::size_t k = 1; k + 1 < mean.grey.size() && k <= lowest + 1; ++k) {
        if (mean.Place(k) > *marks.peak) fall = std::min(fall, marks.slope[k]);
    }
    std::size_t steepest = 0;
    for (std::size_t k = 1; k + 1 < mean.grey.size() && k <= lowest + 1 && steepest == 0; ++k) {
        const bool isFall = mean.Place(k) > *marks.peak && marks.slope[k] < kOuterFlankShare * fall;
        if (isFall && marks.slope[k] <= marks.slope[k - 1] && marks.slope[k] <= marks.slope[k + 1]) steepest = k;
    }
    if (steepest == 0) return std::nullopt;
    const double before = marks.slope[steepest - 1];
    const double after = marks.slope[steepest + 1];
    const double bend = before - 2.0 * marks.slope[steepest] + after;
    const double offset = bend > 0.0 ? std::clamp(0.5 * (before - after) / bend, -0.5, 0.5) : 0.0;
    return mean.Place(steepest) + mean.step * offset;
}

/// Thickness of a sphere of radius 1 at a depth inside its outline, seen from above; 1 is its radius.
double SphereThickness(double depth) { return std::sqrt(std::max(depth * (2.0 - depth), 0.0)); }

/// 0 for an inside that is a plateau, 1 for one that thins out towards its edge as a sphere does.
double Taper(const MeanProfile& mean, const Landmarks& marks, double radius, double background) {
    const double shallow = std::max(kShallow * radius, marks.width);
    const double deep = std::min(kDeepOverShallow * shallow, -mean.Place(0));
    if (deep <= shallow || deep > radius) return 0.0;
    const double deepHeight = background - mean.At(-deep);
    if (!(deepHeight > 0.0)) return 0.0;
    const double sphere = 1.0 - SphereThickness(shallow / radius) / SphereThickness(deep / radius);
    constexpr double kLeastDifference = 0.05;
    if (sphere < kLeastDifference) return 0.0;
    const double taper = std::clamp((1.0 - (background - mean.At(-shallow)) / deepHeight) / sphere, 0.0, 1.0);
    return std::max(0.0, taper - kTaperNoise) / (1.0 - kTaperNoise);
}

/// The rim's middle from its peak and the middle of its flanks. Blur moves both away from it, to the side of the lower
/// neighbour, the peak about twice as far where the rim is not resolved; a strong rim is thus found beyond the middle
/// of the flanks as seen from the peak. A weak one is a fringe beside an edge, and lies between them.
double RimMiddle(double peak, double middle, double overshoot) {
    const double strength = std::clamp((overshoot - kWeakRim) / (kStrongRim - kWeakRim), 0.0, 1.0);
    return middle + (kPeakOfWeakRim + strength * (kPeakOfStrongRim - kPeakOfWeakRim)) * (peak - middle);
}

double WithoutSmoothing(double sigma, double smoothing) { return std::max(sigma * sigma - smoothing * smoothing, 0.0); }

}  // namespace

double MeanProfile::At(double place) const {
    const double last = static_cast<double>(grey.size() - 1);
    const double sample = std::clamp(place / step + static_cast<double>(origin), 0.0, last);
    const auto left = std::min(static_cast<std::size_t>(sample), grey.size() - 1);
    const std::size_t right = std::min(left + 1, grey.size() - 1);
    return grey[left] + (sample - static_cast<double>(left)) * (grey[right] - grey[left]);
}

double MeanProfile::MeanOver(double from, double to) const {
    double sum = 0.0;
    int count = 0;
    for (std::size_t k = 0; k < grey.size(); ++k) {
        if (Place(k) < from || Place(k) > to) continue;
        sum += grey[k];
        ++count;
    }
    return count > 0 ? sum / count : At(from);
}

MeanProfile AlignedMean(const ProfileSet& profiles, const FlankPath& flank) {
    const std::size_t inwards = profiles.origin;
    const std::size_t count = profiles.length;
    std::vector<double> sums(count, 0.0);
    std::vector<int> seen(count, 0);
    for (std::size_t i = 0; i < kProfileDirections; ++i) {
        if (!flank.isMeasured[i]) continue;
        const double shift = flank.place[i] / profiles.step;
        const auto whole = static_cast<std::ptrdiff_t>(std::floor(shift));
        const double part = shift - static_cast<double>(whole);
        const float* const grey = profiles.Grey(i);
        const std::uint8_t* const isSeen = profiles.Seen(i);
        const auto first = static_cast<std::size_t>(std::max<std::ptrdiff_t>(0, -whole));
        const auto last = static_cast<std::ptrdiff_t>(count) - 1;
        for (std::size_t k = first; static_cast<std::ptrdiff_t>(k) + whole < last && k < count; ++k) {
            const auto left = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(k) + whole);
            if (isSeen[left] == 0 || isSeen[left + 1] == 0) continue;
            const double here = static_cast<double>(grey[left]);
            sums[k] += here + part * (static_cast<double>(grey[left + 1]) - here);
            ++seen[k];
        }
    }
    MeanProfile mean;
    mean.step = profiles.step;
    if (seen[inwards] < kLeastDirections) return mean;
    std::size_t first = inwards;
    std::size_t last = inwards;
    while (first > 0 && seen[first - 1] >= kLeastDirections) --first;
    while (last + 1 < count && seen[last + 1] >= kLeastDirections) ++last;
    mean.origin = inwards - first;
    for (std::size_t k = first; k <= last; ++k) {
        mean.grey.push_back(static_cast<double>(flank.sign) * sums[k] / static_cast<double>(seen[k]));
    }
    return mean;
}

RimEstimate EstimateRim(const ProfileSet& profiles, const FlankPath& flank) {
    RimEstimate estimate;
    if (flank.sign == 0.0f) return estimate;
    const MeanProfile mean = AlignedMean(profiles, flank);
    constexpr std::size_t kLeastSamples = 5;
    if (mean.grey.size() < kLeastSamples) return estimate;
    const Landmarks marks = FindLandmarks(mean);
    if (!(marks.width > 0.0)) return estimate;
    const double outside = marks.peak.value_or(marks.foot);
    const double inner = mean.At(marks.inner);
    const double background =
        mean.MeanOver(outside + kBackgroundFrom * marks.width, outside + kBackgroundTo * marks.width);
    const double sign = static_cast<double>(flank.sign);
    const double stepSigma = marks.width / kStepWidth;
    const double blur = WithoutSmoothing(stepSigma, profiles.smoothing);
    const double overshoot = marks.peak ? (marks.top - background) / (marks.top - inner) : 0.0;
    // The half height of a blurred disc lies sigma squared over its diameter inside its outline.
    const double diameter = 2.0 * profiles.radius;
    estimate.flank = blur / diameter;
    estimate.width = kStepWidth * std::sqrt(blur);
    estimate.inner = sign * inner;
    estimate.background = sign * background;
    const bool isRinging = overshoot < kRingingOvershoot && std::sqrt(blur) < kRingingSigma;
    std::optional<double> outer;
    if (overshoot >= kLeastOvershoot && !isRinging) outer = OuterFlank(mean, marks);
    if (outer) {
        estimate.kind = RimKind::kRim;
        estimate.top = sign * marks.top;
        const double lineSigma = std::min(marks.width / kLineWidth, std::max(stepSigma, *marks.peak));
        estimate.rim = RimMiddle(*marks.peak, *outer / 2.0, overshoot) +
                       WithoutSmoothing(lineSigma, profiles.smoothing) / diameter;
    } else {
        estimate.kind = RimKind::kEdge;
        estimate.top = sign * background;
        estimate.rim = estimate.flank + kSphereShift * stepSigma * Taper(mean, marks, profiles.radius, background);
    }
    return estimate;
}

}  // namespace Korvane
