#include "Scores.h"

#include <gtest/gtest.h>

#include <cmath>

#include "Agreement.h"

namespace Korvane {

namespace {

Tally Counts(std::size_t matched, std::size_t missed, std::size_t extra, double iouSum) {
    Tally tally;
    tally.matched = matched;
    tally.missed = missed;
    tally.extra = extra;
    tally.iouSum = iouSum;
    return tally;
}

TEST(Scores, FollowTheirDefinitions) {
    const Tally tally = Counts(6, 2, 4, 4.8);
    EXPECT_DOUBLE_EQ(Precision(tally), 0.6);
    EXPECT_DOUBLE_EQ(Recall(tally), 0.75);
    EXPECT_DOUBLE_EQ(MeanIou(tally), 0.8);
    EXPECT_DOUBLE_EQ(FScore(tally), 2.0 * 0.6 * 0.75 / (0.6 + 0.75));
    EXPECT_DOUBLE_EQ(FScore(tally, 2.0), 5.0 * 0.6 * 0.75 / (4.0 * 0.6 + 0.75));
    EXPECT_DOUBLE_EQ(PanopticQuality(tally), FScore(tally) * MeanIou(tally));
    EXPECT_DOUBLE_EQ(Score(tally, {ScoreKind::kPanopticQuality, 1.0}), PanopticQuality(tally));
    EXPECT_DOUBLE_EQ(Score(tally, {ScoreKind::kF, 2.0}), FScore(tally, 2.0));
}

TEST(Scores, WithoutObjectsNothingCouldBeBetter) {
    EXPECT_EQ(Score(Tally(), {}), 1.0);
    EXPECT_TRUE(std::isnan(Precision(Tally())));
    EXPECT_EQ(Score(Counts(0, 3, 0, 0.0), {}), 0.0);
    EXPECT_EQ(Score(Counts(0, 0, 3, 0.0), {ScoreKind::kPanopticQuality, 1.0}), 0.0);
}

TEST(Scores, TalliesOfImagesAddUp) {
    Tally sum = Counts(1, 2, 3, 0.5);
    sum += Counts(10, 20, 30, 5.0);
    EXPECT_EQ(sum.matched, 11u);
    EXPECT_EQ(sum.missed, 22u);
    EXPECT_EQ(sum.extra, 33u);
    EXPECT_EQ(sum.iouSum, 5.5);
}

TEST(Agreement, FollowsBlandAndAltman) {
    const Agreement agreement = DiameterAgreement({{50.0, 52.0}, {60.0, 61.0}, {70.0, 73.0}, {80.0, 78.0}});
    EXPECT_EQ(agreement.count, 4u);
    EXPECT_DOUBLE_EQ(agreement.biasNm, 1.0);
    EXPECT_DOUBLE_EQ(agreement.sdNm, std::sqrt(14.0 / 3.0));
    EXPECT_DOUBLE_EQ(agreement.lowerNm, 1.0 - 1.96 * std::sqrt(14.0 / 3.0));
    EXPECT_DOUBLE_EQ(agreement.upperNm, 1.0 + 1.96 * std::sqrt(14.0 / 3.0));
}

TEST(Agreement, OfTooFewPairsIsUndefined) {
    EXPECT_TRUE(std::isnan(DiameterAgreement({}).biasNm));
    const Agreement one = DiameterAgreement({{50.0, 52.0}});
    EXPECT_EQ(one.biasNm, 2.0);
    EXPECT_TRUE(std::isnan(one.sdNm));
    EXPECT_TRUE(std::isnan(one.upperNm));
}

}  // namespace

}  // namespace Korvane
