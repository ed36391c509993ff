#include "EvaluationTable.h"

#include <algorithm>
#include <exception>
#include <numeric>
#include <utility>

#include "Refinement.h"
#include "ToolkitError.h"

namespace Korvane {

EvaluationTable::EvaluationTable(const std::vector<TrainingImage>& images, double matchThreshold, qvox::PartRunner run)
    : images_(images), matchThreshold_(matchThreshold), run_(std::move(run)), tallies_(images.size()) {
    for (const TrainingImage& image : images) {
        try {
            detections_.push_back(
                std::make_unique<SharedDetection>(image.image, image.truth, image.image.Resolution().x));
        } catch (const qvox::ToolkitError& error) {
            throw qvox::ToolkitError("'" + image.name + "': " + error.what());
        }
    }
}

void EvaluationTable::RunImages(const std::vector<std::size_t>& images,
                                const std::function<void(std::size_t image)>& work) {
    std::vector<std::exception_ptr> failures(images.size());
    run_(images.size(), [&](std::size_t part) {
        try {
            work(images[part]);
        } catch (...) {
            failures[part] = std::current_exception();
        }
    });
    for (const std::exception_ptr& failure : failures) {
        if (failure) std::rethrow_exception(failure);
    }
}

TalliesByRoundness EvaluationTable::Evaluated(std::size_t image, const ParameterPoint& point) {
    TalliesByRoundness tallies;
    const auto hundredths = [](int roundness) { return ParametersAt({}, roundness).roundnessThreshold; };
    try {
        const ObjectsWithRoundness& objects = detections_[image]->Objects(ParametersAt(point, kDefaultRoundness));
        tallies[0] = TallyAtRoundness(objects, 0.0f, matchThreshold_);
        std::size_t before = objects.roundness.size() + 1;
        for (int roundness = 1; roundness <= kLargestRoundness; ++roundness) {
            const float threshold = hundredths(roundness);
            const auto stay = static_cast<std::size_t>(
                std::count_if(objects.roundness.begin(), objects.roundness.end(),
                              [threshold](double value) { return IsRoundEnough(value, threshold); }));
            const auto at = static_cast<std::size_t>(roundness);
            // A larger threshold only drops objects: as many are the same ones.
            tallies[at] = stay == before ? tallies[at - 1] : TallyAtRoundness(objects, threshold, matchThreshold_);
            before = stay;
        }
    } catch (const qvox::ToolkitError& error) {
        if (point == ParameterPoint()) {
            throw qvox::ToolkitError("'" + images_[image].name + "': " + error.what());
        }
        Tally nothing;
        nothing.missed = tallies_[image].at(ParameterPoint())[0].TrueObjects();
        tallies.fill(nothing);
    }
    return tallies;
}

void EvaluationTable::Evaluate(const std::vector<ParameterPoint>& points, const std::vector<std::size_t>& images) {
    std::vector<ParameterPoint> ordered = points;
    // The default comes first: what it says holds for images that detection refuses at other points.
    std::sort(ordered.begin(), ordered.end(), [](const ParameterPoint& a, const ParameterPoint& b) {
        const bool aFirst = a == ParameterPoint();
        const bool bFirst = b == ParameterPoint();
        return aFirst != bFirst ? aFirst : a < b;
    });
    RunImages(images, [&](std::size_t image) {
        for (const ParameterPoint& point : ordered) {
            if (tallies_[image].count(point) > 0) continue;
            tallies_[image].emplace(point, Evaluated(image, point));
        }
    });
}

const TalliesByRoundness& EvaluationTable::At(std::size_t image, const ParameterPoint& point) const {
    return tallies_[image].at(point);
}

Tally EvaluationTable::Pooled(const std::vector<std::size_t>& images, const ParameterPoint& point,
                              int roundness) const {
    Tally sum;
    for (const std::size_t image : images) sum += At(image, point)[static_cast<std::size_t>(roundness)];
    return sum;
}

PointScore EvaluationTable::Best(const std::vector<std::size_t>& images, const ParameterPoint& point,
                                 const ScoreChoice& choice) const {
    PointScore best{Score(Pooled(images, point, kDefaultRoundness), choice), kDefaultRoundness};
    for (int away = 1; away <= kLargestRoundness; ++away) {
        for (const int roundness : {kDefaultRoundness - away, kDefaultRoundness + away}) {
            if (roundness < 0 || roundness > kLargestRoundness) continue;
            const double score = Score(Pooled(images, point, roundness), choice);
            if (score > best.score) best = {score, roundness};
        }
    }
    return best;
}

std::vector<qvox::LabelImage> EvaluationTable::Labels(const AnalysisParameters& parameters) {
    std::vector<qvox::LabelImage> labels(images_.size());
    std::vector<std::size_t> all(images_.size());
    std::iota(all.begin(), all.end(), std::size_t{0});
    RunImages(all, [&](std::size_t image) { labels[image] = detections_[image]->Labels(parameters); });
    return labels;
}

std::size_t EvaluationTable::Evaluations() const {
    return std::accumulate(tallies_.begin(), tallies_.end(), std::size_t{0},
                           [](std::size_t sum, const auto& tallies) { return sum + tallies.size(); });
}

StepCounts EvaluationTable::Counts() const {
    StepCounts sum;
    for (const auto& detection : detections_) sum += detection->Counts();
    return sum;
}

}  // namespace Korvane
