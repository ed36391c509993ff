#include "Scores.h"

#include <limits>

namespace Korvane {

namespace {

double Ratio(double part, double whole) {
    return whole > 0.0 ? part / whole : std::numeric_limits<double>::quiet_NaN();
}

}  // namespace

Tally& Tally::operator+=(const Tally& other) {
    matched += other.matched;
    missed += other.missed;
    extra += other.extra;
    split += other.split;
    merged += other.merged;
    iouSum += other.iouSum;
    return *this;
}

double Precision(const Tally& tally) {
    return Ratio(static_cast<double>(tally.matched), static_cast<double>(tally.matched + tally.extra));
}

double Recall(const Tally& tally) {
    return Ratio(static_cast<double>(tally.matched), static_cast<double>(tally.TrueObjects()));
}

double MeanIou(const Tally& tally) { return Ratio(tally.iouSum, static_cast<double>(tally.matched)); }

double FScore(const Tally& tally, double recallWeight) {
    const double square = recallWeight * recallWeight;
    const double matched = (1.0 + square) * static_cast<double>(tally.matched);
    return Ratio(matched, matched + square * static_cast<double>(tally.missed) + static_cast<double>(tally.extra));
}

double PanopticQuality(const Tally& tally) {
    return Ratio(tally.iouSum, static_cast<double>(tally.matched) +
                                   static_cast<double>(tally.missed + tally.extra) / 2.0);
}

double Score(const Tally& tally, const ScoreChoice& choice) {
    if (tally.matched + tally.missed + tally.extra == 0) return 1.0;
    return choice.kind == ScoreKind::kF ? FScore(tally, choice.recallWeight) : PanopticQuality(tally);
}

}  // namespace Korvane
