#include "ParameterSearch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace Korvane {

namespace {

/// Highest at one point, falling off evenly along each axis.
PointScorer Cone(const ParameterPoint& top, std::vector<ParameterPoint>* asked = nullptr) {
    return [top, asked](const std::vector<ParameterPoint>& points) {
        std::vector<PointScore> scores;
        for (const ParameterPoint& point : points) {
            if (asked != nullptr) asked->push_back(point);
            const double away = std::abs(point.exosomeSize - top.exosomeSize) / 180.0 +
                                std::abs(point.clusterSize - top.clusterSize) / 180.0 +
                                std::abs(point.areaFraction - top.areaFraction) / 100.0;
            scores.push_back({1.0 - away, kDefaultRoundness});
        }
        return scores;
    };
}

TEST(ParameterSearch, FindsTheTopOfACone) {
    for (const ParameterPoint& top : {ParameterPoint{131, 77, 22}, ParameterPoint{10, 190, 0}, ParameterPoint{}}) {
        SearchOptions options;
        options.evaluations = 200;
        const SearchResult result = SearchParameters(Cone(top), options);
        EXPECT_EQ(result.point.exosomeSize, top.exosomeSize);
        EXPECT_EQ(result.point.clusterSize, top.clusterSize);
        EXPECT_EQ(result.point.areaFraction, top.areaFraction);
    }
}

TEST(ParameterSearch, ScoresEachPointOnceAndNoMoreThanAskedFor) {
    for (const std::size_t evaluations : {1u, 2u, 17u, 200u}) {
        std::vector<ParameterPoint> asked;
        SearchOptions options;
        options.evaluations = evaluations;
        const SearchResult result = SearchParameters(Cone({50, 50, 50}, &asked), options);
        EXPECT_EQ(result.evaluations, asked.size());
        EXPECT_LE(asked.size(), evaluations);
        EXPECT_EQ(asked.front(), ParameterPoint());
        std::sort(asked.begin(), asked.end());
        EXPECT_EQ(std::adjacent_find(asked.begin(), asked.end()), asked.end());
    }
}

TEST(ParameterSearch, OfEqualScoresTheDefaultIsBest) {
    const PointScorer even = [](const std::vector<ParameterPoint>& points) {
        return std::vector<PointScore>(points.size(), PointScore{0.5, kDefaultRoundness});
    };
    EXPECT_EQ(SearchParameters(even, {}).point, ParameterPoint());
}

TEST(ParameterSearch, EndsWhenItIsTold) {
    SearchOptions options;
    int batches = 0;
    options.goesOn = [&batches] { return ++batches < 3; };
    const SearchResult result = SearchParameters(Cone({50, 50, 50}), options);
    EXPECT_GT(result.evaluations, 1u);
    EXPECT_LT(result.evaluations, 100u);
}

TEST(DesignPoints, CoverTheRanges) {
    const std::vector<ParameterPoint> points = DesignPoints(120);
    EXPECT_LE(points.size(), 120u);
    EXPECT_GT(points.size(), 80u);
    const auto within = [&](int ParameterPoint::*value, int smallest, int largest) {
        const auto less = [value](const ParameterPoint& a, const ParameterPoint& b) { return a.*value < b.*value; };
        const auto [low, high] = std::minmax_element(points.begin(), points.end(), less);
        const int margin = (largest - smallest) / 6;
        EXPECT_GE((*low).*value, smallest);
        EXPECT_LE((*low).*value, smallest + margin);
        EXPECT_LE((*high).*value, largest);
        EXPECT_GE((*high).*value, largest - margin);
    };
    within(&ParameterPoint::exosomeSize, 10, 190);
    within(&ParameterPoint::clusterSize, 10, 190);
    within(&ParameterPoint::areaFraction, 0, 100);
    for (const ParameterPoint& point : points) {
        const AnalysisParameters parameters = ParametersAt(point, kDefaultRoundness);
        for (const ParameterRange& range : kParameterRanges) {
            EXPECT_GE(parameters.*range.field, range.minimum) << range.key;
            EXPECT_LE(parameters.*range.field, range.maximum) << range.key;
        }
    }
}

TEST(ParametersAt, TheDefaultPointHasTheDefaults) {
    const AnalysisParameters parameters = ParametersAt({}, kDefaultRoundness);
    for (const ParameterRange& range : kParameterRanges) {
        EXPECT_EQ(parameters.*range.field, AnalysisParameters().*range.field) << range.key;
    }
}

}  // namespace

}  // namespace Korvane
