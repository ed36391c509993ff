#include "Tuning.h"

#include <numeric>

#include "ToolkitError.h"

namespace Korvane {

namespace {

/// The searches with and without each image, over one table.
class Tuner {
public:
    Tuner(const std::vector<TrainingImage>& images, const TuningOptions& options)
        : images_(images), options_(options), table_(images, options.matchThreshold, options.run) {}

    TuningResult Tune() {
        std::vector<std::size_t> all(images_.size());
        std::iota(all.begin(), all.end(), std::size_t{0});
        // The default is scored first and by all: its failures are reported before anything is searched.
        table_.Evaluate({ParameterPoint()}, all);
        const SearchResult found = Search(all, "all images");
        result_.fitted = ParametersAt(found.point, found.best.roundness);
        for (const std::size_t image : all) AddImage(image, found);
        ValidateWithoutEach(all);
        Sum();
        AddEffects(all, found);
        Decide();
        LearnSmallObjects();
        result_.evaluations = table_.Evaluations();
        result_.steps = table_.Counts();
        return result_;
    }

private:
    static std::size_t At(int roundness) { return static_cast<std::size_t>(roundness); }

    bool GoesOn(const std::string& text) {
        const TuningStep step = options_.nextStep({done_, images_.size() > 1 ? images_.size() + 1 : 1, text});
        if (step == TuningStep::kCancel) throw TuningCancelled();
        if (step == TuningStep::kEndSearch) result_.wasEnded = true;
        return step == TuningStep::kGoOn;
    }

    SearchResult Search(const std::vector<std::size_t>& images, const std::string& text) {
        SearchOptions options;
        options.evaluations = options_.evaluations;
        options.designShare = options_.designShare;
        options.goesOn = [&] { return GoesOn(text); };
        const SearchResult found = SearchParameters(
            [&](const std::vector<ParameterPoint>& points) {
                table_.Evaluate(points, images);
                std::vector<PointScore> scores;
                scores.reserve(points.size());
                for (const ParameterPoint& point : points) scores.push_back(table_.Best(images, point, options_.score));
                return scores;
            },
            options);
        ++done_;
        return found;
    }

    void AddImage(std::size_t image, const SearchResult& found) {
        TunedImage tuned;
        tuned.name = images_[image].name;
        tuned.byDefault = table_.At(image, ParameterPoint())[At(kDefaultRoundness)];
        tuned.fitted = table_.At(image, found.point)[At(found.best.roundness)];
        tuned.heldOut = tuned.byDefault;
        result_.objects += tuned.byDefault.TrueObjects();
        result_.images.push_back(tuned);
    }

    void ValidateWithoutEach(const std::vector<std::size_t>& all) {
        if (all.size() < 2) return;
        for (const std::size_t image : all) {
            std::vector<std::size_t> others;
            for (const std::size_t other : all) {
                if (other != image) others.push_back(other);
            }
            const SearchResult found = Search(others, "all but '" + images_[image].name + "'");
            table_.Evaluate({found.point}, {image});
            result_.images[image].heldOut = table_.At(image, found.point)[At(found.best.roundness)];
            result_.images[image].heldOutParameters = ParametersAt(found.point, found.best.roundness);
        }
    }

    TuningScores ScoresOf(Tally TunedImage::*tally) const {
        TuningScores scores;
        Tally sum;
        for (const TunedImage& image : result_.images) {
            sum += image.*tally;
            scores.mean += Score(image.*tally, options_.score) / static_cast<double>(result_.images.size());
        }
        scores.pooled = Score(sum, options_.score);
        return scores;
    }

    void Sum() {
        result_.byDefault = ScoresOf(&TunedImage::byDefault);
        result_.fittedScores = ScoresOf(&TunedImage::fitted);
        result_.heldOut = ScoresOf(&TunedImage::heldOut);
    }

    /// Each parameter that moved is put back by itself.
    void AddEffects(const std::vector<std::size_t>& all, const SearchResult& found) {
        for (const ParameterRange& range : kParameterRanges) {
            const float from = AnalysisParameters().*range.field;
            const float to = result_.fitted.*range.field;
            if (from == to) continue;
            ParameterPoint point = found.point;
            int roundness = found.best.roundness;
            if (range.field == &AnalysisParameters::relativeExosomeSize) {
                point.exosomeSize = ParameterPoint().exosomeSize;
            } else if (range.field == &AnalysisParameters::maxRelativeClusterSize) {
                point.clusterSize = ParameterPoint().clusterSize;
            } else if (range.field == &AnalysisParameters::areaFraction) {
                point.areaFraction = ParameterPoint().areaFraction;
            } else {
                roundness = kDefaultRoundness;
            }
            table_.Evaluate({point}, all);
            result_.effects.push_back({&range, from, to, table_.Pooled(all, point, roundness)});
        }
    }

    void Decide() {
        result_.chosen = result_.fitted;
        result_.verdict = TuningVerdict::kTaken;
        if (images_.size() < 2) {
            result_.verdict = TuningVerdict::kUnknown;
        } else {
            std::vector<double> differences;
            for (const TunedImage& image : result_.images) {
                differences.push_back(Score(image.heldOut, options_.score) - Score(image.byDefault, options_.score));
            }
            const MeanGain gain = GainOf(differences);
            result_.gain = gain.mean;
            result_.scatter = gain.standardError;
            if (!gain.IsBeyondScatter()) result_.verdict = TuningVerdict::kWithinScatter;
        }
        if (result_.verdict != TuningVerdict::kTaken) result_.chosen = AnalysisParameters();
    }

    void LearnSmallObjects() {
        const std::vector<qvox::LabelImage> labels = table_.Labels(result_.chosen);
        result_.smallObjects =
            LearnSmallObjectLimit(images_, labels, {options_.score, options_.matchThreshold, options_.run});
        // Defaults that are kept are kept whole.
        if (result_.verdict == TuningVerdict::kTaken) {
            result_.chosen.minObjectDiameterUm = result_.smallObjects.limitUm;
        }
        result_.fitted.minObjectDiameterUm = result_.smallObjects.fittedUm;
    }

    const std::vector<TrainingImage>& images_;
    const TuningOptions& options_;
    EvaluationTable table_;
    TuningResult result_;
    std::size_t done_ = 0;
};

}  // namespace

TuningResult TuneParameters(const std::vector<TrainingImage>& images, const TuningOptions& options) {
    if (images.empty()) throw qvox::ToolkitError("Tuning: there is no image with true labels.");
    return Tuner(images, options).Tune();
}

}  // namespace Korvane
