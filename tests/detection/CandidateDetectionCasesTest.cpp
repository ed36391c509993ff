#include <algorithm>
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
