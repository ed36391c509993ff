#include "ComponentSweeper.h"

#include <algorithm>
#include <cstring>

namespace Korvane {
namespace {

std::int64_t TruncatedArea(float area) {
    constexpr float limit = 9.0e15f;  // far beyond any picture
    return static_cast<std::int64_t>(std::min(std::max(area, -limit), limit));
}

}  // namespace

ComponentAreaRange AreaRangeFor(float scale, float maxRelativeClusterSize) {
    const float relative = scale * maxRelativeClusterSize;
    return {TruncatedArea(relative * 100.0f), TruncatedArea(relative * 50000.0f)};
}

ComponentSweeper::ComponentSweeper(const CodePlane& components, const CodePlane& candidates, float scale,
                                   float maxRelativeClusterSize)
    : components_(components),
      areas_(AreaRangeFor(scale, maxRelativeClusterSize)),
      analysis_(components, candidates, scale),
      scan_(static_cast<std::size_t>(components.width) * static_cast<std::size_t>(components.height)),
      scanPlane_{scan_.data(), components.width, components.width, components.height} {}

void ComponentSweeper::Sweep(std::vector<PixelRun>& cleared) {
    const auto width = static_cast<std::size_t>(components_.width);
    for (int y = 0; y < components_.height; ++y) {
        std::memcpy(scanPlane_.Row(y), components_.Row(y), width);
    }
    for (int y = 0; y < components_.height; ++y) {
        const PixelCode* row = scanPlane_.Row(y);
        const PixelCode* rowEnd = row + width;
        const PixelCode* from = row;
        while (const void* hit =
                   from < rowEnd ? std::memchr(from, kOpen, static_cast<std::size_t>(rowEnd - from)) : nullptr) {
            from = static_cast<const PixelCode*>(hit);
            SweepComponent(static_cast<int>(from - row), y, cleared);
        }
    }
}

void ComponentSweeper::SweepComponent(int x, int y, std::vector<PixelRun>& cleared) {
    component_.clear();
    const std::int64_t area = flood_.Fill(scanPlane_, x, y, kAnalysed, Connectivity::k4, component_);
    if (area > areas_.maximum && area >= areas_.minimum) {
        return;
    }
    filled_.clear();
    if (area < areas_.minimum) {
        flood_.Fill(components_, x, y, kBackground, Connectivity::k4, filled_);
        analysis_.ComponentChanged(filled_);
        cleared.insert(cleared.end(), filled_.begin(), filled_.end());
        return;
    }
    flood_.Fill(components_, x, y, kAnalysed, Connectivity::k4, filled_);
    analysis_.Analyse({x, y}, filled_, cleared);
}

}  // namespace Korvane
