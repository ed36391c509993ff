#pragma once

#include <vector>

#include "CodePlane.h"
#include "EnclosedRegion.h"

namespace Korvane {

/// Areas, in pixels and both included, between which a component is analysed.
struct ComponentAreaRange {
    std::int64_t minimum;
    std::int64_t maximum;
};

ComponentAreaRange AreaRangeFor(float scale, float maxRelativeClusterSize);

/// One component sweep over a whole pair of code maps (see EnclosedRegion.h for the codes).
class ComponentSweeper {
public:
    ComponentSweeper(const CodePlane& components, const CodePlane& candidates, float scale,
                     float maxRelativeClusterSize);

    /// Sweeps once and appends to `cleared` the runs of the component map that became kBackground.
    void Sweep(std::vector<PixelRun>& cleared);

private:
    void SweepComponent(int x, int y, std::vector<PixelRun>& cleared);

    CodePlane components_;
    ComponentAreaRange areas_;
    EnclosedRegionAnalysis analysis_;
    std::vector<PixelCode> scan_;
    CodePlane scanPlane_;
    RunFlood flood_;
    std::vector<PixelRun> component_;
    std::vector<PixelRun> filled_;
};

}  // namespace Korvane
