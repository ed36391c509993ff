#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include "DetectionObserver.h"

namespace korvane_test {

/// One way in which a stage is written; every case is put to each of them.
template <typename Function>
struct Form {
    std::string name;
    Function* run;
};

using GradientForm = Form<cv::Mat(const cv::Mat&)>;
using CandidateForm = Form<void(const cv::Mat&, cv::Mat&, float, float, Korvane::DetectionObserver&)>;
using FilterForm = Form<void(const cv::Mat&, cv::Mat&, float, float)>;
using SeparationForm = Form<cv::Mat(const cv::Mat&, float)>;

std::vector<GradientForm> GradientForms();
std::vector<CandidateForm> CandidateForms();
std::vector<FilterForm> FilterForms();
std::vector<SeparationForm> SeparationForms();

/// So that a failing case is listed as ".../plain".
template <typename AnyForm>
std::string FormName(const ::testing::TestParamInfo<AnyForm>& info) {
    return info.param.name;
}

}  // namespace korvane_test
