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
    return {{"plain", PlainGradientMagnitude}, {"shipped", Korvane::GradientMagnitude}};
}
std::vector<CandidateForm> CandidateForms() {
    return {{"plain", PlainDetectCandidates}, {"shipped", Korvane::DetectCandidates}};
}
std::vector<FilterForm> FilterForms() {
    return {{"plain", PlainFilterCandidates}, {"shipped", Korvane::FilterCandidates}};
}
std::vector<SeparationForm> SeparationForms() {
    return {{"plain", PlainSeparateClusters}, {"shipped", Korvane::SeparateClusters}};
}

}  // namespace korvane_test
