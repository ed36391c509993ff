#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "DetectionObserver.h"

namespace korvane_test {

/// Keeps everything that detection tells: progress values with the messages that the window shows, trace lines, and
/// every stage's map.
class StageRecorder : public Korvane::DetectionObserver {
public:
    explicit StageRecorder(int startValue = 0) : value(startValue) {}

    int ProgressValue() override { return value; }
    void BeginStage(Korvane::DetectionStage stage, const Korvane::StageProgress& begun) override {
        value = begun.value;
        messages.push_back("Image: " + std::to_string(begun.imageNumber) + " " +
                           std::string(Korvane::RowOf(stage).text));
        progress.emplace_back(value, messages.back());
    }
    void Trace(const std::string& line) override { trace.push_back(line); }
    bool WantsStage(Korvane::DetectionStage) override { return true; }
    void StageFloat(Korvane::DetectionStage stage, const qvox::VoxelImage<float>& map) override { floats[stage] = map; }
    void StageByte(Korvane::DetectionStage stage, const qvox::VoxelImage<std::uint8_t>& map) override {
        bytes[stage] = map;
    }
    void StageLabels(Korvane::DetectionStage stage, const qvox::LabelImage& map) override { labels[stage] = map; }

    int value;
    std::vector<std::string> messages;
    std::vector<std::pair<int, std::string>> progress;
    std::vector<std::string> trace;
    std::map<Korvane::DetectionStage, qvox::VoxelImage<float>> floats;
    std::map<Korvane::DetectionStage, qvox::VoxelImage<std::uint8_t>> bytes;
    std::map<Korvane::DetectionStage, qvox::LabelImage> labels;
};

}  // namespace korvane_test
