#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

namespace korvane_test {

/// One way in which a component sweep over a map of codes is written; every case is put to each of them.
struct SweepForm {
    std::string name;
    void (*run)(cv::Mat& components, cv::Mat& candidates, float scale, float maxRelativeClusterSize);
};

/// The plain form first, then one sweep of the machinery that ships. That one takes maps as detection makes them only:
/// without candidates or touched background, and with nothing analysed next to a component.
std::vector<SweepForm> SweepForms();

/// So that a failing case is listed as ".../plain".
inline std::string FormName(const ::testing::TestParamInfo<SweepForm>& info) { return info.param.name; }

}  // namespace korvane_test
