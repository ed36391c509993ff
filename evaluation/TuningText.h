#pragma once

#include <string>
#include <vector>

#include "Tuning.h"

namespace Korvane {

/// "F1", "F (recall counts 2 times)" or "panoptic quality".
std::string ScoreName(const ScoreChoice& choice);

/// A table, a line each: the scores of every image with the default, the learnt parameters and those learnt without it,
/// and of all together. Numbers have three decimals and ".", nan is "-".
std::vector<std::string> ScoreLines(const TuningResult& result, const ScoreChoice& choice);

/// A line per parameter: from where to where, the effect of its move by itself, or why it stays.
std::vector<std::string> ParameterLines(const TuningResult& result, const ScoreChoice& choice);

/// What a person must know before the parameters are used; empty without any.
std::vector<std::string> TuningWarnings(const TuningResult& result);

/// One line with the decision.
std::string VerdictText(const TuningResult& result);

/// One line about how much work sharing saved.
std::string SharingText(const TuningResult& result);

}  // namespace Korvane
