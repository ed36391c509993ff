#include "TuningText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "ShortestText.h"

namespace Korvane {

namespace {

std::string Decimals(double value, int decimals) {
    if (std::isnan(value)) return "-";
    std::array<char, 64> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, decimals);
    return std::string(text.data(), end.ptr);
}

std::string Three(double value) { return Decimals(value, 3); }

std::string Padded(std::string text, std::size_t width) {
    if (text.size() < width) text.append(width - text.size(), ' ');
    return text;
}

std::string Line(const std::string& name, std::size_t width, const std::array<std::string, 3>& cells) {
    std::string line = Padded(name, width);
    for (const std::string& cell : cells) line += "  " + Padded(cell, 10);
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

std::string Name(const ParameterRange& range) {
    std::string name = range.label;
    name.pop_back();
    return name;
}

/// What a larger and a smaller value do, in a few words.
struct Meaning {
    float AnalysisParameters::*field;
    const char* larger;
    const char* smaller;
};
constexpr std::array<Meaning, 4> kMeanings{{
    {&AnalysisParameters::areaFraction, "candidates must be more compact", "less compact candidates pass"},
    {&AnalysisParameters::roundnessThreshold, "objects must be rounder", "less round objects stay"},
    {&AnalysisParameters::maxRelativeClusterSize, "candidates are larger", "candidates are smaller"},
    {&AnalysisParameters::relativeExosomeSize, "smooths less and looks for smaller objects",
     "smooths more and looks for larger objects"},
}};

const char* MeaningOf(const ParameterEffect& effect) {
    const auto* const meaning = std::find_if(kMeanings.begin(), kMeanings.end(), [&](const Meaning& candidate) {
        return candidate.field == effect.parameter->field;
    });
    return effect.to > effect.from ? meaning->larger : meaning->smaller;
}

std::string Count(std::size_t count, const char* what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string Only(std::size_t count, const char* what) {
    return std::string(count == 1 ? "There is only " : "There are only ") + Count(count, what);
}

/// "3 more objects found, 1 more false": from the first tally to the second.
std::string ChangeText(const Tally& from, const Tally& to) {
    const auto text = [](std::size_t before, std::size_t after, const char* kind) {
        if (before == after) return std::string("as many ") + kind;
        const std::size_t difference = before < after ? after - before : before - after;
        return std::to_string(difference) + (before < after ? " more " : " fewer ") + kind;
    };
    return text(from.matched, to.matched, "found") + " and " + text(from.extra, to.extra, "false");
}

std::string EffectLine(const ParameterEffect& effect, const Tally& fitted, const ScoreChoice& choice) {
    return Name(*effect.parameter) + ": " + qvox::ShortestText(effect.from) + " -> " + qvox::ShortestText(effect.to) +
           " (" + MeaningOf(effect) + "). By itself: " + ChangeText(effect.without, fitted) + ", " + ScoreName(choice) +
           " " + Three(Score(effect.without, choice)) + " -> " + Three(Score(fitted, choice)) + ".";
}

std::string SmallObjectLine(const ParameterRange& range, const SmallObjectResult& result) {
    const std::string by = "on images held out " + Three(result.byDefault) + " -> " + Three(result.heldOut);
    if (result.limitUm != AnalysisParameters().minObjectDiameterUm) {
        return Name(range) + ": " + qvox::ShortestText(AnalysisParameters().minObjectDiameterUm) + " -> " +
               qvox::ShortestText(result.limitUm) + ". Only seeded segmentation reads it; " + by + ".";
    }
    return Name(range) + ": stays at " + qvox::ShortestText(result.limitUm) +
           ". Only seeded segmentation reads it; no other value is better beyond the scatter (" + by + ").";
}

}  // namespace

std::string ScoreName(const ScoreChoice& choice) {
    if (choice.kind == ScoreKind::kPanopticQuality) return "panoptic quality";
    if (choice.recallWeight == 1.0) return "F1";
    return "F (recall counts " + qvox::ShortestText(static_cast<float>(choice.recallWeight)) + " times)";
}

std::vector<std::string> ScoreLines(const TuningResult& result, const ScoreChoice& choice) {
    std::size_t width = std::string("all together").size();
    for (const TunedImage& image : result.images) width = std::max(width, image.name.size());
    const bool isValidated = result.images.size() > 1;
    const auto heldOut = [isValidated](double score) { return isValidated ? Three(score) : std::string("-"); };
    std::vector<std::string> lines{Line(ScoreName(choice), width, {"default", "learnt", "held out"})};
    for (const TunedImage& image : result.images) {
        lines.push_back(Line(image.name, width,
                             {Three(Score(image.byDefault, choice)), Three(Score(image.fitted, choice)),
                              heldOut(Score(image.heldOut, choice))}));
    }
    const auto addSum = [&](const char* name, double TuningScores::*score) {
        lines.push_back(
            Line(name, width,
                 {Three(result.byDefault.*score), Three(result.fittedScores.*score), heldOut(result.heldOut.*score)}));
    };
    addSum("mean", &TuningScores::mean);
    addSum("all together", &TuningScores::pooled);
    return lines;
}

std::vector<std::string> ParameterLines(const TuningResult& result, const ScoreChoice& choice) {
    Tally fitted;
    for (const TunedImage& image : result.images) fitted += image.fitted;
    std::vector<std::string> lines;
    if (result.verdict != TuningVerdict::kTaken) lines.emplace_back("Learnt, but not taken:");
    for (const ParameterRange& range : kParameterRanges) {
        if (range.field == &AnalysisParameters::edgeContrast) continue;
        if (range.field == &AnalysisParameters::minObjectDiameterUm) {
            lines.push_back(SmallObjectLine(range, result.smallObjects));
            continue;
        }
        const auto effect =
            std::find_if(result.effects.begin(), result.effects.end(),
                         [&](const ParameterEffect& candidate) { return candidate.parameter == &range; });
        if (effect != result.effects.end()) {
            lines.push_back(EffectLine(*effect, fitted, choice));
        } else {
            lines.push_back(Name(range) + ": stays at " + qvox::ShortestText(AnalysisParameters().*range.field) +
                            ", no other value was better.");
        }
    }
    return lines;
}

std::vector<std::string> TuningWarnings(const TuningResult& result) {
    std::vector<std::string> warnings;
    if (result.wasEnded) warnings.emplace_back("The search was ended early: another run may find other values.");
    if (result.HasFewImages()) {
        warnings.push_back(Only(result.images.size(), "image") + " to learn from; " + std::to_string(kEnoughImages) +
                           " or more show what to expect of others.");
    }
    if (result.HasFewObjects()) {
        warnings.push_back(Only(result.objects, "object") + " away from the images' edges; " +
                           std::to_string(kEnoughObjects) + " or more are needed for scores to mean much.");
    }
    return warnings;
}

std::string VerdictText(const TuningResult& result) {
    const std::string numbers = "gain on images held out " + Three(result.gain) + ", scatter " + Three(result.scatter);
    switch (result.verdict) {
        case TuningVerdict::kTaken:
            return "The learnt parameters are taken: " + numbers + ".";
        case TuningVerdict::kWithinScatter:
            return "The default parameters are kept: " + numbers + ".";
        case TuningVerdict::kUnknown:
            break;
    }
    return "The default parameters are kept: one image does not tell what to expect of others.";
}

std::string SharingText(const TuningResult& result) {
    const StepCounts& steps = result.steps;
    return Count(result.evaluations, "evaluation") + " took " + Count(steps.edgeMaps, "edge map") + ", " +
           Count(steps.candidateMaps, "candidate map") + ", " + Count(steps.filteredMaps, "filtered map") + " and " +
           Count(steps.grownImages, "refinement") + ".";
}

}  // namespace Korvane
