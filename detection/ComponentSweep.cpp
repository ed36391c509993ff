#include "ComponentSweep.h"

#include <string>
#include <vector>

#include "ComponentSweeper.h"
#include "ToolkitError.h"

namespace Korvane {
namespace {

constexpr PixelCode kOther = 1;  // a candidate map's value that is none of its codes: stays unless a ring covers it

CodePlane PlaneOf(std::vector<PixelCode>& codes, const cv::Mat& map) {
    return {codes.data(), map.cols, map.cols, map.rows};
}

void CheckMaps(const cv::Mat& componentMap, const cv::Mat& candidateMap) {
    if (componentMap.type() != CV_32FC1 || candidateMap.type() != CV_32FC1) {
        throw qvox::ToolkitError("Component sweep: both maps must hold one channel of floats");
    }
    if (componentMap.size() != candidateMap.size()) {
        throw qvox::ToolkitError("Component sweep: the component map has " + std::to_string(componentMap.cols) + " x " +
                                 std::to_string(componentMap.rows) + " pixels, the candidate map " +
                                 std::to_string(candidateMap.cols) + " x " + std::to_string(candidateMap.rows));
    }
}

PixelCode ComponentCode(float value, int x, int y) {
    if (value == 0.0f || value == 1.0f || value == 2.0f || value == 3.0f) {
        return static_cast<PixelCode>(value);
    }
    throw qvox::ToolkitError("Component sweep: the component map holds " + std::to_string(value) + " at column " +
                             std::to_string(x) + ", row " + std::to_string(y) + ", which is no code");
}

PixelCode CandidateCode(float value) {
    return value == 0.0f ? kFree : value == 2.0f ? kCandidate : value == 3.0f ? kRing : kOther;
}

template <typename ToCode>
std::vector<PixelCode> CodesOf(const cv::Mat& map, ToCode toCode) {
    std::vector<PixelCode> codes(map.total());
    auto code = codes.begin();
    for (int y = 0; y < map.rows; ++y) {
        const float* row = map.ptr<float>(y);
        for (int x = 0; x < map.cols; ++x) {
            *code++ = toCode(row[x], x, y);
        }
    }
    return codes;
}

}  // namespace

void SweepComponents(cv::Mat& componentMap, cv::Mat& candidateMap, float scale, float maxRelativeClusterSize) {
    CheckMaps(componentMap, candidateMap);
    if (componentMap.empty()) {
        return;
    }
    std::vector<PixelCode> components = CodesOf(componentMap, ComponentCode);
    std::vector<PixelCode> candidates =
        CodesOf(candidateMap, [](float value, int, int) { return CandidateCode(value); });
    ComponentSweeper sweeper(PlaneOf(components, componentMap), PlaneOf(candidates, candidateMap), scale,
                             maxRelativeClusterSize);
    std::vector<PixelRun> cleared;
    sweeper.Sweep(cleared);
    for (int y = 0; y < componentMap.rows; ++y) {
        float* component = componentMap.ptr<float>(y);
        float* candidate = candidateMap.ptr<float>(y);
        for (int x = 0; x < componentMap.cols; ++x) {
            const std::size_t i =
                static_cast<std::size_t>(y) * static_cast<std::size_t>(componentMap.cols) + static_cast<std::size_t>(x);
            component[x] = components[i];
            candidate[x] = candidates[i] == kCandidate || candidates[i] == kRing ? candidates[i] : candidate[x];
        }
    }
}

}  // namespace Korvane
