#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>

#include <opencv2/imgproc.hpp>

#include "DetectionForms.h"
#include "support/MatTools.h"
#include "support/Phantoms.h"

using namespace korvane_test;

namespace {

class TraceKeeper : public Korvane::DetectionObserver {
public:
    void Trace(const std::string& line) override { lines.push_back(line); }
    std::vector<std::string> lines;
};

struct Outcome {
    cv::Mat candidates;
    std::vector<std::string> trace;
};

// At this scale what is in range has 12 to 6250 pixels.
Outcome Detected(const CandidateForm& form, const cv::Mat& edges, float scale = 0.125f) {
    Outcome outcome{cv::Mat::zeros(edges.size(), CV_32F), {}};
    TraceKeeper keeper;
    form.run(edges, outcome.candidates, scale, 1.0f, keeper);
    outcome.trace = keeper.lines;
    return outcome;
}

/// 1000 pixels in one row, so many of them 1.0 and the others of that value: too small for a component in range.
cv::Mat Row(int ones, float rest) {
    cv::Mat row(1, 1000, CV_32F, cv::Scalar(static_cast<double>(rest)));
    for (int x = 0; x < ones; ++x) row.at<float>(0, x) = 1.0f;
    return row;
}

}  // namespace

class CandidateDetectionCases : public ::testing::TestWithParam<CandidateForm> {};
INSTANTIATE_TEST_SUITE_P(Forms, CandidateDetectionCases, ::testing::ValuesIn(CandidateForms()),
                         FormName<CandidateForm>);

TEST_P(CandidateDetectionCases, AnUpperBoundOfTheLowerBoundOrLessLeavesTheWeakEdgesAlone) {
    const auto trace = Detected(GetParam(), Row(10, 0.03f)).trace;
    ASSERT_FALSE(trace.empty());
    EXPECT_EQ(trace.back(), "thresh0.030014") << "the bin after the one that reaches the target";
}

TEST_P(CandidateDetectionCases, AnUpperBoundOfOneSkipsTheStrongEdges) {
    const auto trace = Detected(GetParam(), Row(1000, 1.0f)).trace;
    ASSERT_GT(trace.size(), 2u);
    EXPECT_EQ(trace[0], "thresh1") << "the target is reached by the last bin";
    EXPECT_EQ(trace[1], "1");
    EXPECT_EQ(trace[2], "0.995");
}

TEST_P(CandidateDetectionCases, TheUpperBoundEndsTheBinThatReachesTheTargetExactly) {
    const auto strongFew = Detected(GetParam(), Row(25, 0.0f)).trace;
    EXPECT_EQ(strongFew.back(), "thresh1.52588e-05") << "975 of 1000 pixels are in the first bin";
    const auto strongOneMore = Detected(GetParam(), Row(26, 0.0f)).trace;
    EXPECT_EQ(std::count(strongOneMore.begin(), strongOneMore.end(), "thresh1"), 1);
}

TEST_P(CandidateDetectionCases, TooManyValuesAboveOneMakeTheUpperBoundThreeTenths) {
    const auto trace = Detected(GetParam(), Row(0, 1.5f)).trace;
    EXPECT_EQ(std::count(trace.begin(), trace.end(), "thresh0.3"), 1);
}

TEST_P(CandidateDetectionCases, ValuesBelowZeroCountAsZero) {
    const auto trace = Detected(GetParam(), Row(10, -2.0f)).trace;
    EXPECT_EQ(trace.back(), "thresh1.52588e-05");
}

TEST_P(CandidateDetectionCases, LevelsSinkByRepeatedSubtractionInSinglePrecision) {
    const auto trace = Detected(GetParam(), Row(10, 0.25f)).trace;
    float t = 1.0f;
    std::size_t i = 0;
    for (; t > 0.250016f; t = t - 0.005f) {
        std::ostringstream text;
        text << t;
        ASSERT_LT(i, trace.size());
        EXPECT_EQ(trace[i++], text.str());
    }
    ASSERT_LT(i + 1, trace.size());
    EXPECT_EQ(trace[i], "thresh0.250015");
    EXPECT_EQ(trace[i + 1], "0.250015") << "the level restarts at the upper bound";
    EXPECT_EQ(trace.size(), i + 1 + 41) << "0.25 to 0.05 in steps of 0.005";
}

namespace {

/// A strong line of less, and with a box's wall of more than 2.5 percent of the pixels, so that the wall's strength is
/// the upper bound; a bridge may link the two.
cv::Mat BoxMap(float wall, float corner, int left = 20) {
    cv::Mat map = cv::Mat::zeros(60, 120, CV_32F);
    map(cv::Rect(0, 50, 120, 1)).setTo(cv::Scalar(1.0));
    cv::rectangle(map, cv::Rect(left, 20, 12, 12), cv::Scalar(static_cast<double>(wall)), 2);
    if (corner > 0.0f) map(cv::Rect(25, 32, 2, 18)).setTo(cv::Scalar(static_cast<double>(corner)));
    return map;
}

}  // namespace

TEST_P(CandidateDetectionCases, WeakEdgesFarFromStrongOnesAreNotRemoved) {
    const Outcome isolated = Detected(GetParam(), BoxMap(0.5f, 0.0f), 0.06f);
    EXPECT_NE(isolated.candidates.at<float>(26, 26), 2.0f);
    const Outcome linked = Detected(GetParam(), BoxMap(0.5f, 0.6f), 0.06f);
    EXPECT_EQ(linked.candidates.at<float>(26, 26), 2.0f);
}

TEST_P(CandidateDetectionCases, TheMapBorderIsNoEdgeFromWhichWeakEdgesAreRemoved) {
    const Outcome atBorder = Detected(GetParam(), BoxMap(0.5f, 0.0f, 0), 0.06f);
    EXPECT_NE(atBorder.candidates.at<float>(26, 6), 2.0f);
}

namespace {

void PaintOutline(cv::Mat& map, cv::Rect box, float value) {
    cv::rectangle(map, box, cv::Scalar(static_cast<double>(value)), 1);
}

/// A square on its tip: the outline of the pixels `reach` steps away from the centre.
void PaintDiamond(cv::Mat& map, cv::Point centre, int reach, float value) {
    for (int y = 0; y < map.rows; ++y) {
        for (int x = 0; x < map.cols; ++x) {
            if (std::abs(x - centre.x) + std::abs(y - centre.y) == reach) map.at<float>(y, x) = value;
        }
    }
}

int Inside(const cv::Mat& candidates, cv::Rect box, double code) { return cv::countNonZero(candidates(box) == code); }

}  // namespace

// In the maps of these three less than 2.5 percent of the pixels are above zero, so the upper bound is the first bin's
// and between the strong edges and the end lies one single sweep. Whatever lies around the walls is too large.

TEST_P(CandidateDetectionCases, AStrongCandidateIsOpenAgainWhenTheWeakEdgesAreRemoved) {
    cv::Mat map = cv::Mat::zeros(60, 60, CV_32F);
    PaintOutline(map, cv::Rect(20, 20, 7, 7), 1.0f);
    map(cv::Rect(23, 21, 1, 5)).setTo(cv::Scalar(0.5));
    map(cv::Rect(21, 23, 5, 1)).setTo(cv::Scalar(0.5));
    const Outcome outcome = Detected(GetParam(), map, 0.05f);
    ASSERT_EQ(outcome.trace.back(), "thresh1.52588e-05");
    EXPECT_EQ(cv::countNonZero(outcome.candidates == 2.0), 25);
    EXPECT_EQ(cv::countNonZero(outcome.candidates == 3.0), 24) << "four quarters, too small, would have no ring";
}

TEST_P(CandidateDetectionCases, AStrongCandidateThatIsTooLargeWhenOpenAgainStaysACandidate) {
    // 96 pixels around an edge of 25 are in range (105), the 121 which they fill together are not.
    cv::Mat map = cv::Mat::zeros(60, 60, CV_32F);
    PaintOutline(map, cv::Rect(20, 20, 13, 13), 1.0f);
    map(cv::Rect(24, 24, 5, 5)).setTo(cv::Scalar(1.0));
    const Outcome outcome = Detected(GetParam(), map, 0.0021f);
    ASSERT_EQ(outcome.trace.back(), "thresh1.52588e-05");
    EXPECT_EQ(Inside(outcome.candidates, cv::Rect(21, 21, 11, 11), 2.0), 121);
    EXPECT_EQ(cv::countNonZero(outcome.candidates), 121) << "it is not found again, so there is no ring";
}

TEST_P(CandidateDetectionCases, ALaterRingDoesNotTakePixelsFromAStrongCandidate) {
    // The second diamond is closed by very weak edges on all sides but the one that it shares with the first; its ring
    // reaches across the diagonal wall.
    cv::Mat map = cv::Mat::zeros(60, 60, CV_32F);
    PaintDiamond(map, cv::Point(26, 26), 6, 0.0001f);
    PaintDiamond(map, cv::Point(20, 20), 6, 1.0f);
    const Outcome outcome = Detected(GetParam(), map, 0.05f);
    ASSERT_EQ(outcome.trace.back(), "thresh1.52588e-05");
    cv::Mat within = cv::Mat::zeros(map.size(), CV_32F);
    for (int reach = 0; reach < 6; ++reach) PaintDiamond(within, cv::Point(20, 20), reach, 1.0f);
    EXPECT_EQ(cv::countNonZero((within == 1.0) & (outcome.candidates == 2.0)), 61);
    EXPECT_EQ(outcome.candidates.at<float>(26, 26), 2.0f) << "the second one is a candidate too";
    EXPECT_EQ(outcome.candidates.at<float>(23, 23), 3.0f) << "the wall that they share";
}

namespace {

constexpr float kFirstWeakLevel = 32769.0f / 65536.0f;
constexpr float kSecondWeakLevel = kFirstWeakLevel - 0.005f;

/// A box of weak walls, linked to one strong pixel, whose inside is removed one level after the second weak one; so it
/// is a candidate only if its walls are closed at that level itself. More than 2.5 percent of the pixels are at least
/// 0.5, so that this is the upper bound.
cv::Mat BoxThatLastsOneLevel(float wall, float gap) {
    const float inside = kSecondWeakLevel - 0.0025f;
    cv::Mat map = cv::Mat::zeros(30, 30, CV_32F);
    map(cv::Rect(2, 25, 24, 1)).setTo(cv::Scalar(0.5));
    map(cv::Rect(10, 10, 7, 7)).setTo(cv::Scalar(static_cast<double>(inside)));
    PaintOutline(map, cv::Rect(10, 10, 7, 7), wall);
    map(cv::Rect(13, 17, 1, 3)).setTo(cv::Scalar(static_cast<double>(wall)));
    map.at<float>(20, 13) = 1.0f;
    map.at<float>(10, 12) = gap;
    return map;
}

}  // namespace

TEST_P(CandidateDetectionCases, WhatIsRemovedSpreadsToPixelsOfExactlyTheLevel) {
    const Outcome outcome = Detected(GetParam(), BoxThatLastsOneLevel(0.5f, kSecondWeakLevel), 0.0021f);
    ASSERT_EQ(std::count(outcome.trace.begin(), outcome.trace.end(), "thresh0.500015"), 1);
    EXPECT_EQ(Inside(outcome.candidates, cv::Rect(11, 11, 5, 5), 2.0), 25);
    const float below = std::nextafter(kSecondWeakLevel, 0.0f);
    const Outcome open = Detected(GetParam(), BoxThatLastsOneLevel(0.5f, below), 0.0021f);
    EXPECT_EQ(Inside(open.candidates, cv::Rect(11, 11, 5, 5), 2.0), 0) << "a gap just below the level stays open";
}

TEST_P(CandidateDetectionCases, ARemovalDoesNotStartAtPixelsOfExactlyTheLevel) {
    const Outcome outcome = Detected(GetParam(), BoxThatLastsOneLevel(kSecondWeakLevel, kSecondWeakLevel), 0.0021f);
    ASSERT_EQ(std::count(outcome.trace.begin(), outcome.trace.end(), "thresh0.500015"), 1);
    EXPECT_EQ(Inside(outcome.candidates, cv::Rect(11, 11, 5, 5), 2.0), 0);
    const float above = std::nextafter(kSecondWeakLevel, 1.0f);
    const Outcome closed = Detected(GetParam(), BoxThatLastsOneLevel(above, above), 0.0021f);
    EXPECT_EQ(Inside(closed.candidates, cv::Rect(11, 11, 5, 5), 2.0), 25) << "a wall just above the level is removed";
}

TEST_P(CandidateDetectionCases, AStrongEdgeOfExactlyTheLevelIsRemovedAtTheNextOne) {
    // The inside goes together with the wall, unless the wall lies above the level.
    const float level = 1.0f - 0.005f;
    for (const float wall : {level, std::nextafter(level, 1.0f)}) {
        cv::Mat map = cv::Mat::zeros(60, 60, CV_32F);
        map(cv::Rect(20, 20, 7, 7)).setTo(cv::Scalar(0.9925));
        PaintOutline(map, cv::Rect(20, 20, 7, 7), wall);
        const Outcome outcome = Detected(GetParam(), map, 0.05f);
        ASSERT_EQ(outcome.trace.back(), "thresh1.52588e-05");
        EXPECT_EQ(cv::countNonZero(outcome.candidates == 2.0), wall > level ? 25 : 0) << "wall " << wall;
    }
}

TEST_P(CandidateDetectionCases, ARemovalStartsAndSpreadsAcrossCorners) {
    // A wall of pixels that meet at corners only, and a strong pixel below its lowest one, a column aside.
    const float inside = kSecondWeakLevel - 0.0025f;
    cv::Mat map = cv::Mat::zeros(30, 30, CV_32F);
    map(cv::Rect(2, 25, 26, 1)).setTo(cv::Scalar(0.5));
    for (int reach = 0; reach < 4; ++reach) PaintDiamond(map, cv::Point(15, 12), reach, inside);
    PaintDiamond(map, cv::Point(15, 12), 4, 0.5f);
    map.at<float>(17, 16) = 1.0f;
    const Outcome outcome = Detected(GetParam(), map, 0.0021f);
    ASSERT_EQ(std::count(outcome.trace.begin(), outcome.trace.end(), "thresh0.500015"), 1);
    EXPECT_EQ(cv::countNonZero(outcome.candidates == 2.0), 25);
    map.at<float>(17, 16) = 0.0f;
    map.at<float>(18, 16) = 1.0f;
    EXPECT_EQ(cv::countNonZero(Detected(GetParam(), map, 0.0021f).candidates), 0) << "nothing starts two rows away";
}
