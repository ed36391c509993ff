#include "ParameterSearch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <map>
#include <optional>
#include <tuple>

namespace Korvane {

namespace {

/// The axes of a point with their ranges and the first step of a pattern, in hundredths.
struct Axis {
    int ParameterPoint::*value;
    int smallest;
    int largest;
    int firstStep;
};
constexpr std::array<Axis, 3> kAxes{{
    {&ParameterPoint::exosomeSize, 10, 190, 16},
    {&ParameterPoint::clusterSize, 10, 190, 16},
    {&ParameterPoint::areaFraction, 0, 100, 8},
}};

/// Points within so many hundredths of a pattern's steps belong to it.
constexpr double kNear = 0.1;

/// The digits of a number mirrored at the point: spread evenly over 0 .. 1 (van der Corput 1935).
double Mirrored(std::size_t number, std::size_t base) {
    double value = 0.0;
    double digit = 1.0;
    for (; number > 0; number /= base) {
        digit /= static_cast<double>(base);
        value += digit * static_cast<double>(number % base);
    }
    return value;
}

int AtShare(const Axis& axis, double share) {
    return axis.smallest + static_cast<int>(std::lround(share * (axis.largest - axis.smallest)));
}

/// In ranges; of the points alone.
double Distance(const ParameterPoint& a, const ParameterPoint& b) {
    double sum = 0.0;
    for (const Axis& axis : kAxes) {
        sum += static_cast<double>(std::abs(a.*axis.value - b.*axis.value)) / (axis.largest - axis.smallest);
    }
    return sum;
}

struct Scored {
    ParameterPoint point;
    PointScore best;
};

double FromDefault(const Scored& scored) {
    return Distance(scored.point, ParameterPoint()) + std::abs(scored.best.roundness - kDefaultRoundness) / 100.0;
}

bool IsBetter(const Scored& a, const Scored& b) {
    if (a.best.score != b.best.score) return a.best.score > b.best.score;
    const double fromA = FromDefault(a);
    const double fromB = FromDefault(b);
    if (fromA != fromB) return fromA < fromB;
    return a.point < b.point;
}

class Search {
public:
    Search(const PointScorer& score, const SearchOptions& options) : score_(score), options_(options) {}

    SearchResult Run() {
        const double designed = options_.designShare * static_cast<double>(options_.evaluations);
        ScoreDesign(DesignPoints(std::max<std::size_t>(static_cast<std::size_t>(designed), 1)));
        while (MayGoOn()) {
            const std::optional<Scored> start = NextStart();
            if (!start) break;
            starts_.push_back(start->point);
            FollowPattern(*start);
        }
        const Scored best = Best();
        return {best.point, best.best, scored_.size()};
    }

private:
    bool MayGoOn() const { return scored_.size() < options_.evaluations && options_.goesOn(); }

    /// Scores those points that are new, as far as the budget goes.
    void ScoreNew(const std::vector<ParameterPoint>& points) {
        std::vector<ParameterPoint> fresh;
        for (const ParameterPoint& point : points) {
            const bool isKnown =
                scored_.count(point) > 0 || std::find(fresh.begin(), fresh.end(), point) != fresh.end();
            if (!isKnown && scored_.size() + fresh.size() < options_.evaluations) fresh.push_back(point);
        }
        if (fresh.empty()) return;
        const std::vector<PointScore> scores = score_(fresh);
        for (std::size_t i = 0; i < fresh.size(); ++i) scored_[fresh[i]] = scores[i];
    }

    /// One exosome size after the other, so that the search can be ended between them.
    void ScoreDesign(const std::vector<ParameterPoint>& design) {
        for (auto first = design.begin(); first != design.end();) {
            const auto end = std::find_if(first, design.end(), [first](const ParameterPoint& point) {
                return point.exosomeSize != first->exosomeSize;
            });
            ScoreNew({first, end});
            first = end;
            if (!MayGoOn()) return;
        }
    }

    void FollowPattern(Scored centre) {
        for (int halving = 1; halving <= kAxes[0].firstStep && MayGoOn();) {
            const std::vector<ParameterPoint> around = Around(centre.point, halving);
            ScoreNew(around);
            const Scored before = centre;
            for (const ParameterPoint& point : around) {
                const auto found = scored_.find(point);
                if (found == scored_.end()) continue;
                const Scored candidate{point, found->second};
                if (IsBetter(candidate, centre)) centre = candidate;
            }
            if (centre.point == before.point) halving *= 2;
        }
    }

    static std::vector<ParameterPoint> Around(const ParameterPoint& centre, int halving) {
        std::vector<ParameterPoint> points;
        for (const Axis& axis : kAxes) {
            const int step = std::max(axis.firstStep / halving, 1);
            for (const int change : {-step, step}) {
                ParameterPoint point = centre;
                point.*axis.value = std::clamp(centre.*axis.value + change, axis.smallest, axis.largest);
                if (!(point == centre)) points.push_back(point);
            }
        }
        return points;
    }

    Scored Best() const {
        Scored best{scored_.begin()->first, scored_.begin()->second};
        for (const auto& [point, score] : scored_) {
            const Scored candidate{point, score};
            if (IsBetter(candidate, best)) best = candidate;
        }
        return best;
    }

    /// The best point that is not near to where a pattern began.
    std::optional<Scored> NextStart() const {
        std::optional<Scored> best;
        for (const auto& [point, score] : scored_) {
            const Scored candidate{point, score};
            const bool isNear = std::any_of(starts_.begin(), starts_.end(), [&](const ParameterPoint& start) {
                return Distance(start, candidate.point) < kNear * static_cast<double>(kAxes.size());
            });
            if (!isNear && (!best || IsBetter(candidate, *best))) best = candidate;
        }
        return best;
    }

    const PointScorer& score_;
    const SearchOptions& options_;
    std::map<ParameterPoint, PointScore> scored_;
    std::vector<ParameterPoint> starts_;
};

}  // namespace

bool ParameterPoint::operator<(const ParameterPoint& other) const {
    return std::tie(exosomeSize, clusterSize, areaFraction) <
           std::tie(other.exosomeSize, other.clusterSize, other.areaFraction);
}

AnalysisParameters ParametersAt(const ParameterPoint& point, int roundness) {
    const auto value = [](int hundredths) { return static_cast<float>(hundredths / 100.0); };
    AnalysisParameters parameters;
    parameters.relativeExosomeSize = value(point.exosomeSize);
    parameters.maxRelativeClusterSize = value(point.clusterSize);
    parameters.areaFraction = value(point.areaFraction);
    parameters.roundnessThreshold = value(roundness);
    return parameters;
}

std::vector<ParameterPoint> DesignPoints(std::size_t count) {
    std::vector<ParameterPoint> points{ParameterPoint()};
    if (count < 2) return points;
    // An exosome size costs a new edge map, a cluster size new candidates: there are more of the others.
    const auto rest = static_cast<double>(count - 1);
    const auto sizes = static_cast<std::size_t>(std::max(1.0, std::floor(std::cbrt(rest) * 1.6)));
    const double perSize = rest / static_cast<double>(sizes);
    const auto clusters = static_cast<std::size_t>(std::max(1.0, std::floor(std::sqrt(perSize))));
    const auto areas = static_cast<std::size_t>(std::max(1.0, std::floor(perSize / static_cast<double>(clusters))));
    for (std::size_t s = 0; s < sizes; ++s) {
        const double size = (static_cast<double>(s) + 0.5) / static_cast<double>(sizes);
        for (std::size_t c = 0; c < clusters; ++c) {
            const double cluster = (static_cast<double>(c) + Mirrored(s + 1, 2)) / static_cast<double>(clusters);
            for (std::size_t a = 0; a < areas; ++a) {
                const std::size_t row = s * clusters + c + 1;
                const double area = (static_cast<double>(a) + Mirrored(row, 3)) / static_cast<double>(areas);
                // The filter lets little pass at large area fractions: small ones are looked at more closely.
                points.push_back({AtShare(kAxes[0], size), AtShare(kAxes[1], cluster), AtShare(kAxes[2], area * area)});
            }
        }
    }
    return points;
}

SearchResult SearchParameters(const PointScorer& score, const SearchOptions& options) {
    return Search(score, options).Run();
}

}  // namespace Korvane
