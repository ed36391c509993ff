#include "SweepForms.h"

#include <stdexcept>

#include "EnclosedRegionAnalysis.h"
#include "WordParts.h"
#include "bits/BitPlane.h"
#include "reference/CodeMaps.h"
#include "reference/PlainComponentSweep.h"

namespace korvane_test {
namespace {

using namespace korvane_reference;

/// Components by flooding, each analysed by what ships.
void SweepOnce(cv::Mat& components, cv::Mat& candidates, float scale, float maxRelativeClusterSize) {
    if (cv::countNonZero(components == 3.0) > 0 || cv::countNonZero(candidates) > 0) {
        throw std::invalid_argument("a sweep begins with fresh maps");
    }
    cv::Mat codes;
    components.convertTo(codes, CV_8U);
    level_sweep::BitPlane background(codes.cols, codes.rows);
    for (int y = 0; y < codes.rows; ++y) {
        for (int x = 0; x < codes.cols; ++x) {
            if (codes.at<uchar>(y, x) == kBackground) background.Add(x, y);
        }
    }
    level_sweep::EnclosedRegionAnalysis analysis(background, static_cast<int>(15.0f * scale));
    const float relative = scale * maxRelativeClusterSize;
    const auto minimum = static_cast<std::int64_t>(relative * 100.0f);
    const auto maximum = static_cast<std::int64_t>(relative * 50000.0f);
    const CodePlane plane{codes.ptr(), codes.cols, codes.cols, codes.rows};
    RunFlood flood;
    cv::Mat seen = codes.clone();
    const CodePlane seenPlane{seen.ptr(), seen.cols, seen.cols, seen.rows};
    for (int y = 0; y < codes.rows; ++y) {
        for (int x = 0; x < codes.cols; ++x) {
            if (seen.at<uchar>(y, x) != kOpen) continue;
            std::vector<PixelRun> runs;
            const std::int64_t area = flood.Fill(seenPlane, x, y, kAnalysed, Connectivity::k4, runs);
            if (area > maximum && area >= minimum) continue;
            runs.clear();
            flood.Fill(plane, x, y, area < minimum ? kBackground : kAnalysed, Connectivity::k4, runs);
            const auto parts = PartsOf(codes.cols, codes.rows, runs);
            if (area >= minimum) {
                analysis.Analyse(parts);
                continue;
            }
            for (const level_sweep::WordPixels<level_sweep::BitGrid>& part : parts) analysis.BackgroundAdded(part);
        }
    }
    for (int y = 0; y < codes.rows; ++y) {
        for (int x = 0; x < codes.cols; ++x) {
            const auto has = [&](level_sweep::BitGrid::Word pixels) {
                return (pixels & level_sweep::BitGrid::Bit(x)) != 0;
            };
            float& code = components.at<float>(y, x);
            code = has(analysis.BackgroundIn(x / 64, y)) ? 0.0f
                   : has(analysis.TouchedIn(x / 64, y))  ? 3.0f
                                                         : static_cast<float>(codes.at<uchar>(y, x));
            candidates.at<float>(y, x) = has(analysis.RingsIn(x / 64, y))        ? 3.0f
                                         : has(analysis.CandidatesIn(x / 64, y)) ? 2.0f
                                                                                 : 0.0f;
        }
    }
}

}  // namespace

std::vector<SweepForm> SweepForms() { return {{"plain", PlainComponentSweep}, {"shipped", SweepOnce}}; }

}  // namespace korvane_test
