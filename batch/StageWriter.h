#pragma once

#include <cstddef>
#include <cstdint>

#include "Deadline.h"
#include "DetectionObserver.h"
#include "FilePlan.h"
#include "Progress.h"

namespace Korvane {

/// Observes the detection of one image: moves the progress bar, passes trace lines on, writes the stages' maps when
/// they are asked for, and leaves detection with RunInterrupted when the run was interrupted, with TimeLimitReached
/// when the image's time is over.
class StageWriter : public DetectionObserver {
public:
    /// The maps get the pixel size and the orientation of the image `raw`.
    StageWriter(const Places& places, const ImageFiles& files, const qvox::VoxelImage<float>& raw, Progress& progress,
                const Deadline& deadline);

    /// How often a stage was announced.
    std::size_t StagesTold() const { return stagesTold_; }

    int ProgressValue() override { return progressValue_; }
    void BeginStage(DetectionStage stage, const StageProgress& progress) override;
    void Trace(const std::string& line) override;
    bool WantsStage(DetectionStage stage) override;
    void StageFloat(DetectionStage stage, const qvox::VoxelImage<float>& map) override;
    void StageByte(DetectionStage stage, const qvox::VoxelImage<std::uint8_t>& map) override;
    void StageLabels(DetectionStage stage, const qvox::LabelImage& map) override;

private:
    void LeaveInTime() const;
    template <typename T>
    void Save(DetectionStage stage, const qvox::VoxelImage<T>& map);

    const Places& places_;
    const ImageFiles& files_;
    qvox::PixelResolution resolution_;
    std::uint16_t orientation_;
    Progress& progress_;
    const Deadline& deadline_;
    std::size_t stagesTold_ = 0;
    int progressValue_ = 0;
};

}  // namespace Korvane
