#include "SmallObjectLimit.h"

#include <array>
#include <cmath>
#include <exception>
#include <numeric>

#include "LabelComparison.h"
#include "SeededSegmentation.h"

namespace Korvane {

namespace {

/// Micrometres; the default among them.
constexpr std::array<float, 16> kLimitsUm{0.0f,  0.01f, 0.02f, 0.03f, 0.04f, 0.05f, 0.06f, 0.07f,
                                          0.08f, 0.1f,  0.12f, 0.15f, 0.2f,  0.3f,  0.4f,  0.5f};
constexpr std::size_t kDefaultLimit = 3;
static_assert(kLimitsUm[kDefaultLimit] == AnalysisParameters().minObjectDiameterUm, "the default is one of the limits");

using Row = std::array<Tally, kLimitsUm.size()>;

Row TalliesOf(const TrainingImage& image, const qvox::LabelImage& seeds, double matchThreshold) {
    Row row;
    for (std::size_t i = 0; i < kLimitsUm.size(); ++i) {
        qvox::LabelImage labels = seeds;
        SegmentFromSeeds(image.image, labels, image.image.Resolution().x, kLimitsUm[i], qvox::RunOneByOne);
        row[i] = TallyInside(FindOverlaps(image.truth, labels), matchThreshold);
    }
    return row;
}

/// The best limit of all rows but one; of equal ones the nearest to the default, the smaller first.
std::size_t BestLimit(const std::vector<Row>& rows, std::size_t leftOut, const ScoreChoice& score) {
    const auto scoreOf = [&](std::size_t limit) {
        Tally sum;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            if (i != leftOut) sum += rows[i][limit];
        }
        return Score(sum, score);
    };
    const auto distance = [](std::size_t limit) { return std::abs(kLimitsUm[limit] - kLimitsUm[kDefaultLimit]); };
    std::size_t best = kDefaultLimit;
    double bestScore = scoreOf(best);
    for (std::size_t limit = 0; limit < kLimitsUm.size(); ++limit) {
        const double found = scoreOf(limit);
        if (found > bestScore || (found == bestScore && distance(limit) < distance(best))) {
            best = limit;
            bestScore = found;
        }
    }
    return best;
}

}  // namespace

MeanGain GainOf(const std::vector<double>& differences) {
    if (differences.size() < 2) return {};
    const auto count = static_cast<double>(differences.size());
    MeanGain gain;
    gain.mean = std::accumulate(differences.begin(), differences.end(), 0.0) / count;
    double squares = 0.0;
    for (const double difference : differences) squares += (difference - gain.mean) * (difference - gain.mean);
    gain.standardError = std::sqrt(squares / (count - 1.0) / count);
    return gain;
}

SmallObjectResult LearnSmallObjectLimit(const std::vector<TrainingImage>& images,
                                        const std::vector<qvox::LabelImage>& labels,
                                        const SmallObjectOptions& options) {
    std::vector<Row> rows(images.size());
    std::vector<std::exception_ptr> failures(images.size());
    options.run(images.size(), [&](std::size_t image) {
        try {
            rows[image] = TalliesOf(images[image], labels[image], options.matchThreshold);
        } catch (...) {
            failures[image] = std::current_exception();
        }
    });
    for (const std::exception_ptr& failure : failures) {
        if (failure) std::rethrow_exception(failure);
    }
    SmallObjectResult result;
    std::vector<double> differences;
    const auto count = static_cast<double>(images.size());
    for (std::size_t image = 0; image < images.size(); ++image) {
        const double byDefault = Score(rows[image][kDefaultLimit], options.score);
        const double heldOut = Score(rows[image][BestLimit(rows, image, options.score)], options.score);
        result.byDefault += byDefault / count;
        result.heldOut += heldOut / count;
        differences.push_back(heldOut - byDefault);
    }
    result.fittedUm = kLimitsUm[BestLimit(rows, images.size(), options.score)];
    const MeanGain gain = GainOf(differences);
    result.gain = gain.mean;
    result.scatter = gain.standardError;
    result.limitUm = gain.IsBeyondScatter() ? result.fittedUm : kLimitsUm[kDefaultLimit];
    return result;
}

}  // namespace Korvane
