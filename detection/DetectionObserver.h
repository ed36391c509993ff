#pragma once

#include <cstdint>
#include <string>

#include "VoxelImage.h"

namespace Korvane {

/// The maps that detection hands on from stage to stage, in the order in which they are made.
enum class DetectionStage {
    kEdges,       ///< edge strength, 0 .. 1, float
    kCandidates,  ///< codes 0, 2 (candidate), 3 (separating ring), float
    kFiltered,    ///< 255 on kept candidate regions, 8 bit
    kSeparated,   ///< 1 on one blob per object, float
    kRelief,      ///< gradient magnitude under the refinement's watershed, float; only where the refinement runs
    kMarkers,     ///< the refinement's markers, 20000 = background, 16 bit; only where the refinement runs
};

/// How detection speaks to whatever runs it. Every method has a default that does nothing, so that a caller
/// overrides only what it wants to hear. Called on the thread that runs detection.
class DetectionObserver {
public:
    virtual ~DetectionObserver() = default;

    /// The progress so far, and the progress to show with its message; detection advances it by one per stage.
    virtual int ProgressValue() { return 0; }
    virtual void UpdateProgress(int /*value*/, const std::string& /*message*/) {}

    /// One line of the level sweep's trace, without its line end.
    virtual void Trace(const std::string& /*line*/) {}

    /// True when the Stage... methods shall be called for that stage; asked once per stage, so that maps nobody wants
    /// are never copied.
    virtual bool WantsStage(DetectionStage /*stage*/) { return false; }
    virtual void StageFloat(DetectionStage /*stage*/, const qvox::VoxelImage<float>& /*map*/) {}
    virtual void StageByte(DetectionStage /*stage*/, const qvox::VoxelImage<std::uint8_t>& /*map*/) {}
    virtual void StageLabels(DetectionStage /*stage*/, const qvox::LabelImage& /*map*/) {}
};

}  // namespace Korvane
