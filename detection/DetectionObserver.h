#pragma once

#include <cstdint>
#include <string>

#include "DetectionStages.h"
#include "VoxelImage.h"

namespace Korvane {

/// What a progress display shows when a stage begins.
struct StageProgress {
    int value = 0;        ///< progress steps taken, this stage's included
    int imageNumber = 1;  ///< from 1; a refinement's extra step counts towards the next image
};

/// How detection notifies its caller. Every method has a default that does nothing, so that a caller overrides only
/// what it needs. Called on the thread that runs detection.
class DetectionObserver {
public:
    virtual ~DetectionObserver() = default;

    /// The progress so far; detection advances it by one per announced stage.
    virtual int ProgressValue() { return 0; }
    /// A stage begins. Texts for people are made from its row by whoever shows them.
    virtual void BeginStage(DetectionStage /*stage*/, const StageProgress& /*progress*/) {}

    /// One line of the level sweep's trace, without its line end.
    virtual void Trace(const std::string& /*line*/) {}

    /// True when the Stage... methods are to be called for that stage. Queried once per stage, so that unwanted maps
    /// are never copied.
    virtual bool WantsStage(DetectionStage /*stage*/) { return false; }
    virtual void StageFloat(DetectionStage /*stage*/, const qvox::VoxelImage<float>& /*map*/) {}
    virtual void StageByte(DetectionStage /*stage*/, const qvox::VoxelImage<std::uint8_t>& /*map*/) {}
    virtual void StageLabels(DetectionStage /*stage*/, const qvox::LabelImage& /*map*/) {}
};

}  // namespace Korvane
