#include "DetectionForms.h"

#include "CandidateDetection.h"
#include "CandidateFilter.h"
#include "ClusterSeparation.h"
#include "support/GradientMagnitude.h"
#include "reference/PlainCandidateDetection.h"
#include "reference/PlainCandidateFilter.h"
#include "reference/PlainClusterSeparation.h"
#include "reference/PlainGradientMagnitude.h"

namespace korvane_test {

using namespace korvane_reference;

std::vector<GradientForm> GradientForms() {
    return {{"plain", PlainGradientMagnitude}, {"shipped", [](const cv::Mat& source) { return Korvane::GradientMagnitude(source); }}};
}
std::vector<CandidateForm> CandidateForms() {
    return {{"plain", PlainDetectCandidates},
            {"shipped", [](const cv::Mat& edges, cv::Mat& candidates, float scale, float maxRelativeClusterSize,
                           Korvane::DetectionObserver& observer) {
                 Korvane::DetectCandidates(edges, candidates, scale, maxRelativeClusterSize, observer);
             }}};
}
std::vector<FilterForm> FilterForms() {
    return {{"plain", PlainFilterCandidates},
            {"shipped", [](const cv::Mat& mask, cv::Mat& filtered, float scale, float areaFraction) {
                 Korvane::FilterCandidates(mask, filtered, scale, areaFraction);
             }}};
}
std::vector<SeparationForm> SeparationForms() {
    return {{"plain", PlainSeparateClusters}, {"shipped", [](const cv::Mat& filtered, float scale) { return Korvane::SeparateClusters(filtered, scale); }}};
}

}  // namespace korvane_test
