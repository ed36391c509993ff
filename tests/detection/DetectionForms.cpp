#include "DetectionForms.h"

#include "reference/PlainCandidateDetection.h"
#include "reference/PlainCandidateFilter.h"
#include "reference/PlainClusterSeparation.h"
#include "reference/PlainComponentSweep.h"
#include "reference/PlainGradientMagnitude.h"

namespace korvane_test {

using namespace korvane_reference;

std::vector<GradientForm> GradientForms() { return {{"plain", PlainGradientMagnitude}}; }
std::vector<SweepForm> SweepForms() { return {{"plain", PlainComponentSweep}}; }
std::vector<CandidateForm> CandidateForms() { return {{"plain", PlainDetectCandidates}}; }
std::vector<FilterForm> FilterForms() { return {{"plain", PlainFilterCandidates}}; }
std::vector<SeparationForm> SeparationForms() { return {{"plain", PlainSeparateClusters}}; }

}  // namespace korvane_test
