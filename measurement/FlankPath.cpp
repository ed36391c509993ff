#include "FlankPath.h"

#include <algorithm>
#include <cmath>

namespace Korvane {

namespace {

// What a jump of one sample between neighbouring directions costs, as a share of the steepest slope of all profiles; it
// grows with the square of the jump.
constexpr float kJumpCost = 0.05f;
constexpr int kLargestJump = 2;
// The path runs on by a quarter turn before the turn that is kept, so that it forgets where it began, and after it, so
// that its last directions know their neighbours.
constexpr std::size_t kRunUp = kProfileDirections / 4;
// Slopes of no more than this share of the grey level are the rounding of the smoothing.
constexpr float kRoundingShare = 1e-6f;
constexpr double kLeastShareOfSteepest = 1.0 / 3.0;
// A direction counts as measured from this share of the path's median slope on.
constexpr double kLeastShareOfMedian = 0.2;

constexpr std::size_t kSteps = kProfileDirections + 2 * kRunUp;
constexpr std::size_t kMargin = kLargestJump;
constexpr float kNowhere = -1e30f;

using Samples = std::array<std::size_t, kProfileDirections>;

std::size_t DirectionOf(std::size_t step) { return (step + kProfileDirections - kRunUp) % kProfileDirections; }

float Larger(float a, float b) { return a > b ? a : b; }

/// The sums of the best paths that end in each sample: row `step` holds those that come from the steps before it, with
/// a margin on either side that no path enters.
class PathSums {
public:
    explicit PathSums(std::size_t length) : width_(length + 2 * kMargin), sums_((kSteps + 1) * width_, kNowhere) {
        std::fill_n(Row(0), length, 0.0f);
    }

    float* Row(std::size_t step) { return sums_.data() + step * width_ + kMargin; }

    /// Fills the row behind `step`. Slopes of the wrong sign score nothing; `scale` brings the steepest to 1.
    void Advance(std::size_t step, const float* slope, float scale) {
        const float* const from = Row(step);
        float* const to = Row(step + 1);
        const std::size_t length = width_ - 2 * kMargin;
        for (std::size_t k = 0; k < length; ++k) {
            const float near = Larger(from[k - 1], from[k + 1]) - kJumpCost;
            const float far = Larger(from[k - 2], from[k + 2]) - 4.0f * kJumpCost;
            const float best = Larger(from[k], Larger(near, far));
            to[k] = best + Larger(slope[k] * scale, 0.0f);
        }
    }

    /// The sample of the step before from which the best path to sample k of the row behind `step` comes.
    std::size_t Before(std::size_t step, std::size_t k) {
        const float* const from = Row(step) + k;
        int best = 0;
        float sum = from[0];
        for (const int jump : {-1, 1, -2, 2}) {
            const float other = from[jump] - (jump * jump == 1 ? kJumpCost : 4.0f * kJumpCost);
            if (other > sum) {
                sum = other;
                best = jump;
            }
        }
        return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(k) + best);
    }

private:
    std::size_t width_;
    std::vector<float> sums_;
};

Samples BestPath(const ProfileSet& profiles, float scale) {
    const std::size_t length = profiles.length;
    PathSums sums(length);
    for (std::size_t step = 0; step < kSteps; ++step) sums.Advance(step, profiles.Slope(DirectionOf(step)), scale);
    const float* const last = sums.Row(kSteps);
    auto k = static_cast<std::size_t>(std::max_element(last, last + length) - last);
    Samples path{};
    for (std::size_t step = kSteps; step-- > 0;) {
        if (step >= kRunUp && step < kRunUp + kProfileDirections) path[DirectionOf(step)] = k;
        k = sums.Before(step, k);
    }
    return path;
}

/// Of the parabola through a sample and its neighbours, as a share of a step.
double VertexOffset(double before, double here, double after) {
    const double bend = before - 2.0 * here + after;
    if (!(bend < 0.0)) return 0.0;
    return std::clamp(0.5 * (before - after) / bend, -0.5, 0.5);
}

double Median(std::vector<double> values) {
    if (values.empty()) return 0.0;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

struct Candidate {
    float sign = 0.0f;
    Samples path{};
    double slope = 0.0;  ///< median over the directions
    double place = 0.0;
};

Candidate Follow(const ProfileSet& profiles, float sign, float steepest) {
    Candidate candidate{sign, BestPath(profiles, sign / steepest), 0.0, 0.0};
    std::vector<double> slopes;
    std::vector<double> places;
    for (std::size_t i = 0; i < kProfileDirections; ++i) {
        const std::size_t k = candidate.path[i];
        if (profiles.Seen(i)[k] == 0) continue;
        slopes.push_back(static_cast<double>(sign * profiles.Slope(i)[k]));
        places.push_back(profiles.Place(k));
    }
    candidate.slope = Median(slopes);
    candidate.place = Median(places);
    return candidate;
}

/// Fills the places that were not measured, linearly between their measured neighbours.
void Interpolate(FlankPath& flank) {
    constexpr std::size_t kCount = kProfileDirections;
    if (flank.measured == 0) return;
    const auto distance = [&](std::size_t from, std::size_t step) {
        std::size_t away = 1;
        while (!flank.isMeasured[(from + away * step) % kCount]) ++away;
        return away;
    };
    for (std::size_t i = 0; i < kCount; ++i) {
        if (flank.isMeasured[i]) continue;
        const std::size_t after = distance(i, 1);
        const std::size_t before = distance(i, kCount - 1);
        const double part = static_cast<double>(before) / static_cast<double>(before + after);
        const double low = flank.place[(i + (kCount - 1) * before) % kCount];
        flank.place[i] = low + part * (flank.place[(i + after) % kCount] - low);
    }
}

}  // namespace

FlankPath FindInnerFlank(const ProfileSet& profiles) {
    FlankPath flank;
    float steepest = 0.0f;
    for (const float slope : profiles.slope) steepest = std::max(steepest, std::fabs(slope));
    float brightest = 0.0f;
    for (const float grey : profiles.grey) brightest = std::max(brightest, std::fabs(grey));
    if (!(steepest > kRoundingShare * brightest)) return flank;
    const Candidate rising = Follow(profiles, 1.0f, steepest);
    const Candidate falling = Follow(profiles, -1.0f, steepest);
    const Candidate& inner = rising.place <= falling.place ? rising : falling;
    const Candidate& outer = rising.place <= falling.place ? falling : rising;
    const Candidate& chosen = inner.slope >= kLeastShareOfSteepest * outer.slope ? inner : outer;
    if (!(chosen.slope > 0.0)) return flank;
    flank.sign = chosen.sign;
    for (std::size_t i = 0; i < kProfileDirections; ++i) {
        const std::size_t k = chosen.path[i];
        if (k == 0 || k + 1 >= profiles.length || profiles.Seen(i)[k] == 0) continue;
        const float* const slope = profiles.Slope(i) + k;
        const auto at = [&](std::ptrdiff_t away) { return static_cast<double>(chosen.sign * slope[away]); };
        if (at(0) < kLeastShareOfMedian * chosen.slope) continue;
        flank.isMeasured[i] = true;
        flank.place[i] = profiles.Place(k) + profiles.step * VertexOffset(at(-1), at(0), at(1));
        ++flank.measured;
    }
    Interpolate(flank);
    return flank;
}

}  // namespace Korvane
