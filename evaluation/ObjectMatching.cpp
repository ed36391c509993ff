#include "ObjectMatching.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <numeric>
#include <optional>

#include "Assignment.h"

namespace Korvane {

namespace {

/// An intersection over union of 1 in whole numbers.
constexpr double kWholeOverlap = 1073741824.0;

/// Disjoint sets of numbers.
class Groups {
public:
    explicit Groups(std::size_t count) : parent_(count) { std::iota(parent_.begin(), parent_.end(), std::size_t{0}); }
    std::size_t Of(std::size_t member) {
        while (parent_[member] != member) member = parent_[member] = parent_[parent_[member]];
        return member;
    }
    void Join(std::size_t a, std::size_t b) { parent_[Of(a)] = Of(b); }

private:
    std::vector<std::size_t> parent_;
};

struct Candidate {
    std::size_t truth;
    std::size_t found;
    double iou;
};

/// The place of a value in a sorted list without repetitions.
std::size_t PlaceOf(const std::vector<std::size_t>& values, std::size_t value) {
    return static_cast<std::size_t>(std::lower_bound(values.begin(), values.end(), value) - values.begin());
}

void SortUnique(std::vector<std::size_t>& values) {
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
}

/// The matches of one connected group.
void MatchGroup(const std::vector<Candidate>& pairs, std::vector<ObjectMatch>& matches) {
    std::vector<std::size_t> rows;
    std::vector<std::size_t> columns;
    for (const Candidate& pair : pairs) {
        rows.push_back(pair.truth);
        columns.push_back(pair.found);
    }
    SortUnique(rows);
    SortUnique(columns);
    PairWeights table{rows.size(), columns.size(), std::vector<std::int64_t>(rows.size() * columns.size(), 0)};
    // One more pair outweighs every sum of overlaps.
    const auto one = static_cast<std::int64_t>(std::min(rows.size(), columns.size()) + 1) *
                     static_cast<std::int64_t>(kWholeOverlap);
    for (const Candidate& pair : pairs) {
        table.weights[PlaceOf(rows, pair.truth) * columns.size() + PlaceOf(columns, pair.found)] =
            one + std::llround(pair.iou * kWholeOverlap);
    }
    const std::vector<std::optional<std::size_t>> columnOf = BestAssignment(table);
    for (const Candidate& pair : pairs) {
        const std::optional<std::size_t>& column = columnOf[PlaceOf(rows, pair.truth)];
        if (column && columns[*column] == pair.found) matches.push_back({pair.truth, pair.found, pair.iou});
    }
}

/// The objects that hold at least two others.
std::vector<std::size_t> WithSeveral(const std::map<std::size_t, std::size_t>& held) {
    std::vector<std::size_t> objects;
    for (const auto& [object, count] : held) {
        if (count > 1) objects.push_back(object);
    }
    return objects;
}

void FindSplitsAndMergers(const LabelOverlaps& objects, ObjectMatching& matching) {
    std::map<std::size_t, std::size_t> foundInTruth;
    std::map<std::size_t, std::size_t> truthInFound;
    for (const ObjectOverlap& overlap : objects.overlaps) {
        const std::uint64_t truePixels = objects.truth[overlap.truth].pixels;
        const std::uint64_t foundPixels = objects.found[overlap.found].pixels;
        const auto makesUp = [&](std::uint64_t whole) {
            return static_cast<double>(overlap.pixels) >= kHeldShare * static_cast<double>(whole);
        };
        if (overlap.pixels * 2 > foundPixels && makesUp(truePixels)) ++foundInTruth[overlap.truth];
        if (overlap.pixels * 2 > truePixels && makesUp(foundPixels)) ++truthInFound[overlap.found];
    }
    matching.split = WithSeveral(foundInTruth);
    matching.merged = WithSeveral(truthInFound);
}

std::vector<std::size_t> Without(std::size_t count, const std::vector<bool>& taken) {
    std::vector<std::size_t> rest;
    for (std::size_t i = 0; i < count; ++i) {
        if (!taken[i]) rest.push_back(i);
    }
    return rest;
}

}  // namespace

ObjectMatching MatchObjects(const LabelOverlaps& objects, double threshold) {
    const std::size_t trueCount = objects.truth.size();
    Groups groups(trueCount + objects.found.size());
    std::vector<Candidate> candidates;
    for (const ObjectOverlap& overlap : objects.overlaps) {
        const double iou = IntersectionOverUnion(objects, overlap);
        if (iou < threshold) continue;
        candidates.push_back({overlap.truth, overlap.found, iou});
        groups.Join(overlap.truth, trueCount + overlap.found);
    }
    std::map<std::size_t, std::vector<Candidate>> byGroup;
    for (const Candidate& candidate : candidates) byGroup[groups.Of(candidate.truth)].push_back(candidate);

    ObjectMatching matching;
    for (const auto& [group, pairs] : byGroup) MatchGroup(pairs, matching.matches);
    std::sort(matching.matches.begin(), matching.matches.end(),
              [](const ObjectMatch& a, const ObjectMatch& b) { return a.truth < b.truth; });
    std::vector<bool> truthTaken(trueCount, false);
    std::vector<bool> foundTaken(objects.found.size(), false);
    for (const ObjectMatch& match : matching.matches) truthTaken[match.truth] = foundTaken[match.found] = true;
    matching.missed = Without(trueCount, truthTaken);
    matching.extra = Without(objects.found.size(), foundTaken);
    FindSplitsAndMergers(objects, matching);
    return matching;
}

}  // namespace Korvane
