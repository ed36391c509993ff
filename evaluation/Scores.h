#pragma once

#include <cstddef>

namespace Korvane {

/// Counts of a comparison; those of several images add up.
struct Tally {
    std::size_t matched = 0;
    std::size_t missed = 0;
    std::size_t extra = 0;  ///< found, but not there
    std::size_t split = 0;
    std::size_t merged = 0;
    double iouSum = 0.0;  ///< of the matches

    std::size_t TrueObjects() const { return matched + missed; }
    Tally& operator+=(const Tally& other);
};

/// The scores of a tally, 0 .. 1; NaN where the divisor is 0.
double Precision(const Tally& tally);
double Recall(const Tally& tally);
double MeanIou(const Tally& tally);
/// Weighted harmonic mean of precision and recall: recall counts `recallWeight` times as much (van Rijsbergen 1979).
double FScore(const Tally& tally, double recallWeight = 1.0);
/// Sum of the matches' intersection over union per mean number of objects (Kirillov et al. 2019): F1 times MeanIou.
double PanopticQuality(const Tally& tally);

enum class ScoreKind { kF, kPanopticQuality };

/// The one number that a search for parameters makes as large as it can.
struct ScoreChoice {
    ScoreKind kind = ScoreKind::kF;
    double recallWeight = 1.0;  ///< of kF, > 0
};

/// The chosen score; of a tally without any object 1: nothing was there and nothing was found.
double Score(const Tally& tally, const ScoreChoice& choice);

}  // namespace Korvane
