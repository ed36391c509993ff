#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "DetectionObserver.h"

namespace korvane_test {

/// Keeps everything that detection says: progress, trace and the map of every stage.
class DetectionRecorder : public Korvane::DetectionObserver {
public:
    explicit DetectionRecorder(int startValue = 0) : value_(startValue) {}

    int ProgressValue() override { return value_; }
    void UpdateProgress(int value, const std::string& message) override {
        value_ = value;
        progress.emplace_back(value, message);
    }
    void Trace(const std::string& line) override { trace.push_back(line); }
    bool WantsStage(Korvane::DetectionStage) override { return true; }
    void StageFloat(Korvane::DetectionStage stage, const qvox::VoxelImage<float>& map) override { floats[stage] = map; }
    void StageByte(Korvane::DetectionStage stage, const qvox::VoxelImage<std::uint8_t>& map) override { bytes[stage] = map; }
    void StageLabels(Korvane::DetectionStage stage, const qvox::LabelImage& map) override { labels[stage] = map; }

    std::vector<std::pair<int, std::string>> progress;
    std::vector<std::string> trace;
    std::map<Korvane::DetectionStage, qvox::VoxelImage<float>> floats;
    std::map<Korvane::DetectionStage, qvox::VoxelImage<std::uint8_t>> bytes;
    std::map<Korvane::DetectionStage, qvox::LabelImage> labels;

private:
    int value_;
};

}  // namespace korvane_test
